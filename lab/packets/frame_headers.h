#pragma once
// Headers of a capture file and of the packets in it.
#include "base/wire_types.h"

constexpr uint32_t snap_length = 96;

struct [[gnu::packed]] FileHeader {
    uint32_t magic = 0xa1b2c3d4; //  0
    uint16_t major = 2;          //  4
    uint16_t minor = 4;          //  6
    uint32_t zone = 0;           //  8
    uint32_t accuracy = 0;       // 12
    uint32_t snap = snap_length; // 16
    uint32_t link = 1;           // 20  Ethernet
};                               // 24
static_assert(sizeof(FileHeader) == 24);

struct [[gnu::packed]] FrameHeader {
    uint32_t seconds;      //  0
    uint32_t microseconds; //  4
    uint32_t kept;         //  8  bytes that follow
    uint32_t length;       // 12  bytes on the wire
};                         // 16
static_assert(sizeof(FrameHeader) == 16);

struct [[gnu::packed]] EthernetHeader {
    uint8_t destination[6]; //  0
    uint8_t source[6];      //  6
    be16 type;              // 12
};
struct [[gnu::packed]] Ipv4Header {
    uint8_t version = 0x45; //  0
    uint8_t service = 0;    //  1
    be16 length;            //  2
    be16 id;                //  4
    be16 fragment;          //  6
    uint8_t hops = 64;      //  8
    uint8_t protocol = 0;   //  9
    be16 checksum;          // 10
    uint8_t source[4];      // 12
    uint8_t destination[4]; // 16
};
static_assert(sizeof(Ipv4Header) == 20);
struct [[gnu::packed]] Ipv6Header {
    uint8_t version = 0x60;  //  0
    uint8_t label[3] = {};   //  1
    be16 length;             //  4
    uint8_t protocol = 0;    //  6
    uint8_t hops = 64;       //  7
    uint8_t source[16];      //  8
    uint8_t destination[16]; // 24
};
static_assert(sizeof(Ipv6Header) == 40);
struct [[gnu::packed]] TcpHeader {
    be16 source_port;      //  0
    be16 destination_port; //  2
    be32 sequence;         //  4
    be32 acknowledged;     //  8
    uint8_t offset = 0x50; // 12
    uint8_t flags = 0;     // 13
    be16 window;           // 14
    be16 checksum;         // 16
    be16 urgent;           // 18
};
static_assert(sizeof(TcpHeader) == 20);
struct [[gnu::packed]] UdpHeader {
    be16 source_port;      // 0
    be16 destination_port; // 2
    be16 length;           // 4
    be16 checksum;         // 6  0: none
};
static_assert(sizeof(UdpHeader) == 8);
struct [[gnu::packed]] EchoHeader {
    uint8_t type;  // 0
    uint8_t code;  // 1
    be16 checksum; // 2
    be16 id;       // 4
    be16 sequence; // 6
};
static_assert(sizeof(EchoHeader) == 8);
