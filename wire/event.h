#pragma once
// Network events: their definitions and the log of their occurrences. Little-endian.
#include "base/wire_types.h"

struct [[gnu::packed]] EventRecord {
    uint8_t          effective;     //   0
    uint8_t          alarm_level;   //   1
    uint16_t         id;            //   2
    uint16_t         ruleid;        //   4
    uint16_t         evattrid;      //   6
    uint32_t         evbirth;       //   8  seconds since the epoch
    uint32_t         evdeath;       //  12
    uint32_t         lreport;       //  16
    uint32_t         evsn;          //  20
    uint32_t         excnt;         //  24
    uint32_t         obj_threshold; //  28
    FixedText<16>    evtype;        //  32
    FixedText<16>    evopcode;      //  48
    FixedText<32>    evattr;        //  64
    FixedText<32>    evlimit1;      //  96
    FixedText<32>    evlimit2;      // 128
    FixedText<32>    fval;          // 160
    FixedText<32>    lval;          // 192
    FixedText<32>    robj;          // 224
    FixedGbkText<32> robj_ch;       // 256
    FixedText<32>    insname;       // 288
    FixedGbkText<32> insname_ch;    // 320
};                                  // 352
static_assert(sizeof(EventRecord) == 352 && alignof(EventRecord) == 1);
static_assert(offsetof(EventRecord, evbirth) == 8 && offsetof(EventRecord, evtype) == 32);
static_assert(offsetof(EventRecord, evattr) == 64 && offsetof(EventRecord, insname_ch) == 320);

struct [[gnu::packed]] EventLogRecord {
    uint8_t          flags;         //   0  see below
    uint8_t          reserved_1;    //   1
    uint16_t         evattrid;      //   2
    uint16_t         id;            //   4
    uint16_t         rid;           //   6
    uint32_t         evsn;          //   8
    uint32_t         rtime;         //  12
    uint32_t         evt_birth;     //  16  seconds since the epoch
    uint32_t         evdeath;       //  20  seconds since the epoch
    uint32_t         reportm;       //  24
    uint32_t         obj_threshold; //  28
    FixedText<16>    evtype;        //  32
    FixedText<32>    evattr;        //  48
    FixedText<16>    failure;       //  80
    FixedText<16>    evopcode;      //  96
    FixedText<16>    evlimit1;      // 112
    FixedText<16>    evlimit2;      // 128
    FixedText<16>    fval;          // 144
    FixedText<16>    lval;          // 160
    FixedText<32>    robj;          // 176
    FixedGbkText<32> robj_ch;       // 208
    FixedText<32>    insname;       // 240
    FixedGbkText<32> insname_ch;    // 272

    uint32_t dontnotify() const { return flags & 1; }       // bit 0
    uint32_t effective() const { return flags >> 1 & 1; }   // bit 1
    uint32_t alarm_level() const { return flags >> 2 & 3; } // bits 2-3
    int      rdstat() const { return flags >> 4 & 1; }      // bit 4, 1 when read
};                                                          // 304
static_assert(sizeof(EventLogRecord) == 304 && alignof(EventLogRecord) == 1);
static_assert(offsetof(EventLogRecord, evdeath) == 20 && offsetof(EventLogRecord, evtype) == 32);
static_assert(offsetof(EventLogRecord, failure) == 80 && offsetof(EventLogRecord, robj) == 176);
static_assert(offsetof(EventLogRecord, insname_ch) == 272);
