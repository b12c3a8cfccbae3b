#pragma once
// A world that grows while it is watched: frames come in, requests are answered from states of it.
#include "lab/daemon/server.h"
#include "lab/daemon/states.h"
#include "lab/packets/live_source.h"
#include "lab/packets/live_traffic.h"
#include "lab/views/event_log.h"

class LiveWorld {
public:
    // `input` is an interface, or "-" for a capture on standard input.
    LiveWorld(std::string input, const LiveBounds& bounds);

    // False, with the reason, when the input cannot be listened to.
    bool open(std::string& error);
    // Takes frames and keeps to the bounds from the server's loop. A capture that cannot be read at all stops
    // it.
    void join(Server& server);
    void idle(); // about five times a second

    void answer(Exchange& exchange) { states_.answer(exchange); }
    const World& world() { return states_.newest().world; }
    bool failed() const { return failed_; } // the capture was none

private:
    using Clock = std::chrono::steady_clock;

    std::unique_ptr<LiveSource> open_source(std::string& error) const;
    void take();
    void end_input();
    void reopen();
    std::shared_ptr<Appliance> next_state(Appliance& newest, bool goes_on);
    void furnish_once(World& world);
    bool has_news() const;

    std::string input_;
    ChartHistory history_;
    LiveTraffic traffic_;
    EventWatch watch_;
    std::unique_ptr<LiveSource> source_;
    Server* server_ = nullptr;
    Clock::time_point begun_, next_try_; // begun: with the first frame
    InputState input_state_ = InputState::open, shown_input_ = InputState::open;
    uint64_t lost_before_ = 0; // by sources that failed
    uint64_t shown_changes_ = UINT64_MAX;
    uint32_t shown_now_ = 0;
    bool has_begun_ = false, furnished_ = false, failed_ = false;
    States states_;
};
