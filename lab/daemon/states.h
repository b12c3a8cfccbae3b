#pragma once
// Which state of a world that changes answers a request: a listing under way sees the one that it began with,
// from its first batch to its last; everything else the newest.
#include "lab/daemon/exchange.h"
#include "lab/requests/appliance.h"

#include <chrono>
#include <memory>

class States {
public:
    using Clock = std::chrono::steady_clock;
    // Makes the next state out of the newest one. Where that does not go on it may be emptied.
    using Make = std::function<std::shared_ptr<Appliance>(Appliance& newest, bool goes_on)>;

    // `has_news` says whether a state that is made now would differ from the newest.
    States(std::shared_ptr<Appliance> first, Make make, std::function<bool()> has_news);

    void answer(Exchange& exchange);
    // The newest state; made anew when there is news, but not so often that it takes more than a tenth of the
    // time.
    Appliance& newest();
    // Lets go of what clients that have ended had asked.
    void forget_ended();

private:
    // A listing that has batches left, by its client's segment and code.
    using Key = std::pair<int32_t, uint32_t>;
    struct Listing {
        std::shared_ptr<Appliance> state; // null: it had to make room for newer ones
        Clock::time_point asked;
    };
    Appliance* state_for(const Key& key, const RequestRecord& record);
    void renew();
    bool make_room(bool at_once);

    std::shared_ptr<Appliance> newest_;
    Make make_;
    std::function<bool()> has_news_;
    std::map<Key, Listing> listings_;
    Clock::time_point made_;
    Clock::duration cost_{};
};
