#include "lab/packets/capture.h"

#include "lab/packets/flow_table.h"
#include "lab/packets/fragments.h"
#include "lab/world/furnish.h"

#include <algorithm>

namespace {

// Where the frames that become no packet of a session are counted.
uint64_t& counter_of(Decoded decoded, CaptureCounts& counts)
{
    switch (decoded) {
    case Decoded::packet:
        break;
    case Decoded::fragment:
        return counts.fragments;
    case Decoded::not_ip:
        return counts.not_ip;
    case Decoded::other_protocol:
        return counts.other_protocol;
    case Decoded::truncated:
        return counts.truncated;
    case Decoded::malformed:
        return counts.malformed;
    case Decoded::unknown_link:
        return counts.unknown_link;
    }
    return counts.followed;
}

void add_frame(const Frame& frame, Fragments& fragments, FlowTable& flows, CaptureCounts& counts)
{
    Packet packet;
    Fragment fragment;
    packet.time = frame.time;
    Decoded decoded = decode_frame(frame.link_type, frame.bytes, frame.length, packet, fragment);
    if (decoded == Decoded::fragment)
        decoded = fragments.add(fragment, packet);
    if (decoded == Decoded::packet)
        flows.add(packet);
    counter_of(decoded, counts)++;
    counts.packets++;
}

} // namespace

bool read_capture(const std::string& path, World& world, std::string& error)
{
    std::unique_ptr<FrameSource> source = open_capture_file(path, error);
    if (!source)
        return false;
    Fragments fragments;
    FlowTable flows{world};
    Frame frame;
    FrameRead read;
    CaptureCounts& counts = world.capture;
    while ((read = source->next(frame)) == FrameRead::frame) {
        add_frame(frame, fragments, flows, counts);
        world.now = std::max(world.now, static_cast<uint32_t>(frame.time / 1'000'000));
    }
    if (read == FrameRead::failed)
        error = "packet " + std::to_string(counts.packets + 1) + ": " + source->reason();
    else if (counts.unknown_link != 0 && counts.unknown_link == counts.packets)
        error = "link type " + std::to_string(frame.link_type) + " is not read";
    flows.finish();
    furnish(world);
    return counts.packets != counts.unknown_link || error.empty();
}

std::string counts_text(const CaptureCounts& counts)
{
    std::string text = "packets=" + std::to_string(counts.packets);
    for (auto [reason, count] : {
             std::pair{"truncated",    counts.truncated     },
             {"malformed",    counts.malformed     },
             {"not_ip",       counts.not_ip        },
             {"other",        counts.other_protocol},
             {"fragments",    counts.fragments     },
             {"unknown_link", counts.unknown_link  }
    })
        text += std::string{" "} + reason + '=' + std::to_string(count);
    return text;
}
