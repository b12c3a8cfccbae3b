#pragma once
// What the text lists and the settings verbs of the appliance share: objects with an `id`, found, added and
// removed by it, and listed a page at a time.
#include "lab/requests/turn.h"

#include <algorithm>

// page= and limit= of a text list; without a limit everything is one page.
struct TextPage {
    uint64_t first = 0, end = UINT64_MAX;
};
TextPage text_page(const Turn& turn);

// The numbers of "id=3" or "id=3,5,9"; empty without the key.
std::vector<uint32_t> numbers_of(const Turn& turn, std::string_view key);

// Prints the rows of the asked page with `print(item)`; `keep(item)` says which are listed at all.
template <class Items, class Keep, class Print>
void say_page(Turn& turn, const Items& items, Keep&& keep, Print&& print)
{
    TextPage page = text_page(turn);
    uint64_t row = 0;
    for (const auto& item : items) {
        if (!keep(item))
            continue;
        if (row >= page.first && row < page.end)
            print(item);
        row++;
    }
}

template <class Item> Item* item_with_id(std::vector<Item>& items, uint32_t id)
{
    auto found = std::ranges::find_if(items, [&](const Item& item) { return item.id == id; });
    return found != items.end() ? &*found : nullptr;
}

// The id that an add asks for, or the lowest free one. 0, with the turn refused, when it is taken or none is
// left.
template <class Item> uint32_t id_to_add(Turn& turn, std::vector<Item>& items, uint32_t most)
{
    uint32_t id = turn.number("id");
    if (id > most)
        return turn.refuse(lab_error::invalid, "INV_ID"), 0;
    if (id != 0 && item_with_id(items, id) != nullptr)
        return turn.refuse(lab_error::exists, "EXISTS"), 0;
    if (id != 0)
        return id;
    for (id = 1; id <= most; id++)
        if (item_with_id(items, id) == nullptr)
            return id;
    return turn.refuse(lab_error::full, "POOL_FULL"), 0;
}

// The item that id= (or name=, for items that have one) asks for; null with the turn refused without it.
template <class Item> Item* item_asked_for(Turn& turn, std::vector<Item>& items)
{
    Item* item = nullptr;
    if (turn.has("id"))
        item = item_with_id(items, turn.number("id"));
    else if constexpr (requires { item->name; }) {
        auto found = std::ranges::find_if(items, [name = turn.free_text("name", 255)](const Item& one) {
            return !name.empty() && one.name == name;
        });
        item = found != items.end() ? &*found : nullptr;
    }
    if (item == nullptr)
        turn.refuse(lab_error::unknown, "NOT_FOUND");
    return item;
}

// Adds an item under the id that the request asks for, or the lowest free one. Returns the id; 0 with the
// turn refused.
template <class Item> uint32_t add_item(Turn& turn, std::vector<Item>& items, Item item, uint32_t most)
{
    item.id = static_cast<decltype(item.id)>(id_to_add(turn, items, most));
    if (item.id == 0)
        return 0;
    items.push_back(std::move(item));
    return items.back().id;
}

// Changes the item with id=: `take(item)` reads the request's words into a copy, which counts only if it
// accepts them all.
template <class Item, class Take> void change_item(Turn& turn, std::vector<Item>& items, Take&& take)
{
    if (!turn.has("id"))
        return turn.refuse(lab_error::invalid, "INV_ID");
    Item* item = item_asked_for(turn, items);
    if (item == nullptr)
        return;
    Item changed = *item;
    if (take(changed))
        *item = std::move(changed);
}

// Removes what id= lists, what name= names, or everything with all=1. Refuses when nothing of it exists.
template <class Item> void remove_items(Turn& turn, std::vector<Item>& items)
{
    std::vector<uint32_t> ids = numbers_of(turn, "id");
    std::string name = turn.free_text("name", 255);
    bool all = turn.number("all") != 0;
    size_t removed = std::erase_if(items, [&](const Item& item) {
        bool named = false;
        if constexpr (requires { item.name; })
            named = ids.empty() && !name.empty() && item.name == name;
        return all || named || std::ranges::find(ids, uint32_t{item.id}) != ids.end();
    });
    if (removed == 0 && !all)
        turn.refuse(lab_error::unknown, "NOT_FOUND");
}
