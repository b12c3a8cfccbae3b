#pragma once
// Texts that many sessions share are kept once and named by a number; number 0 is the empty text.
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

using TextId = uint32_t;

// Texts are never changed or taken out, so a copy of a pool is the same pool: it costs nothing, and numbers
// that one adds are known to all.
class TextPool {
public:
    TextId intern(std::string_view text);
    bool find(std::string_view text, TextId& id) const; // false: no such text
    std::string_view at(TextId id) const { return shared_->texts[id]; }
    size_t size() const { return shared_->texts.size(); }
    size_t bytes() const { return shared_->bytes; } // about what it takes in memory

private:
    struct Shared {
        std::deque<std::string> texts{std::string{}}; // a deque: texts stay where they are
        std::unordered_map<std::string_view, TextId> ids{
            {std::string_view{}, 0}
        };
        size_t bytes = 0;
    };
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};
