#include "lab/packets/capture.h"

#include "lab/packets/flow_table.h"
#include "lab/packets/frame_reader.h"
#include "lab/world/furnish.h"

#include <algorithm>

bool read_capture(const std::string& path, World& world, std::string& error)
{
    std::unique_ptr<FrameSource> source = open_capture_file(path, error);
    if (!source)
        return false;
    FrameReader reader;
    FlowTable flows{world};
    Frame frame;
    FrameRead read;
    CaptureCounts& counts = world.capture;
    while ((read = source->next(frame)) == FrameRead::frame) {
        if (const Packet* packet = reader.read(frame, counts))
            flows.add(*packet);
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
