#pragma once
// The capture ring file that the capture engine shares with every reader: header, slot table, blocks. Words
// in the machine's order; they are mapped and changed in place, so the structs are not packed.
#include <cstddef>
#include <cstdint>

struct CaptureRingHeader {
    char     tag[4];      //  0  "OBS" and a zero byte
    uint32_t lock;        //  4  spin lock of all processes that map the file: 0 free, 1 held
    uint32_t cnt;         //  8  blocks, and slots
    uint32_t bs;          // 12  bytes of a block
    uint32_t next;        // 16  slot at which the next search starts
    uint32_t reserved[3]; // 20  zero
};                        // 32
static_assert(sizeof(CaptureRingHeader) == 32 && alignof(CaptureRingHeader) == 4);
static_assert(offsetof(CaptureRingHeader, lock) == 4 && offsetof(CaptureRingHeader, cnt) == 8);
static_assert(offsetof(CaptureRingHeader, bs) == 12 && offsetof(CaptureRingHeader, next) == 16);

constexpr char capture_ring_tag[4] = {'O', 'B', 'S', '\0'};

struct CaptureSlot {
    uint32_t state;          // 0  see below; other values are the engine's
    uint32_t length;         // 4  valid bytes at the start of the block
    uint32_t writer_data[2]; // 8  the engine's own
};                           // 16
static_assert(sizeof(CaptureSlot) == 16 && alignof(CaptureSlot) == 4);
static_assert(offsetof(CaptureSlot, length) == 4 && offsetof(CaptureSlot, writer_data) == 8);

namespace capture_slot {
constexpr uint32_t empty = 0, full = 2, taken = 3;
}
