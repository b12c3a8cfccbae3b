#pragma once
// Where captured frames come from.
#include "lab/packets/packet.h"

#include <cstdio>
#include <memory>
#include <string>

struct Frame {
    uint64_t time = 0;   // microseconds since the epoch
    uint32_t length = 0; // bytes on the wire
    int link_type = 0;   // as libpcap numbers them
    Bytes bytes;         // what was captured; valid until the next frame is asked for
};

enum class FrameRead { frame, end, failed };

class FrameSource {
public:
    virtual ~FrameSource() = default;
    virtual FrameRead next(Frame& frame) = 0;
    // Why the last read failed.
    const std::string& reason() const { return reason_; }

protected:
    FrameRead fail(std::string reason)
    {
        reason_ = std::move(reason);
        return FrameRead::failed;
    }

private:
    std::string reason_;
};

// Opens a capture file of any kind that libpcap reads, and pcapng; "-" is standard input. Null with the
// reason in `error`.
std::unique_ptr<FrameSource> open_capture_file(const std::string& path, std::string& error);
std::unique_ptr<FrameSource> open_capture_stream(FILE* file, std::string& error); // closes the file
