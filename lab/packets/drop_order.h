#pragma once
// Which session goes first when there are too many: those that have ended, then those that have not; of each
// kind the one that was silent longest.
#include <cstddef>
#include <cstdint>
#include <vector>

class DropOrder {
public:
    static constexpr uint32_t none = UINT32_MAX;

    // A packet of the session came. Returns whether it is the first.
    bool touch(uint32_t session, bool ended);
    void remove(uint32_t session);
    bool has(uint32_t session) const { return links_[session].kind != Kind::absent; }
    size_t size() const { return size_; }
    uint32_t oldest(bool ended) const { return lists_[ended ? 1 : 0].oldest; } // none: there is none

private:
    enum class Kind : uint8_t { open, ended, absent };
    struct Link {
        uint32_t older = none, newer = none;
        Kind kind = Kind::absent;
    };
    struct List {
        uint32_t oldest = none, newest = none;
    };
    uint32_t& newer_of(uint32_t session, List& list);
    uint32_t& older_of(uint32_t session, List& list);
    void unlink(uint32_t session);

    std::vector<Link> links_; // by session
    List lists_[2];           // open, ended
    size_t size_ = 0;
};
