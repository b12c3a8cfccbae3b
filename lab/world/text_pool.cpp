#include "lab/world/text_pool.h"

static constexpr size_t bytes_of_entry = 96; // of a text's own: the string, its entry, its slot

TextId TextPool::intern(std::string_view text)
{
    auto found = shared_->ids.find(text);
    if (found != shared_->ids.end())
        return found->second;
    TextId id = static_cast<TextId>(shared_->texts.size());
    shared_->texts.emplace_back(text);
    shared_->ids.emplace(shared_->texts.back(), id);
    shared_->bytes += text.size() + bytes_of_entry;
    return id;
}

bool TextPool::find(std::string_view text, TextId& id) const
{
    auto found = shared_->ids.find(text);
    if (found != shared_->ids.end())
        id = found->second;
    return found != shared_->ids.end();
}
