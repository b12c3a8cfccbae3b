#pragma once
// Sessions and the throughput of addresses. Little-endian; ports are host-order numbers here.
#include "base/loaded_once.h"
#include "wire/address.h"

struct [[gnu::packed]] SessionRecord {
    WireAddress      source;           //   0  IPv4 in host order
    WireAddress      destination;      //  16  IPv4 in host order
    uint16_t         source_port;      //  32
    uint16_t         destination_port; //  34
    uint32_t         birth;            //  36  seconds since the epoch
    uint32_t         value_40;         //  40  the last number of a line
    uint32_t         up_bytes;         //  44
    uint32_t         down_bytes;       //  48
    uint8_t          reserved_52[3];   //  52
    uint8_t          flags;            //  55  see below
    uint16_t         application;      //  56  the id's low half; the high half is value_58
    uint16_t         value_58;         //  58  printed as it is
    uint16_t         value_60;         //  60  printed as it is
    uint8_t          value_62;         //  62  printed as it is
    uint8_t          vpaid;            //  63  path identifier
    uint8_t          protocol;         //  64  IP protocol number
    uint8_t          text_c_at;        //  65  offsets of texts in `texts`
    uint8_t          text_a_at;        //  66
    uint8_t          host_at;          //  67
    uint32_t         client_delay;     //  68  microseconds
    uint32_t         server_delay;     //  72
    uint32_t         app_delay;        //  76
    uint16_t         value_80;         //  80  printed as it is
    uint16_t         value_82;         //  82  printed as it is
    uint32_t         up_packets;       //  84
    uint32_t         down_packets;     //  88
    uint32_t         up_rexmits;       //  92  retransmissions
    uint32_t         down_rexmits;     //  96
    uint16_t         host_suffix;      // 100
    FixedGbkText<43> location;         // 102
    FixedText<83>    texts;            // 145  text B at its start; the others at their offsets

    bool             flag_1() const { return flags >> 1 & 1; }    // printed as 0 or 1
    uint32_t         handshake() const { return flags >> 4 & 3; } // 1 SYN, 2 ACK, 3 complete, 0 none
    bool             is_ipv6() const { return flags >> 6 & 1; }
    std::string_view text_a() const { return text_within(texts, loaded_once<size_t>(text_a_at)); }
    std::string_view text_b() const { return text_within(texts, 0); }
    std::string_view text_c() const { return text_within(texts, loaded_once<size_t>(text_c_at)); }
    std::string_view host() const { return text_within(texts, loaded_once<size_t>(host_at)); }
}; // 228
static_assert(sizeof(SessionRecord) == 228 && alignof(SessionRecord) == 1);
static_assert(offsetof(SessionRecord, flags) == 55 && offsetof(SessionRecord, application) == 56);
static_assert(offsetof(SessionRecord, client_delay) == 68 && offsetof(SessionRecord, up_rexmits) == 92);
static_assert(offsetof(SessionRecord, location) == 102 && offsetof(SessionRecord, texts) == 145);

struct [[gnu::packed]] ThroughputRecord {
    WireAddress   address;     //  0  IPv4 in network order
    uint32_t      in_rate;     // 16  bytes per second
    uint32_t      out_rate;    // 20
    uint16_t      application; // 24
    uint8_t       is_ipv6;     // 26  1 for IPv6
    uint8_t       reserved_27; // 27
    FixedText<36> description; // 28
};                             // 64
static_assert(sizeof(ThroughputRecord) == 64 && alignof(ThroughputRecord) == 1);
static_assert(offsetof(ThroughputRecord, application) == 24 && offsetof(ThroughputRecord, description) == 28);
