#include "lab/daemon/ring_writer.h"

#include "lab/packets/frames.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr uint32_t own_blocks = 8, own_block_size = 64 * 1024;
constexpr size_t packets_in_block = 200;
constexpr size_t lock_tries = 1000;

} // namespace

RingWriter::RingWriter(std::function<const Traffic&()> traffic, std::string path)
    : traffic_(std::move(traffic)), path_(std::move(path))
{
    if (!map() && access(path_.c_str(), F_OK) != 0 && create())
        map();
}

RingWriter::~RingWriter()
{
    unmap();
}

bool RingWriter::create() const
{
    CaptureRingHeader header{
        {'O',                                         'B', 'S', 0},
        0, own_blocks, own_block_size, 0, {}
    };
    std::string rest(own_blocks * (sizeof(CaptureSlot) + own_block_size), '\0');
    std::ofstream file(path_, std::ios::binary);
    file.write(reinterpret_cast<const char*>(&header), sizeof header);
    file.write(rest.data(), static_cast<std::streamsize>(rest.size()));
    return file.good();
}

bool RingWriter::is_ring(uint64_t size) const
{
    CaptureRingHeader header;
    memcpy(&header, base_, sizeof header);
    uint32_t data = header.bs * header.cnt; // wraps, as its readers count
    return memcmp(header.tag, "OBS", 4) == 0 && uint64_t{header.bs} * header.cnt == data &&
           size == sizeof(CaptureSlot) * (uint64_t{header.cnt} + 2) + data;
}

bool RingWriter::map()
{
    struct stat status {};
    int fd = open(path_.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool usable = fstat(fd, &status) == 0 && status.st_size >= static_cast<off_t>(sizeof(CaptureRingHeader));
    void* base =
        usable ? mmap(nullptr, static_cast<size_t>(status.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)
               : MAP_FAILED;
    close(fd);
    if (base == MAP_FAILED)
        return false;
    base_ = static_cast<char*>(base);
    size_ = static_cast<uint64_t>(status.st_size);
    device_ = status.st_dev;
    inode_ = status.st_ino;
    const auto* header = reinterpret_cast<const CaptureRingHeader*>(base_);
    cnt_ = header->cnt;
    bs_ = header->bs;
    if (!is_ring(size_))
        unmap();
    return base_ != nullptr;
}

void RingWriter::unmap()
{
    if (base_ != nullptr)
        munmap(base_, size_);
    base_ = nullptr;
}

bool RingWriter::try_lock()
{
    std::atomic_ref<uint32_t> lock(reinterpret_cast<CaptureRingHeader*>(base_)->lock);
    for (size_t i = 0; i < lock_tries; i++) {
        uint32_t free = 0;
        if (lock.compare_exchange_strong(free, 1, std::memory_order_acquire))
            return true;
    }
    return false;
}

void RingWriter::unlock()
{
    std::atomic_ref<uint32_t>(reinterpret_cast<CaptureRingHeader*>(base_)->lock).store(0);
}

// The next packets of the sessions, round and round, behind a heartbeat that tells the blocks apart. Where
// the traffic is another one than before, they go on at the same place.
std::string RingWriter::next_block(const Traffic& traffic)
{
    const std::vector<Session>& sessions = traffic.sessions;
    std::string out = capture_file_header();
    session_ = session_ < sessions.size() ? session_ : 0;
    append_heartbeat(sessions.empty() ? traffic.now : sessions[session_].birth, serial_, out);
    for (size_t i = 0; i < packets_in_block && !sessions.empty(); i++) {
        if (out.size() + frame_record_max > bs_)
            break;
        const Session& session = sessions[session_];
        append_frame(traffic, session, std::min(frame_, frames_of(session) - 1), out);
        if (++frame_ < frames_of(session))
            continue;
        frame_ = 0;
        session_ = (session_ + 1) % sessions.size();
    }
    return out;
}

// An empty slot belongs to the writer, so its block is filled without the lock; only the change of state
// needs it. False when the lock could not be had.
bool RingWriter::fill_slot(uint32_t i)
{
    auto* slot = reinterpret_cast<CaptureSlot*>(base_ + sizeof(CaptureRingHeader)) + i;
    std::atomic_ref<uint32_t> state(slot->state);
    if (state.load(std::memory_order_acquire) != capture_slot::empty)
        return true;
    const Traffic& traffic = traffic_();
    std::string block = next_block(traffic);
    if (block.size() > bs_)
        return true;
    char* data = base_ + sizeof(CaptureRingHeader) + sizeof(CaptureSlot) * uint64_t{cnt_} + uint64_t{bs_} * i;
    block.copy(data, block.size());
    if (!try_lock())
        return false;
    slot->length = static_cast<uint32_t>(block.size());
    slot->writer_data[0] = serial_++;
    slot->writer_data[1] = traffic.now;
    state.store(capture_slot::full, std::memory_order_release);
    unlock();
    return true;
}

void RingWriter::fill()
{
    struct stat status {};
    bool there = stat(path_.c_str(), &status) == 0;
    if (base_ != nullptr && (!there || status.st_dev != device_ || status.st_ino != inode_ ||
                             static_cast<uint64_t>(status.st_size) < size_))
        unmap();
    if (base_ == nullptr && (!there || !map()))
        return;
    // A reader may still be writing out a block that a third process has declared stale; that is the readers'
    // bargain, not ours.
    for (uint32_t i = 0; i < cnt_; i++)
        if (!fill_slot(i))
            return;
}
