#pragma once
// What the chart daemon puts into the segment for a dump: fixed tables, behind them the values.
// Little-endian.
#include "base/wire_types.h"

struct [[gnu::packed]] ChartPoint {
    uint8_t  reserved_0[4]; // 0
    uint32_t time;          // 4  of the bucket, seconds since the epoch
    uint8_t  reserved_8[8]; // 8
};                          // 16
static_assert(sizeof(ChartPoint) == 16 && offsetof(ChartPoint, time) == 4);

struct [[gnu::packed]] ChartSeries {
    FixedText<32> tag;   //  0
    FixedText<48> label; // 32
};                       // 80
static_assert(sizeof(ChartSeries) == 80 && offsetof(ChartSeries, label) == 32);

struct [[gnu::packed]] ChartTables {
    static constexpr uint32_t points_max = 288, series_max = 40;

    ChartPoint  points[points_max]; //    0
    uint32_t    point_count;        // 4608  of every series
    uint8_t     reserved_4612[4];   // 4612
    ChartSeries series[series_max]; // 4616
    uint32_t    series_count;       // 7816
    uint8_t     reserved_7820[100]; // 7820
}; // 7920; values follow: point i of series k is the u64 number point_count * k + i
static_assert(sizeof(ChartTables) == 7920 && alignof(ChartTables) == 1);
static_assert(offsetof(ChartTables, point_count) == 4608 && offsetof(ChartTables, series) == 4616);
static_assert(offsetof(ChartTables, series_count) == 7816);

// Raw commands of the chart daemon.
namespace chart_code {
constexpr uint32_t dump = 1, rowlist = 2, timesum = 4;
}
