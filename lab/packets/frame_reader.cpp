#include "lab/packets/frame_reader.h"

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

} // namespace

const Packet* FrameReader::read(const Frame& frame, CaptureCounts& counts)
{
    Fragment fragment;
    packet_ = {};
    packet_.time = frame.time;
    Decoded decoded = decode_frame(frame.link_type, frame.bytes, frame.length, packet_, fragment);
    if (decoded == Decoded::fragment)
        decoded = fragments_.add(fragment, packet_);
    counter_of(decoded, counts)++;
    counts.packets++;
    return decoded == Decoded::packet ? &packet_ : nullptr;
}
