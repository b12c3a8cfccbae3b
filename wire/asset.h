#pragma once
// Live statistics of a configured asset object. Little-endian.
#include "wire/address.h"

struct [[gnu::packed]] AssetRecord {
    uint16_t      kind;              //   0  of `value`, see below
    uint16_t      pid;               //   2  parent group
    uint32_t      id;                //   4
    uint32_t      logical_id;        //   8
    uint32_t      flows;             //  12
    uint64_t      bytes_out;         //  16
    uint64_t      bytes_in;          //  24
    uint32_t      succeeded;         //  32  requests
    uint32_t      failed;            //  36
    uint8_t       threats_24[3];     //  40  24-bit numbers, see below
    uint8_t       last_threat_24[3]; // 43
    uint16_t      port;              //  46
    uint8_t       reserved_48[20];   //  48
    uint32_t      pps;               //  68  packets per second
    uint32_t      bps_out;           //  72  bits per second
    uint32_t      bps_in;            //  76
    uint64_t      delay_sum;         //  80  microseconds
    uint32_t      delay_max_1;       //  88  microseconds, first measure
    uint8_t       reserved_92[4];    //  92
    uint32_t      delay_counts[10];  // 96  samples; their sum divides delay_sum
    uint8_t       reserved_136[32];  // 136
    uint32_t      delay_max_2;       // 168  microseconds, second measure
    uint8_t       reserved_172[548]; // 172
    FixedText<64> name;              // 720
    FixedText<64> value;             // 784  an address (see below) or a text

    static constexpr uint16_t kind_ipv4 = 0, kind_ipv6 = 2; // any other kind is a text

    static uint32_t number_24(const uint8_t (&b)[3])
    {
        return static_cast<uint32_t>(b[0] | b[1] << 8 | b[2] << 16);
    }
    uint32_t threats() const { return number_24(threats_24); }
    uint32_t last_threat() const { return number_24(last_threat_24); } // seconds
    // `value` as an address: IPv4 in network order.
    WireAddress value_address() const
    {
        WireAddress address;
        memcpy(address.bytes, value.whole().data(), sizeof address.bytes);
        return address;
    }
}; // 848
static_assert(sizeof(AssetRecord) == 848 && alignof(AssetRecord) == 1);
static_assert(offsetof(AssetRecord, bytes_out) == 16 && offsetof(AssetRecord, port) == 46);
static_assert(offsetof(AssetRecord, pps) == 68 && offsetof(AssetRecord, delay_counts) == 96);
static_assert(offsetof(AssetRecord, delay_max_2) == 168 && offsetof(AssetRecord, name) == 720);
static_assert(offsetof(AssetRecord, value) == 784);
