#include "lab/packets/capture.h"

#include "lab/packets/flow_table.h"
#include "lab/packets/fragments.h"
#include "lab/world/furnish.h"

#include <algorithm>
#include <memory>
#include <pcap/pcap.h>

namespace {

struct PcapCloser {
    void operator()(pcap_t* file) const { pcap_close(file); }
};
using PcapFile = std::unique_ptr<pcap_t, PcapCloser>;

void add_frame(int link_type, const pcap_pkthdr& header, const u_char* data, Fragments& fragments,
               FlowTable& flows, CaptureCounts& counts)
{
    Packet packet;
    Fragment fragment;
    packet.time =
        static_cast<uint64_t>(header.ts.tv_sec) * 1000000 + static_cast<uint64_t>(header.ts.tv_usec);
    Decoded decoded = decode_frame(link_type, {data, header.caplen}, header.len, packet, fragment);
    if (decoded == Decoded::fragment)
        decoded = fragments.add(fragment, packet);
    counts.packets++;
    switch (decoded) {
    case Decoded::packet:
        return flows.add(packet);
    case Decoded::fragment:
        counts.fragments++;
        return;
    case Decoded::not_ip:
        counts.not_ip++;
        return;
    case Decoded::other_protocol:
        counts.other_protocol++;
        return;
    case Decoded::truncated:
        counts.truncated++;
        return;
    case Decoded::malformed:
        counts.malformed++;
        return;
    }
}

} // namespace

bool read_capture(const std::string& path, World& world, std::string& error)
{
    char reason[PCAP_ERRBUF_SIZE] = "";
    PcapFile file{pcap_open_offline(path.c_str(), reason)};
    if (!file) {
        error = reason;
        return false;
    }
    int link_type = pcap_datalink(file.get());
    if (!is_known_link(link_type)) {
        error = "link type " + std::to_string(link_type) + " is not read";
        return false;
    }
    Fragments fragments;
    FlowTable flows{world};
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    int read = 0;
    while ((read = pcap_next_ex(file.get(), &header, &data)) == 1) {
        add_frame(link_type, *header, data, fragments, flows, world.capture);
        world.now = std::max(world.now, static_cast<uint32_t>(header->ts.tv_sec));
    }
    if (read == PCAP_ERROR) // the file ends within a packet: what came before it counts
        world.capture.truncated++;
    flows.finish();
    furnish(world);
    return true;
}
