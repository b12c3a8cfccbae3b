#pragma once
// Frames as they come: from an interface, or from a pipe that somebody writes a capture into.
#include "lab/packets/frame_source.h"
#include "lab/world/live.h"

#include <functional>

class LiveSource {
public:
    using Take = std::function<void(const Frame&)>;

    virtual ~LiveSource() = default;
    // Becomes readable when there is something to take.
    virtual int descriptor() const = 0;
    // Hands over what has come, as much of it as takes no longer than a few hundredths of a second; never
    // waits.
    virtual void take(const Take& frame) = 0;
    // The time at which the traffic stands, in seconds since the epoch.
    virtual uint32_t now() const = 0;
    virtual uint64_t lost() { return 0; } // frames that came faster than they were taken

    InputState state() const { return state_; }
    const std::string& reason() const { return reason_; } // why it failed

protected:
    void fail(std::string reason)
    {
        state_ = InputState::failed;
        reason_ = std::move(reason);
    }
    void end() { state_ = InputState::ended; }

private:
    InputState state_ = InputState::open;
    std::string reason_;
};

// Null, with the reason in `error`, when there is no such interface or it may not be listened to.
std::unique_ptr<LiveSource> open_interface(const std::string& name, std::string& error);

// A capture of any kind that open_capture_file() reads, from a descriptor that the source closes. Its clock
// is the capture's: as long as the pipe is open it goes on from the last packet. What is no capture is found
// out later.
std::unique_ptr<LiveSource> open_pipe(int descriptor, std::string& error);
