#include "lab/packets/fragments.h"

#include <algorithm>

namespace {

// Datagrams that wait for pieces, and the bytes that they hold, so much for each piece besides its own;
// beyond that all are given up.
constexpr size_t open_max = 256, held_max = 16 << 20, piece_overhead = 64;
constexpr uint32_t datagram_max = 65535;

bool is_whole(const std::map<uint32_t, uint32_t>& pieces, uint32_t whole)
{
    uint32_t reached = 0;
    for (auto [offset, length] : pieces) {
        if (offset > reached)
            break;
        reached = std::max(reached, offset + length);
    }
    return whole != 0 && reached >= whole;
}

} // namespace

size_t Fragments::Datagram::held() const
{
    return bytes.capacity() + pieces.size() * piece_overhead;
}

Decoded Fragments::add(const Fragment& piece, Packet& packet)
{
    if (piece.length > datagram_max || piece.offset > datagram_max - piece.length)
        return Decoded::malformed;
    if (piece.bytes.size() < piece.length) { // its datagram can never be whole
        bool shows_ports = piece.offset == 0 && !packet.source.ipv6;
        return shows_ports ? decode_transport(piece.bytes, piece.length, packet) : Decoded::truncated;
    }
    if (open_.size() >= open_max || held_ >= held_max) {
        open_.clear();
        held_ = 0;
    }
    uint16_t vlan = packet.source.ipv6 ? uint16_t{0} : packet.vlan;
    Key key{packet.source.bytes, packet.destination.bytes, packet.protocol, vlan, piece.identification};
    Datagram& datagram = open_[key];
    held_ -= datagram.held();
    uint32_t end = piece.offset + piece.length;
    if (datagram.bytes.size() < end)
        datagram.bytes.resize(end);
    std::copy(piece.bytes.begin(), piece.bytes.end(), datagram.bytes.begin() + piece.offset);
    uint32_t& length = datagram.pieces[piece.offset];
    length = std::max(length, piece.length);
    if (!piece.more)
        datagram.whole = end;
    if (!is_whole(datagram.pieces, datagram.whole)) {
        held_ += datagram.held();
        return Decoded::fragment;
    }
    complete_ = std::move(datagram.bytes);
    complete_.resize(datagram.whole);
    open_.erase(key);
    return decode_transport(complete_, static_cast<uint32_t>(complete_.size()), packet);
}
