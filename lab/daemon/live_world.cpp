#include "lab/daemon/live_world.h"

#include "lab/daemon/install.h"
#include "lab/packets/capture.h"
#include "lab/world/furnish.h"
#include "lab/world/geography.h"

#include <cstdio>
#include <ctime>

namespace {

constexpr char standard_input[] = "-";
constexpr auto between_tries = std::chrono::seconds(1);

// What operators and intelligence would have added is made up once, of the first traffic: so many sessions,
// or those of so long a time.
constexpr size_t sessions_to_furnish = 200;
constexpr auto time_to_furnish = std::chrono::seconds(5);

std::shared_ptr<Appliance> nothing_seen()
{
    auto appliance = std::make_shared<Appliance>();
    World& world = appliance->world;
    world.now = static_cast<uint32_t>(time(nullptr));
    world.locations = known_locations();
    world.live.emplace();
    furnish_signatures(world);
    furnish_event_rules(world);
    return appliance;
}

} // namespace

LiveWorld::LiveWorld(std::string input, const LiveBounds& bounds)
    : input_(std::move(input)),
      traffic_(bounds, [this](const Session& session) { remember(history_, session); }),
      states_(
          nothing_seen(), [this](Appliance& newest, bool goes_on) { return next_state(newest, goes_on); },
          [this] { return has_news(); })
{
}

std::unique_ptr<LiveSource> LiveWorld::open_source(std::string& error) const
{
    return input_ == standard_input ? open_pipe(0, error) : open_interface(input_, error);
}

bool LiveWorld::open(std::string& error)
{
    source_ = open_source(error);
    return source_ != nullptr;
}

void LiveWorld::join(Server& server)
{
    server_ = &server;
    server.watch(source_->descriptor(), [this] { take(); });
}

void LiveWorld::take()
{
    source_->take([this](const Frame& frame) { traffic_.add(frame); });
    if (!has_begun_ && traffic_.changes() != 0) {
        has_begun_ = true;
        begun_ = Clock::now();
    }
    if (source_->state() != InputState::open && input_state_ == InputState::open)
        end_input();
}

// Says why nothing comes any more. An interface that went may come back; a capture does not.
void LiveWorld::end_input()
{
    input_state_ = source_->state();
    server_->unwatch(source_->descriptor());
    std::string counts =
        "sessions=" + std::to_string(traffic_.sessions()) + ' ' + counts_text(traffic_.counts());
    const char* reason = source_->reason().c_str();
    bool is_capture = input_ == standard_input;
    if (input_state_ == InputState::failed)
        fprintf(stderr, "vigil-lab: %s: %s%s\n", input_.c_str(), reason,
                is_capture ? "; what came before it counts" : "; tried again every second");
    if (is_capture)
        fprintf(stderr, "vigil-lab: %s: %s\n", input_.c_str(), counts.c_str());
    failed_ = is_capture && input_state_ == InputState::failed && traffic_.counts().packets == 0;
    if (failed_)
        server_->stop();
    next_try_ = Clock::now() + between_tries;
}

void LiveWorld::reopen()
{
    std::string error;
    std::unique_ptr<LiveSource> again = open_source(error);
    next_try_ = Clock::now() + between_tries;
    if (!again)
        return;
    lost_before_ += source_->lost();
    source_ = std::move(again);
    input_state_ = InputState::open;
    join(*server_);
    fprintf(stderr, "vigil-lab: %s: is there again\n", input_.c_str());
}

void LiveWorld::idle()
{
    traffic_.advance(source_->now());
    states_.forget_ended();
    if (input_state_ == InputState::failed && input_ != standard_input && Clock::now() >= next_try_)
        reopen();
}

bool LiveWorld::has_news() const
{
    return traffic_.changes() != shown_changes_ || source_->now() != shown_now_ ||
           input_state_ != shown_input_;
}

std::shared_ptr<Appliance> LiveWorld::next_state(Appliance& newest, bool goes_on)
{
    shown_changes_ = traffic_.changes();
    shown_now_ = source_->now();
    shown_input_ = input_state_;
    auto next = std::make_shared<Appliance>(newest, goes_on, [this] {
        Traffic traffic = traffic_.state(shown_now_);
        traffic.live->history = history_;
        traffic.live->input = input_state_;
        traffic.live->lost = lost_before_ + source_->lost();
        return traffic;
    });
    hit_signatures(next->world);
    furnish_once(next->world);
    log_events(next->world, watch_);
    return next;
}

void LiveWorld::furnish_once(World& world)
{
    bool enough = world.sessions.size() >= sessions_to_furnish || input_state_ == InputState::ended ||
                  Clock::now() >= begun_ + time_to_furnish;
    if (furnished_ || world.sessions.empty() || !enough)
        return;
    furnish(world);
    describe(world);
    furnished_ = true;
}
