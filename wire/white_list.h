#pragma once
// White lists: flows and addresses of trusted endpoints, and what is exempt from tunnel detection.
// Little-endian; addresses are host-order numbers.
#include "base/wire_types.h"

struct [[gnu::packed]] WhiteFlowRecord {
    uint32_t source;           //  0
    uint32_t destination;      //  4
    uint16_t source_port;      //  8
    uint16_t destination_port; // 10
    uint32_t birth;            // 12  seconds since the epoch
    uint8_t  protocol;         // 16  IP protocol number
    uint8_t  reserved_17;      // 17
    uint8_t  source_mac[6];    // 18
};                             // 24
static_assert(sizeof(WhiteFlowRecord) == 24 && alignof(WhiteFlowRecord) == 1);
static_assert(offsetof(WhiteFlowRecord, birth) == 12 && offsetof(WhiteFlowRecord, source_mac) == 18);

struct [[gnu::packed]] WhiteAddressRecord {
    uint32_t      address;         //  0
    uint32_t      birth;           //  4  seconds since the epoch
    uint32_t      last_time;       //  8
    uint32_t      flows;           // 12
    uint8_t       reserved_16[32]; // 16
    FixedText<44> description;     // 48
};                                 // 92
static_assert(sizeof(WhiteAddressRecord) == 92 && alignof(WhiteAddressRecord) == 1);
static_assert(offsetof(WhiteAddressRecord, flows) == 12 && offsetof(WhiteAddressRecord, description) == 48);

struct [[gnu::packed]] TunnelWhiteRecord {
    uint8_t       flags; // 0  see below
    FixedText<55> name;  // 1  a domain name, or four bytes of address

    bool     is_name() const { return flags & 1; } // bit 0
    uint32_t address() const                       // of a record that is no name
    {
        uint32_t value;
        memcpy(&value, name.whole().data(), sizeof value);
        return value;
    }
}; // 56
static_assert(sizeof(TunnelWhiteRecord) == 56 && alignof(TunnelWhiteRecord) == 1);
static_assert(offsetof(TunnelWhiteRecord, name) == 1);

// A member of an IP table, when the table comes as numbers.
struct [[gnu::packed]] TableMemberRecord {
    uint32_t address; // 0
};                    // 4
static_assert(sizeof(TableMemberRecord) == 4 && alignof(TableMemberRecord) == 1);

// Raw commands on one IP table, which is named in the request's text field or argument text.
namespace table_code {
constexpr uint32_t add_address = 121, remove_address = 122, clear = 125, get_complete = 126, match_test = 348;
}
