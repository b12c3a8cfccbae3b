#pragma once
// The record that goes out over the control socket and comes back as the reply. Little-endian.
// client: set by the handler; exchange: set by the exchange itself; daemon: set in the reply.
#include "base/wire_types.h"

struct [[gnu::packed]] RequestRecord {
    uint32_t       code;             //   0  client    generic verb codes, raw codes, handlers' own codes
    int32_t        data_length;      //   4  client    bytes of argument text at the start of the segment
    uint64_t       data_address;     //   8  client    our address of the argument text
    int32_t        segment_id;       //  16  exchange
    uint8_t        wants_dictionary; //  20  client    non-zero: user dictionary arrays precede the answer
    uint8_t        last_batch;       //  21  daemon    non-zero: no further batch follows
    uint16_t       carrier_kind;     //  22  2 in a carrier of a configuration line, otherwise zero
    uint8_t        reserved_24[8];   //  24
    int32_t        error;           //  32  exchange, daemon    0, 5 transport, 12 dictionary, other: daemon's
    FixedText<116> text;            //  36  client: module name; daemon: error text when `error` is not 0
    uint8_t        reserved_152[4]; // 152
    int32_t        cursor; // 156  client, daemon    0 for a fresh query; sent back as the daemon set it
    uint8_t        reserved_160[4]; // 160
    int32_t        count;           // 164  daemon    fixed-size records in this batch
    int32_t        length;          // 168  daemon    bytes of answer in the segment
    uint32_t       segment_size; // 172  exchange  bytes; in a dump reply the daemon puts its byte count here
    uint64_t       answer_address;   // 176  exchange  our address of the answer
    uint8_t        reserved_184[16]; // 184
    uint32_t       time;             // 200  exchange  seconds since the epoch
    uint8_t        reserved_204[4];  // 204
};                                   // 208
static_assert(sizeof(RequestRecord) == 208 && alignof(RequestRecord) == 1);
static_assert(offsetof(RequestRecord, error) == 32 && offsetof(RequestRecord, text) == 36);
static_assert(offsetof(RequestRecord, cursor) == 156 && offsetof(RequestRecord, count) == 164);
static_assert(offsetof(RequestRecord, answer_address) == 176 && offsetof(RequestRecord, time) == 200);

// Generic verbs travel with a module name.
namespace verb {
constexpr uint32_t disable = 2049, stat = 2050, add = 2051, remove = 2052, set = 2053, get = 2054,
                   list = 2055, load = 2056, config = 2057, debug = 2064, dump = 2068;
constexpr uint32_t first = 2048, last = 2068;
} // namespace verb

namespace error_code {
constexpr int32_t transport = 5, dictionary = 12, line_rejected = 22;
}

constexpr uint32_t raw_code_max = 612; // larger action words are handlers, but for the generic verbs
constexpr uint32_t sync_dictionary = 511;
