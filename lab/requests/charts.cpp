// Time series of the chart daemon, and their companion on the management daemon.
#include "lab/requests/appliance.h"
#include "lab/requests/session_filter.h"
#include "lab/requests/settings.h"
#include "lab/requests/wire_fill.h"
#include "wire/chart.h"

#include <numeric>

namespace {

ChartQuery query_of(const Turn& turn)
{
    ChartQuery query;
    query.hours = turn.number("hours", turn.number("hour", 24));
    query.end = turn.number("tmend", turn.number("end"));
    query.path = turn.number("bridge");
    for (const auto& [key, value] : turn.values())
        if (key == "tag")
            query.tags.push_back(value);
    return query;
}

uint64_t sum_of(const TimeSeries& series)
{
    return std::accumulate(series.values.begin(), series.values.end(), uint64_t{0});
}

bool fill_tables(const Chart& chart, size_t series_count, ChartTables& tables)
{
    tables.point_count = static_cast<uint32_t>(chart.times.size());
    tables.series_count = static_cast<uint32_t>(series_count);
    if (chart.times.size() > ChartTables::points_max)
        return false;
    for (size_t i = 0; i < chart.times.size(); i++)
        tables.points[i].time = chart.times[i];
    for (size_t k = 0; k < series_count; k++) {
        put_text(tables.series[k].tag, chart.series[k].tag);
        put_text(tables.series[k].label, chart.series[k].label);
    }
    return true;
}

void chart_dump(Appliance& appliance, Turn& turn)
{
    Chart chart = chart_of(appliance.world, query_of(turn));
    size_t count = std::min<size_t>(chart.series.size(), ChartTables::series_max);
    size_t points = chart.times.size(), value_bytes = points * sizeof(uint64_t);
    std::span<char> area = turn.area();
    if (area.size() < sizeof(ChartTables) + count * value_bytes)
        return turn.refuse(lab_error::no_room, "SEGMENT_TOO_SMALL");
    auto* tables = new (area.data()) ChartTables{};
    if (!fill_tables(chart, count, *tables))
        return turn.refuse(lab_error::invalid, "INV_HOURS");
    for (size_t k = 0; k < count; k++) {
        chart.series[k].values.resize(points);
        memcpy(area.data() + sizeof(ChartTables) + k * value_bytes, chart.series[k].values.data(),
               value_bytes);
    }
}

// The rows that can be drawn, with their totals over the last day; one of them by its name.
void chart_rows(Appliance& appliance, Turn& turn)
{
    Chart chart = chart_of(appliance.world, ChartQuery{});
    bool found = false;
    for (const TimeSeries& series : chart.series) {
        if (!turn.name().empty() && series.tag != turn.name())
            continue;
        turn.say("%s %s %lu\n", series.tag.c_str(), series.label.c_str(), sum_of(series));
        found = true;
    }
    if (!found)
        turn.refuse(lab_error::unknown, "NO_ROW");
}

void chart_sums(Appliance& appliance, Turn& turn)
{
    Chart chart = chart_of(appliance.world, query_of(turn));
    for (const TimeSeries& series : chart.series)
        turn.say("%s %lu\n", series.tag.c_str(), sum_of(series));
}

// Thresholds for the series: what is set with config shows in stat beside the sums of the last hour.
void threshold_config(Appliance& appliance, Turn& turn)
{
    change_settings(appliance, turn, turn.name());
}

void threshold_stat(Appliance& appliance, Turn& turn)
{
    ChartQuery query;
    query.hours = 1;
    Chart chart = chart_of(appliance.world, query);
    for (const TimeSeries& series : chart.series)
        turn.say("%s=%lu ", series.tag.c_str(), sum_of(series));
    say_settings(appliance.world, turn, turn.name());
    turn.say("\n");
}

constexpr Route routes[] = {
    {daemon_kind::chart,      nullptr, 1,            chart_dump      },
    {daemon_kind::chart,      nullptr, 2,            chart_rows      },
    {daemon_kind::chart,      nullptr, 4,            chart_sums      },
    {daemon_kind::management, "qtde",  verb::config, threshold_config},
    {daemon_kind::management, "qtde",  verb::stat,   threshold_stat  },
};

} // namespace

std::span<const Route> chart_routes()
{
    return routes;
}
