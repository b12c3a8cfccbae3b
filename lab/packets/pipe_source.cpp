// Frames of a capture that is written into a pipe. A thread reads, so that a writer that pauses in the middle
// of a packet holds up nobody else.
#include "lab/packets/live_source.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <mutex>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t batch_bytes = 1 << 20, batch_frames = 8192; // then the reader waits

// Frames on their way from the reader to whoever takes them.
struct Batch {
    std::vector<Frame> frames; // without their bytes, which stand in `bytes` one after the other
    std::vector<size_t> sizes;
    std::vector<uint8_t> bytes;

    bool is_full() const { return bytes.size() >= batch_bytes || frames.size() >= batch_frames; }
    void add(const Frame& frame)
    {
        frames.push_back(frame);
        sizes.push_back(frame.bytes.size());
        bytes.insert(bytes.end(), frame.bytes.begin(), frame.bytes.end());
    }
    void clear()
    {
        frames.clear();
        sizes.clear();
        bytes.clear();
    }
};

class Pipe : public LiveSource {
public:
    Pipe(int input, int ready, int stop)
        : input_(input), ready_(ready), stop_(stop), reader_([this] { read(); })
    {
    }
    ~Pipe() override
    {
        {
            std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        room_.notify_one();
        notify(stop_);
        reader_.join();
        for (int fd : {input_, ready_, stop_})
            close(fd);
    }
    Pipe(const Pipe&) = delete;

    int descriptor() const override { return ready_; }

    uint32_t now() const override
    {
        if (latest_ == 0)
            return static_cast<uint32_t>(time(nullptr));
        auto silent = state() == InputState::open ? Clock::now() - taken_at_ : Clock::duration::zero();
        return latest_ +
               static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(silent).count());
    }

    void take(const Take& frame) override
    {
        uint64_t notes = 0;
        bool finished = false;
        if (::read(ready_, &notes, sizeof notes) < 0 && errno == EAGAIN)
            return;
        taken_.clear();
        {
            std::lock_guard lock(mutex_);
            std::swap(taken_, filling_);
            finished = finished_;
        }
        room_.notify_one();
        size_t at = 0;
        for (size_t i = 0; i < taken_.frames.size(); i++) {
            Frame& one = taken_.frames[i];
            one.bytes = {taken_.bytes.data() + at, taken_.sizes[i]};
            at += taken_.sizes[i];
            latest_ = std::max(latest_, static_cast<uint32_t>(one.time / 1'000'000));
            frame(one);
        }
        taken_at_ = Clock::now();
        if (finished && fault_.empty())
            end();
        else if (finished)
            fail(fault_);
    }

private:
    static void notify(int fd)
    {
        uint64_t one = 1;
        [[maybe_unused]] ssize_t n = write(fd, &one, sizeof one);
    }

    // For the stream that the reader reads: ends it when the source is to go.
    static ssize_t read_input(void* self, char* buffer, size_t size)
    {
        const auto* pipe = static_cast<Pipe*>(self);
        pollfd polled[] = {
            {pipe->input_, POLLIN, 0},
            {pipe->stop_,  POLLIN, 0}
        };
        while (poll(polled, 2, -1) < 0)
            if (errno != EINTR)
                return -1;
        return polled[1].revents != 0 ? 0 : ::read(pipe->input_, buffer, size);
    }

    void read()
    {
        FILE* stream = fopencookie(this, "r", {read_input, nullptr, nullptr, nullptr});
        std::string error;
        std::unique_ptr<FrameSource> source;
        if (stream == nullptr)
            error = strerror(errno);
        else
            source = open_capture_stream(stream, error);
        Frame frame;
        FrameRead read = FrameRead::end;
        while (source && (read = source->next(frame)) == FrameRead::frame && hand_over(frame))
            continue;
        std::lock_guard lock(mutex_);
        fault_ = read == FrameRead::failed ? source->reason() : error;
        finished_ = true;
        notify(ready_);
    }

    // Waits until there is room. False when there is nobody any more who takes the frame.
    bool hand_over(const Frame& frame)
    {
        std::unique_lock lock(mutex_);
        room_.wait(lock, [this] { return stopped_ || !filling_.is_full(); });
        if (filling_.frames.empty())
            notify(ready_);
        filling_.add(frame);
        return !stopped_;
    }

    int input_, ready_, stop_;
    Batch taken_;
    uint32_t latest_ = 0; // time of the newest frame
    Clock::time_point taken_at_ = Clock::now();

    std::mutex mutex_; // over what follows, up to the reader
    std::condition_variable room_;
    Batch filling_;
    bool stopped_ = false, finished_ = false;
    std::string fault_;
    std::thread reader_; // the last member: it begins when all others are there
};

} // namespace

std::unique_ptr<LiveSource> open_pipe(int descriptor, std::string& error)
{
    int ready = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), stop = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (ready < 0 || stop < 0) {
        error = strerror(errno);
        return nullptr;
    }
    return std::make_unique<Pipe>(descriptor, ready, stop);
}
