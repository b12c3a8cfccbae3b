#include "lab/packets/pcapng.h"

#include <algorithm>
#include <pcap/dlt.h>

namespace {

namespace block {
constexpr uint32_t section = 0x0a0d0d0a, interface = 1, old_packet = 2, simple_packet = 3, packet = 6;
}

constexpr uint32_t byte_order_magic = 0x1a2b3c4d;
constexpr uint32_t block_max = 16 << 20;
constexpr uint16_t option_end = 0, option_clock = 9, option_clock_offset = 14;

// Files number the links as libpcap does, but for raw IP, whose number in programs differs from system to
// system.
int link_type_of(uint16_t number)
{
    return number == 101 ? DLT_RAW : number;
}

} // namespace

uint16_t PcapngFile::number16(Bytes bytes, size_t at) const
{
    return static_cast<uint16_t>(big_endian_ ? bytes[at] << 8 | bytes[at + 1]
                                             : bytes[at + 1] << 8 | bytes[at]);
}

uint32_t PcapngFile::number32(Bytes bytes, size_t at) const
{
    uint32_t first = number16(bytes, at), second = number16(bytes, at + 2);
    return big_endian_ ? first << 16 | second : second << 16 | first;
}

bool PcapngFile::read_more(size_t length)
{
    size_t before = body_.size();
    body_.resize(before + length);
    return fread(body_.data() + before, 1, length, file_) == length;
}

// The body of a section's first block begins with a magic number, in the order of the section.
bool PcapngFile::read_byte_order()
{
    for (bool big : {false, true}) {
        big_endian_ = big;
        if (number32(body_, 0) == byte_order_magic)
            return true;
    }
    return false;
}

// Reads the next block into `body_`: type, length, body, the length again.
FrameRead PcapngFile::read_block(uint32_t& type)
{
    constexpr const char* cut = "the file ends within a block";
    uint8_t head[8];
    size_t got = fread(head, 1, sizeof head, file_);
    if (got < sizeof head)
        return got == 0 ? FrameRead::end : fail(cut);
    type = number32(head, 0);
    body_.clear();
    if (type == block::section) { // the same in both orders, so that the body can tell which
        if (!read_more(4))
            return fail(cut);
        if (!read_byte_order())
            return fail("a section of unknown byte order");
    }
    uint32_t length = number32(head, 4), rest = static_cast<uint32_t>(sizeof head + body_.size());
    if (length < rest + 4 || length > block_max || length % 4 != 0)
        return fail("a block of " + std::to_string(length) + " bytes");
    if (!read_more(length - rest))
        return fail(cut);
    if (number32(body_, body_.size() - 4) != length)
        return fail("a block whose two lengths differ");
    body_.resize(body_.size() - 4);
    return FrameRead::frame;
}

bool PcapngFile::read_option(uint16_t code, size_t at, size_t length, Interface& interface)
{
    if (code == option_clock && length == 1) {
        unsigned power = body_[at] & 0x7f;
        bool binary = (body_[at] & 0x80) != 0;
        if (power > (binary ? 63 : 19))
            return false;
        interface.units = 1;
        for (; power > 0; power--)
            interface.units *= binary ? 2 : 10;
    } else if (code == option_clock_offset && length == 8) {
        uint64_t first = number32(body_, at), second = number32(body_, at + 4);
        interface.offset = static_cast<int64_t>(big_endian_ ? first << 32 | second : second << 32 | first);
    }
    return true;
}

bool PcapngFile::add_interface()
{
    if (body_.size() < 8)
        return false;
    Interface interface;
    interface.link_type = link_type_of(number16(body_, 0));
    interface.snapshot = number32(body_, 4);
    for (size_t at = 8; at + 4 <= body_.size();) {
        uint16_t code = number16(body_, at);
        size_t length = number16(body_, at + 2);
        if (code == option_end)
            break;
        if (body_.size() - at - 4 < length || !read_option(code, at + 4, length, interface))
            return false;
        at += 4 + (length + 3) / 4 * 4;
    }
    interfaces_.push_back(interface);
    return true;
}

// Interface, clock, bytes kept, length on the wire, bytes.
FrameRead PcapngFile::packet_of(uint32_t interface, Frame& frame)
{
    constexpr size_t start = 20;
    uint64_t clock = uint64_t{number32(body_, 4)} << 32 | number32(body_, 8);
    uint32_t kept = number32(body_, 12), length = number32(body_, 16);
    if (interface >= interfaces_.size())
        return fail("interface " + std::to_string(interface) + " is not described");
    if (kept > body_.size() - start)
        return fail("a packet longer than its block");
    const Interface& from = interfaces_[interface];
    constexpr __int128 latest = static_cast<__int128>(UINT32_MAX) * 1'000'000;
    __int128 time = static_cast<__int128>(clock) * 1'000'000 / from.units +
                    static_cast<__int128>(from.offset) * 1'000'000;
    time_ = static_cast<uint64_t>(std::clamp<__int128>(time, 0, latest));
    frame = {time_, length, from.link_type, Bytes{body_}.subspan(start, kept)};
    return FrameRead::frame;
}

// Has neither time nor interface: it comes with the packet before it, from the section's first.
FrameRead PcapngFile::simple_packet(Frame& frame)
{
    if (interfaces_.empty())
        return fail("interface 0 is not described");
    const Interface& from = interfaces_[0];
    uint32_t length = number32(body_, 0),
             kept = std::min<uint32_t>(length, static_cast<uint32_t>(body_.size() - 4));
    if (from.snapshot != 0)
        kept = std::min(kept, from.snapshot);
    frame = {time_, length, from.link_type, Bytes{body_}.subspan(4, kept)};
    return FrameRead::frame;
}

FrameRead PcapngFile::next(Frame& frame)
{
    while (true) {
        uint32_t type = 0;
        FrameRead read = read_block(type);
        if (read != FrameRead::frame)
            return read;
        if (type == block::section)
            interfaces_.clear();
        else if (type == block::interface && !add_interface())
            return fail("an interface that cannot be understood");
        else if (type == block::packet && body_.size() >= 20)
            return packet_of(number32(body_, 0), frame);
        else if (type == block::old_packet && body_.size() >= 20)
            return packet_of(number16(body_, 0), frame);
        else if (type == block::simple_packet && body_.size() >= 4)
            return simple_packet(frame);
        else if (type == block::packet || type == block::old_packet || type == block::simple_packet)
            return fail("a packet longer than its block");
    }
}
