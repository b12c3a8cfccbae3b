#pragma once
// Texts that many sessions share are kept once and named by a number; number 0 is the empty text.
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

using TextId = uint32_t;

class TextPool {
public:
    TextPool() = default;
    TextPool(TextPool&&) = default; // a copy would look texts up in the pool that it came from
    TextPool& operator=(TextPool&&) = default;

    TextId intern(std::string_view text);
    bool find(std::string_view text, TextId& id) const; // false: no such text
    std::string_view at(TextId id) const { return texts_[id]; }
    size_t size() const { return texts_.size(); }

private:
    std::deque<std::string> texts_{std::string{}}; // a deque: texts stay where they are
    std::unordered_map<std::string_view, TextId> ids_{
        {std::string_view{}, 0}
    };
};
