#pragma once
// The capture engine's side of the capture ring: fills empty slots with small complete capture files.
#include "lab/world/traffic.h"
#include "wire/capture_ring.h"

#include <functional>
#include <string>

class RingWriter {
public:
    // The traffic is asked for with each block that is filled. The ring file at `path` is made, with small
    // blocks, when it does not exist.
    RingWriter(std::function<const Traffic&()> traffic, std::string path);
    ~RingWriter();
    RingWriter(const RingWriter&) = delete;

    // Fills what is empty. Never waits: a lock that somebody holds is tried again the next time. Follows the
    // path to another ring file that takes the place of this one.
    void fill();

private:
    bool create() const;
    bool map();
    void unmap();
    bool is_ring(uint64_t size) const;
    std::string next_block(const Traffic& traffic);
    bool fill_slot(uint32_t i);
    bool try_lock();
    void unlock();

    std::function<const Traffic&()> traffic_;
    std::string path_;
    char* base_ = nullptr;
    uint64_t size_ = 0, device_ = 0, inode_ = 0;
    uint32_t cnt_ = 0, bs_ = 0; // as they stood when the file was mapped
    uint32_t serial_ = 0;       // of the next block
    size_t session_ = 0;        // the next packet to write
    uint32_t frame_ = 0;
};
