#pragma once
// The appliance behind the sockets: the world, what is counted from it, and the dispatch of requests.
#include "lab/requests/turn.h"
#include "lab/views/kept.h"

#include <functional>
#include <map>
#include <string>

class Appliance {
public:
    Appliance() = default;
    // The appliance with other traffic: what operators set up and what was asked goes on. Where `earlier` is
    // to answer no more it is emptied before the new traffic is made.
    Appliance(Appliance& earlier, bool earlier_goes_on, const std::function<Traffic()>& traffic);

    World world;

    // Replaces the request by its reply and writes the answer into the segment.
    void answer(uint8_t daemon, RequestRecord& record, std::span<char> segment);

    void changed() { revision_++; } // what operators set up is no longer what it was

    // The views that requests share. The first three depend on the traffic alone, which does not change here.
    const std::vector<const Session*>& resets();
    const std::vector<Throughput>& throughput();
    const std::vector<HostReport>& hosts();
    const std::vector<MaliciousEvent>& malicious();
    const std::vector<AssetReport>& assets();
    const std::vector<SignatureReport>& signatures();
    const std::vector<SignatureHit>& hits();
    const std::vector<WhiteReport>& white_addresses();
    const std::vector<const Session*>& white_flows();

    // A view that only one handler knows, by its type; kept until something changes.
    template <class T, class Make> const T& kept(Make&& make)
    {
        return views_.other<T>().at(revision_, make);
    }

    // What was asked so far, by module (raw codes: "raw").
    struct Requests {
        uint64_t answered = 0, refused = 0;
    };
    const std::map<std::string, Requests>& requests() const { return *requests_; }

private:
    void answer_generic(uint8_t daemon, Turn& turn);
    void answer_raw(uint8_t daemon, RequestRecord& record, Turn& turn);

    uint64_t revision_ = 0;
    std::shared_ptr<std::map<std::string, Requests>> requests_ =
        std::make_shared<std::map<std::string, Requests>>();
    KeptViews views_;
};

using RequestHandler = void(Appliance& appliance, Turn& turn);

// Whether a request asks for something to be changed.
bool is_change(uint32_t code);

// One request that a daemon serves.
struct Route {
    uint8_t daemons;    // bits of daemon_kind
    const char* module; // null: a raw code
    uint32_t code;
    RequestHandler* handler;
};

// The requests by subject; each in its own file.
std::span<const Route> traffic_routes();
std::span<const Route> log_routes();
std::span<const Route> event_routes();
std::span<const Route> security_routes();
std::span<const Route> asset_routes();
std::span<const Route> asset_group_routes();
std::span<const Route> topology_routes();
std::span<const Route> network_routes();
std::span<const Route> table_routes();
std::span<const Route> white_list_routes();
std::span<const Route> group_routes();
std::span<const Route> capture_routes();
std::span<const Route> chart_routes();
std::span<const Route> system_routes();
std::span<const Route> counter_routes();

std::span<const std::span<const Route>> all_routes();
