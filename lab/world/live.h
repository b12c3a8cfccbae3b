#pragma once
// What a world that is watched as it grows has besides its sessions.
#include <cstdint>
#include <vector>

struct Rate {
    uint64_t up = 0, down = 0, packets = 0; // bytes and packets a second
};

// Sessions that had to go, what they had carried, and why they went.
struct DroppedCounts {
    uint64_t sessions = 0, bytes = 0, packets = 0;
    uint64_t ended = 0, silent = 0, aged = 0;
};

// What dropped sessions add to the charts: for each series and path so many steps of five minutes.
struct ChartHistory {
    static constexpr uint32_t step = 300, steps = 72 * 3600 / step, paths = 8;

    uint64_t start = 0;            // seconds since the epoch of the first step
    std::vector<uint64_t> amounts; // empty: nothing was dropped
};

enum class InputState : uint8_t { open, ended, failed };

struct LiveDetails {
    std::vector<Rate> rates;       // beside the sessions: of the last ten to twenty seconds
    std::vector<uint64_t> numbers; // beside the sessions: which of all that ever began
    DroppedCounts dropped;
    ChartHistory history;
    InputState input = InputState::open;
    uint64_t lost = 0; // packets that came faster than they were read
};
