#pragma once
// The capture ring file, mapped and shared with the capture engine and with other readers. Nothing of the
// mapping is trusted: the geometry is taken over once, when it has been checked against the file's size, and
// every number read later is clamped to it.
#include "wire/capture_ring.h"

#include <csignal>
#include <span>

// The exact size of a ring file. The slots count in 64 bits, the blocks in 32: geometries of 4 GiB of blocks
// and more wrap. The engine reckons in the same way.
constexpr size_t capture_ring_size(uint32_t cnt, uint32_t bs)
{
    return sizeof(CaptureSlot) * (size_t{cnt} + 2) + bs * cnt;
}

// The tag, geometry and file of a ring; both stay in place until the process ends.
struct CaptureRing {
    char* base = nullptr;
    size_t size = 0;
    uint32_t cnt = 0, bs = 0;  // as they were when the ring was opened
    bool wait_is_said = false; // that another process holds the lock, on standard error
};

// A block in the hands of this reader. From taking it to releasing it the stop signals are held back, so that
// no slot is left taken.
struct TakenBlock {
    std::span<const char> bytes{}; // the valid ones, inside the mapping
    uint32_t index = 0;
    CaptureSlot slot{};         // as it stands after taking
    bool holds_signals = false; // `signals` is the mask to go back to
    sigset_t signals{};
};

// Maps the file and frees the slots that a reader took and never released. False with a message printed.
bool open_ring(const char* path, CaptureRing& ring);

// Takes the next full block in turn. False when there is none.
bool take_full_block(CaptureRing& ring, TakenBlock& block);

// Gives the block back as empty and lets the signals through. 0, or -1 when the index is out of range or the
// slot is not taken any more: that is said on standard error, as another reader then has dropped the block.
int release_block(CaptureRing& ring, TakenBlock& block);

// Frees every taken slot, those of a reader that is at work this very moment too.
void recover_stale_slots(CaptureRing& ring);
