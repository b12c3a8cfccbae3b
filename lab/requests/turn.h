#pragma once
// One request to a daemon and its answer: the arguments taken out of the segment, and the ways to answer.
#include "wire/request.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Which daemons serve a request; one bit each.
namespace daemon_kind {
constexpr uint8_t analysis = 1, management = 2, chart = 4;
}

// Error codes of the daemons, in the style of errno.
namespace lab_error {
constexpr int32_t unknown = 2, no_room = 7, exists = 17, invalid = 22, full = 28;
}

class Turn {
public:
    // `segment` is as large as the client said and the system confirmed. When the record asks for the
    // dictionary, `dictionary` goes to its start and the answer behind it.
    Turn(RequestRecord& record, std::span<char> segment, std::string_view dictionary);

    uint32_t code() const { return record_.code; }
    const std::string& name() const { return name_; } // module of a generic verb, name field of a raw code
    bool wants_dictionary() const { return record_.wants_dictionary != 0; }
    int32_t cursor() const { return record_.cursor; }

    // Arguments. The value of the last key=value word with this key; nothing when there is none.
    std::optional<std::string> value(std::string_view key) const;
    bool has(std::string_view key) const { return value(key).has_value(); }
    // Its leading digits; `otherwise` without the key or without digits.
    uint32_t number(std::string_view key, uint32_t otherwise = 0) const;
    // Free text: the escapes of blank-separated arguments undone, cut to `most` bytes.
    std::string free_text(std::string_view key, size_t most) const;
    // Words without '='.
    std::string word(size_t i) const;
    // Key and value of every key=value word, in order.
    const std::vector<std::pair<std::string, std::string>>& values() const { return values_; }

    // Answers with text; what does not fit the segment is cut at a line end.
    [[gnu::format(printf, 2, 3)]] void say(const char* format, ...);
    void refuse(int32_t error, std::string_view text);
    bool refused() const { return record_.error != 0; }

    // Answers with the next batch of fixed-size records: one for each item that `make(item, record)` accepts,
    // from the cursor on, as many as the segment holds. `kind` marks the cursors of a query, so that its
    // later batches are told from those of another query with the same code and module.
    template <class Record, class Items, class Make>
    void records(const Items& items, Make&& make, int32_t kind = 0)
    {
        static_assert(alignof(Record) == 1);
        size_t at = first_item(kind), kept = 0;
        size_t room = area_.size() / sizeof(Record);
        while (at < items.size() && kept < room) {
            auto* record = new (area_.data() + kept * sizeof(Record)) Record{};
            kept += make(items[at++], *record) ? 1 : 0;
        }
        end_batch(kept, at, at >= items.size() || room == 0, kind);
    }

    // For answers that are built by hand: the area behind the dictionary arrays, and how a batch ends.
    std::span<char> area() const { return area_; }
    size_t first_item(int32_t kind = 0) const;
    void end_batch(size_t records, size_t next_item, bool last, int32_t kind = 0);
    void end_stream(size_t bytes, size_t next_item, bool last); // of a dump: the count goes to offset 172
    void end_lines(size_t next_item, bool last);                // of a text in batches

    static constexpr size_t items_max = (1 << 30) - 1;
    static constexpr int32_t kind_bit = 1 << 30;

    size_t text_size() const { return said_.size(); }
    void finish(); // puts the text into the segment

private:
    void split(std::string_view text);

    RequestRecord& record_;
    std::span<char> area_;
    std::string name_;
    std::vector<std::pair<std::string, std::string>> values_;
    std::vector<std::string> words_;
    std::string said_;
};
