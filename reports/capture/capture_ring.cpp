#include "reports/capture/capture_ring.h"

#include "base/clock.h"
#include "base/document.h"
#include "base/loaded_once.h"
#include "base/stop_signals.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

CaptureRingHeader& header_of(CaptureRing& ring)
{
    return *reinterpret_cast<CaptureRingHeader*>(ring.base);
}

CaptureSlot& slot_of(CaptureRing& ring, uint32_t index)
{
    return reinterpret_cast<CaptureSlot*>(ring.base + sizeof(CaptureRingHeader))[index];
}

uint32_t load(const uint32_t& word)
{
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

void store(uint32_t& word, uint32_t value)
{
    __atomic_store_n(&word, value, __ATOMIC_RELEASE);
}

// Waiting for the lock. Its holder is done within microseconds, unless it was killed: so at first the
// processor is only left to others, then we sleep.
class Wait {
public:
    // False when a stop signal has waited long enough, held back since the slot was taken.
    bool back_off(CaptureRing& ring)
    {
        constexpr int turns_without_sleep = 100;
        constexpr int64_t silent = 2000, stopped_most = 200; // milliseconds
        if (turns_++ < turns_without_sleep) {
            sched_yield();
            return true;
        }
        usleep(1000);
        const int64_t now = steady_milliseconds();
        since_ = since_ != 0 ? since_ : now;
        stopped_since_ = stopped_since_ != 0 || !stop_signal_waits() ? stopped_since_ : now;
        if (now - since_ >= silent && !std::exchange(ring.wait_is_said, true))
            fputs("obspcap: another process holds the lock of the capture ring\n", stderr);
        return stopped_since_ == 0 || now - stopped_since_ < stopped_most;
    }

private:
    int turns_ = 0;
    int64_t since_ = 0, stopped_since_ = 0;
};

// Waits until the ring is ours. The stop signals are held back while we hold it, not while we wait for it: a
// word left at 1 by a killed process makes this wait for ever. False when they were held back before and one
// has come.
bool lock(CaptureRing& ring, sigset_t& before)
{
    uint32_t& word = header_of(ring).lock;
    for (Wait wait;;) {
        while (load(word) != 0)
            if (!wait.back_off(ring))
                return false;
        before = hold_stop_signals();
        uint32_t free = 0;
        if (__atomic_compare_exchange_n(&word, &free, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_ACQUIRE))
            return true;
        restore_signals(before);
    }
}

void unlock(CaptureRing& ring)
{
    __atomic_store_n(&header_of(ring).lock, 0, __ATOMIC_SEQ_CST);
}

void unlock(CaptureRing& ring, const sigset_t& before)
{
    unlock(ring);
    restore_signals(before);
}

// The valid bytes of a block: never beyond the block, nor beyond the mapping.
std::span<const char> block_bytes(const CaptureRing& ring, uint32_t index, uint32_t length)
{
    size_t start = capture_ring_size(ring.cnt, 0) + size_t{ring.bs} * index;
    if (start >= ring.size)
        return {};
    size_t room = std::min<size_t>(ring.bs, ring.size - start);
    return {ring.base + start, std::min<size_t>(length, room)};
}

// Takes the slot if it is full. The first look spares the lock of slots that are not.
bool take_slot(CaptureRing& ring, uint32_t index, TakenBlock& block)
{
    CaptureSlot& slot = slot_of(ring, index);
    if (load(slot.state) != capture_slot::full)
        return false;
    if (!lock(ring, block.signals))
        return false;
    if (load(slot.state) != capture_slot::full) {
        unlock(ring, block.signals);
        return false;
    }
    store(slot.state, capture_slot::taken);
    store(header_of(ring).next, (index + 1) % ring.cnt);
    block.slot = slot;
    block.index = index;
    block.bytes = block_bytes(ring, index, loaded_once(block.slot.length));
    block.holds_signals = true;
    unlock(ring);
    return true;
}

// Maps an opened file and checks it. `ring.base` is set also when the rest fails.
bool map_ring(int file, CaptureRing& ring)
{
    struct stat status;
    if (fstat(file, &status) != 0) {
        refuse_errno("fstat");
        return false;
    }
    ring.size = static_cast<size_t>(status.st_size);
    if (ring.size < sizeof(CaptureRingHeader)) {
        refuse("INVfile");
        return false;
    }
    void* base = mmap(nullptr, ring.size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ring.base = static_cast<char*>(base);
    if (base == MAP_FAILED) {
        refuse_errno("mmap");
        return false;
    }
    if (memcmp(header_of(ring).tag, capture_ring_tag, sizeof capture_ring_tag) != 0) {
        refuse("INV_FILE_TAG");
        return false;
    }
    ring.cnt = load(header_of(ring).cnt);
    ring.bs = load(header_of(ring).bs);
    size_t wanted = capture_ring_size(ring.cnt, ring.bs);
    if (wanted != ring.size)
        refuse(FORMAT("Corrupted, bs={},cnt={},filesz={},memsz={}"), ring.bs, ring.cnt, ring.size, wanted);
    return wanted == ring.size;
}

} // namespace

bool open_ring(const char* path, CaptureRing& ring)
{
    int file = open(path, O_RDWR | O_CLOEXEC);
    if (file < 0) {
        refuse_errno("open");
        return false;
    }
    ring.base = static_cast<char*>(MAP_FAILED);
    if (!map_ring(file, ring)) {
        munmap(ring.base, ring.size); // refused, without harm, when nothing was mapped
        close(file);
        return false;
    }
    recover_stale_slots(ring);
    return true;
}

void recover_stale_slots(CaptureRing& ring)
{
    constexpr uint32_t between_looks = 4096;
    sigset_t before;
    if (!lock(ring, before))
        return;
    for (uint32_t i = ring.cnt; i-- > 0;) {
        if (i % between_looks == 0 && stop_signal_waits())
            break; // unlocking ends the run
        if (load(slot_of(ring, i).state) == capture_slot::taken)
            store(slot_of(ring, i).state, capture_slot::empty);
    }
    unlock(ring, before);
}

bool take_full_block(CaptureRing& ring, TakenBlock& block)
{
    uint32_t cursor = load(header_of(ring).next);
    for (uint32_t tried = 0; tried < ring.cnt; tried++, cursor++) {
        if (cursor >= ring.cnt)
            cursor = 0;
        if (take_slot(ring, cursor, block))
            return true;
    }
    return false;
}

int release_block(CaptureRing& ring, TakenBlock& block)
{
    bool ours = block.index < ring.cnt && load(slot_of(ring, block.index).state) == capture_slot::taken;
    bool taken_over = !ours;
    sigset_t before;
    if (ours && !lock(ring, before)) {
        fputs("obspcap: another process holds the lock of the capture ring: the slot stays taken\n", stderr);
    } else if (ours) {
        CaptureSlot& slot = slot_of(ring, block.index);
        taken_over = load(slot.state) != capture_slot::taken;
        if (!taken_over) {
            store(slot.length, 0);
            store(slot.state, capture_slot::empty);
        }
        unlock(ring, before);
    }
    if (taken_over)
        fputs("obspcap: another process has taken over the slot of the block\n", stderr);
    if (block.holds_signals)
        restore_signals(block.signals);
    block.holds_signals = false;
    return ours ? 0 : -1;
}
