#pragma once
// Puts IP datagrams together, as standard analysers do: the frame that completes a datagram stands for it; of
// an IPv4 datagram whose first piece was cut when it was captured, that piece; only IPv4 pieces are kept
// apart by virtual network.
#include "lab/packets/packet.h"

#include <map>
#include <tuple>
#include <vector>

class Fragments {
public:
    // Adds a piece. Returns what the whole datagram decodes to when `piece` completed it (its bytes then live
    // until the next call), and Decoded::fragment before that.
    Decoded add(const Fragment& piece, Packet& packet);

private:
    struct Datagram {
        std::vector<uint8_t> bytes;
        std::map<uint32_t, uint32_t> pieces; // offset, length
        uint32_t whole = 0;                  // length, once the last piece has come

        size_t held() const; // about what it takes in memory
    };
    using Key = std::tuple<std::array<uint8_t, 16>, std::array<uint8_t, 16>, uint8_t, uint16_t, uint32_t>;

    std::map<Key, Datagram> open_;
    size_t held_ = 0; // by all of them
    std::vector<uint8_t> complete_;
};
