#pragma once
// Logs of clear-text protocol events: one head, four records.
#include "wire/address.h"

struct [[gnu::packed]] ProtocolLogHead {
    WireAddress source;           //  0  IPv4 in network order
    WireAddress destination;      // 16  IPv4 in network order
    uint32_t    time;             // 32  seconds since the epoch
    be16        source_port;      // 36
    be16        destination_port; // 38
    uint8_t     operation;        // 40  NetBIOS only
    uint8_t     is_ipv6;          // 41  non-zero for IPv6 addresses
    uint8_t     mac[6];           // 42  of the host; all zero when unknown
};                                // 48
static_assert(sizeof(ProtocolLogHead) == 48 && alignof(ProtocolLogHead) == 1);
static_assert(offsetof(ProtocolLogHead, time) == 32 && offsetof(ProtocolLogHead, mac) == 42);

struct [[gnu::packed]] SyslogRecord {
    ProtocolLogHead head;    //   0
    FixedText<32>   user_a;  //  48
    FixedText<20>   user_b;  //  80
    FixedText<256>  message; // 100
};                           // 356
static_assert(sizeof(SyslogRecord) == 356 && offsetof(SyslogRecord, user_b) == 80);
static_assert(offsetof(SyslogRecord, message) == 100);

struct [[gnu::packed]] SshLogRecord {
    ProtocolLogHead head;   //   0
    FixedText<20>   user_b; //  48
    FixedText<32>   user_a; //  68
    FixedText<32>   banner; // 100
};                          // 132
static_assert(sizeof(SshLogRecord) == 132 && offsetof(SshLogRecord, user_a) == 68);
static_assert(offsetof(SshLogRecord, banner) == 100);

struct [[gnu::packed]] TlsLogRecord {
    ProtocolLogHead head;    //  0
    uint16_t        version; // 48  host order: 769 is 1.0
    FixedText<22>   user_b;  // 50
    FixedText<32>   user_a;  // 72
};                           // 104
static_assert(sizeof(TlsLogRecord) == 104 && offsetof(TlsLogRecord, user_b) == 50);
static_assert(offsetof(TlsLogRecord, user_a) == 72);

struct [[gnu::packed]] NetbiosLogRecord {
    ProtocolLogHead head;   //   0
    FixedText<31>   name;   //  48  first-level encoding, two letters a character
    FixedText<25>   user_b; //  79
    FixedText<32>   user_a; // 104
};                          // 136
static_assert(sizeof(NetbiosLogRecord) == 136 && offsetof(NetbiosLogRecord, user_b) == 79);
static_assert(offsetof(NetbiosLogRecord, user_a) == 104);
