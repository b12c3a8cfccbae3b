#pragma once
// Lock words that are shared with the multi-threaded daemons: 0 free, 1 taken.
#include <atomic>
#include <cstdint>

// Holds a lock word for its lifetime.
class SpinLock {
public:
    explicit SpinLock(uint32_t& word) : word_(word)
    {
        uint32_t free = 0;
        while (!word_.compare_exchange_weak(free, 1, std::memory_order_acquire)) {
            free = 0;
            while (word_.load(std::memory_order_relaxed) != 0)
                ;
        }
    }
    ~SpinLock() { word_.store(0, std::memory_order_release); }
    SpinLock(const SpinLock&) = delete;
    SpinLock& operator=(const SpinLock&) = delete;

private:
    std::atomic_ref<uint32_t> word_;
};
