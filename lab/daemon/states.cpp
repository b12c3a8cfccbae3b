#include "lab/daemon/states.h"

#include <cerrno>
#include <set>
#include <sys/shm.h>

namespace {

// All states that are held at a time, the newest included: each is a copy of all sessions.
constexpr size_t states_max = 3;
// How long a listing may be silent before its state may make room for a newer one.
constexpr auto patience = std::chrono::seconds(10);

void refuse(RequestRecord& record)
{
    record.error = lab_error::unknown;
    record.text.assign("STATE_GONE");
    record.count = 0;
    record.length = 0;
    record.last_batch = 1;
}

} // namespace

States::States(std::shared_ptr<Appliance> first, Make make, std::function<bool()> has_news)
    : newest_(std::move(first)), make_(std::move(make)), has_news_(std::move(has_news))
{
}

void States::renew()
{
    made_ = Clock::now();
    newest_ = make_(*newest_, newest_.use_count() > 1);
    cost_ = Clock::now() - made_;
}

// Whether there may be one state more, if need be because the listing that was silent longest loses its own.
bool States::make_room(bool at_once)
{
    std::set<const Appliance*> held;
    Listing* silent = nullptr;
    for (auto& [key, listing] : listings_) {
        if (!listing.state)
            continue;
        held.insert(listing.state.get());
        if (silent == nullptr || listing.asked < silent->asked)
            silent = &listing;
    }
    if (held.size() < states_max)
        return true;
    if (!at_once && silent->asked + patience > Clock::now())
        return false;
    silent->state = nullptr;
    return make_room(at_once);
}

Appliance& States::newest()
{
    if (Clock::now() >= made_ + 10 * cost_ && has_news_() && make_room(false))
        renew();
    return *newest_;
}

// Null when the listing's state is gone.
Appliance* States::state_for(const Key& key, const RequestRecord& record)
{
    auto listing = listings_.find(key);
    if (record.cursor != 0 && listing != listings_.end())
        return listing->second.state.get();
    // What is changed is changed in a state that no listing has begun to read.
    if (is_change(record.code) && newest_.use_count() > 1 && make_room(true))
        renew();
    return &newest();
}

void States::answer(Exchange& exchange)
{
    Key key{int32_t{exchange.record.segment_id}, uint32_t{exchange.record.code}};
    Appliance* state = state_for(key, exchange.record);
    if (state == nullptr)
        return refuse(exchange.record);
    auto listing = listings_.find(key);
    std::shared_ptr<Appliance> held =
        listing != listings_.end() && listing->second.state.get() == state ? listing->second.state : newest_;
    held->answer(exchange.daemon, exchange.record, exchange.segment);
    if (exchange.record.error == 0 && exchange.record.last_batch == 0)
        listings_[key] = {std::move(held), Clock::now()};
    else if (listing != listings_.end())
        listings_.erase(listing);
}

// A client's segment goes with it.
void States::forget_ended()
{
    std::erase_if(listings_, [](const auto& one) {
        shmid_ds status{};
        return shmctl(one.first.first, IPC_STAT, &status) != 0 && (errno == EINVAL || errno == EIDRM);
    });
}
