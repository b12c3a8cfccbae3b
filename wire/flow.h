#pragma once
// A flow as the outbound and the name-service reports see it. Little-endian; the location texts are GBK.
#include "base/loaded_once.h"
#include "wire/address.h"

// Where the remote side is.
struct [[gnu::packed]] FlowLocation {
    FixedGbkText<15> country; //  0
    FixedGbkText<18> region;  // 15  within the home country
    FixedGbkText<17> third;   // 33
    FixedGbkText<16> isp;     // 50

    bool empty() const { return country.empty() && region.empty() && third.empty() && isp.empty(); }
}; // 66
static_assert(sizeof(FlowLocation) == 66 && alignof(FlowLocation) == 1);
static_assert(offsetof(FlowLocation, region) == 15 && offsetof(FlowLocation, isp) == 50);

struct [[gnu::packed]] FlowRecord {
    WireAddress   source;           //   0  IPv4 in host order
    WireAddress   destination;      //  16  IPv4 in host order
    uint16_t      source_port;      //  32
    uint16_t      destination_port; //  34
    uint8_t       reserved_36[8];   //  36
    uint32_t      up_bytes;         //  44
    uint32_t      down_bytes;       //  48
    uint8_t       reserved_52[3];   //  52
    uint8_t       flags;            //  55  see below
    uint32_t      application;      //  56
    uint8_t       reserved_60[4];   //  60
    uint8_t       protocol;         //  64  IP protocol number
    uint8_t       reserved_65[2];   //  65
    uint8_t       host_at;          //  67  offset of the host name in `texts`
    uint8_t       reserved_68[34];  //  68
    uint8_t       domestic;         // 102  non-zero: the remote address lies in the home country
    FlowLocation  location;         // 103
    FixedText<83> texts;            // 169

    bool             is_ipv6() const { return flags >> 6 & 1; }
    std::string_view host() const { return text_within(texts, loaded_once<size_t>(host_at)); }
}; // 252
static_assert(sizeof(FlowRecord) == 252 && alignof(FlowRecord) == 1);
static_assert(offsetof(FlowRecord, flags) == 55 && offsetof(FlowRecord, host_at) == 67);
static_assert(offsetof(FlowRecord, domestic) == 102 && offsetof(FlowRecord, location) == 103);
static_assert(offsetof(FlowRecord, texts) == 169);
