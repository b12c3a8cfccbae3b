// Time series of the traffic.
#include "lab/views/views.h"

#include "lab/world/applications.h"

#include <algorithm>
#include <span>

namespace {

constexpr uint32_t points_max = 288, bucket_step = ChartHistory::step, hours_max = 24 * 366;

enum class Measure { bytes, packets, sessions };

// One row a series: what of which sessions is counted.
struct SeriesRow {
    const char* tag;
    const char* label;
    Measure measure;
    uint64_t (*of)(const Session& session); // how much of it; 0: nothing
};

uint64_t bytes_of_application(const Session& session, uint16_t application)
{
    return session.application == application ? session.up_bytes + session.down_bytes : 0;
}

constexpr SeriesRow rows[] = {
    {"bytes",     "all bytes",                Measure::bytes,    [](const Session& s) { return s.up_bytes + s.down_bytes; }},
    {"upbytes",   "bytes from clients",       Measure::bytes,    [](const Session& s) { return s.up_bytes; }               },
    {"downbytes", "bytes from servers",       Measure::bytes,    [](const Session& s) { return s.down_bytes; }             },
    {"packets",   "all packets",              Measure::packets,
     [](const Session& s) { return uint64_t{s.up_packets} + s.down_packets; }                                              },
    {"retrans",   "repeated segments",        Measure::packets,
     [](const Session& s) { return uint64_t{s.up_retransmissions} + s.down_retransmissions; }                              },
    {"flows",     "new sessions",             Measure::sessions, [](const Session&) { return uint64_t{1}; }                },
    {"resets",    "sessions that were reset", Measure::sessions,
     [](const Session& s) { return uint64_t{s.reset != ResetBy::nobody}; }                                                 },
    {"http",      "bytes of http",            Measure::bytes,
     [](const Session& s) { return bytes_of_application(s, application_named("http")); }                                   },
    {"https",     "bytes of https",           Measure::bytes,
     [](const Session& s) { return bytes_of_application(s, application_named("https")); }                                  },
    {"dns",       "bytes of dns",             Measure::bytes,
     [](const Session& s) { return bytes_of_application(s, application_named("dns")); }                                    },
    {"ssh",       "bytes of ssh",             Measure::bytes,
     [](const Session& s) { return bytes_of_application(s, application_named("ssh")); }                                    },
};

// The part of `amount` that came before `passed` of `duration` seconds.
uint64_t share(uint64_t amount, uint64_t passed, uint64_t duration)
{
    return passed >= duration
               ? amount
               : static_cast<uint64_t>(static_cast<unsigned __int128>(amount) * passed / duration);
}

// Adds `amount`, spread over the session's duration, to the buckets that it overlaps.
void spread(uint64_t amount, const Session& session, uint64_t start, uint64_t bucket,
            std::span<uint64_t> values)
{
    uint64_t duration = duration_of(session), end = session.birth + duration;
    uint64_t chart_end = start + bucket * values.size();
    if (end <= start || session.birth >= chart_end)
        return;
    uint64_t from = std::max<uint64_t>(session.birth, start);
    while (from < std::min(end, chart_end)) {
        size_t i = (from - start) / bucket;
        uint64_t to = std::min(end, start + bucket * (i + 1));
        values[i] +=
            share(amount, to - session.birth, duration) - share(amount, from - session.birth, duration);
        from = to;
    }
}

Chart empty_chart(const Traffic& traffic, const ChartQuery& query)
{
    Chart chart;
    uint32_t hours = std::clamp<uint32_t>(query.hours, 1, hours_max);
    uint32_t seconds = hours * 3600;
    chart.bucket = (seconds / points_max + bucket_step - 1) / bucket_step * bucket_step;
    chart.bucket = std::max(chart.bucket, bucket_step);
    uint32_t points = std::min(points_max, seconds / chart.bucket);
    uint32_t end = query.end != 0 ? query.end : traffic.now;
    uint32_t last = end - end % chart.bucket;
    for (uint32_t i = points; i-- > 0;)
        chart.times.push_back(last >= i * chart.bucket ? last - i * chart.bucket : 0);
    return chart;
}

// Adds what the series counts of the session to the buckets from `start` on.
void add_session(const SeriesRow& row, const Session& session, uint64_t start, uint64_t bucket,
                 std::span<uint64_t> values)
{
    uint64_t amount = row.of(session);
    if (amount == 0)
        return;
    if (row.measure != Measure::sessions)
        spread(amount, session, start, bucket, values);
    else if (session.birth >= start && session.birth - start < bucket * values.size())
        values[(session.birth - start) / bucket] += amount;
}

// The history of one series and path, a value a step.
template <class Amounts> auto history_of(Amounts& amounts, const SeriesRow& row, size_t path)
{
    auto series = static_cast<size_t>(&row - rows);
    return std::span(amounts).subspan((series * ChartHistory::paths + path) * ChartHistory::steps,
                                      ChartHistory::steps);
}

size_t path_place(uint32_t path)
{
    return (path - 1) % ChartHistory::paths;
}

void add_history(const ChartHistory& history, const ChartQuery& query, const SeriesRow& row, uint64_t start,
                 uint64_t bucket, std::span<uint64_t> values)
{
    for (size_t path = 0; path < ChartHistory::paths && !history.amounts.empty(); path++) {
        if (query.path != 0 && path_place(query.path) != path)
            continue;
        std::span<const uint64_t> amounts = history_of(history.amounts, row, path);
        for (size_t i = 0; i < amounts.size(); i++) {
            uint64_t time = history.start + i * ChartHistory::step;
            if (time >= start && (time - start) / bucket < values.size())
                values[(time - start) / bucket] += amounts[i];
        }
    }
}

void fill_series(const Traffic& traffic, const ChartQuery& query, const SeriesRow& row, const Chart& chart,
                 std::span<uint64_t> values)
{
    uint64_t start = chart.times.front();
    for (const Session& session : traffic.sessions)
        if (query.path == 0 || session.path == query.path)
            add_session(row, session, start, chart.bucket, values);
    if (traffic.live)
        add_history(traffic.live->history, query, row, start, chart.bucket, values);
}

// Moves the history on until `time` lies in it; what is too old then is forgotten.
void advance(ChartHistory& history, uint64_t time)
{
    constexpr uint64_t step = ChartHistory::step, steps = ChartHistory::steps;
    if (history.amounts.empty()) {
        history.amounts.resize(std::size(rows) * ChartHistory::paths * steps);
        history.start = time / step < steps - 1 ? 0 : (time / step - (steps - 1)) * step;
    }
    if (time < history.start + steps * step)
        return;
    uint64_t by = std::min((time - history.start) / step - (steps - 1), steps);
    history.start = (time / step - (steps - 1)) * step;
    for (const SeriesRow& row : rows)
        for (size_t path = 0; path < ChartHistory::paths; path++) {
            std::span<uint64_t> values = history_of(history.amounts, row, path);
            std::fill(std::shift_left(values.begin(), values.end(), static_cast<ptrdiff_t>(by)), values.end(),
                      0);
        }
}

} // namespace

std::vector<ChartTag> chart_tags()
{
    std::vector<ChartTag> tags;
    for (const SeriesRow& row : rows)
        tags.push_back({row.tag, row.label});
    return tags;
}

void remember(ChartHistory& history, const Session& session)
{
    advance(history, uint64_t{session.birth} + duration_of(session));
    for (const SeriesRow& row : rows)
        add_session(row, session, history.start, ChartHistory::step,
                    history_of(history.amounts, row, path_place(session.path)));
}

Chart chart_of(const Traffic& traffic, const ChartQuery& query)
{
    Chart chart = empty_chart(traffic, query);
    for (const SeriesRow& row : rows) {
        if (!query.tags.empty() &&
            std::find(query.tags.begin(), query.tags.end(), row.tag) == query.tags.end())
            continue;
        std::vector<uint64_t> values(chart.times.size());
        fill_series(traffic, query, row, chart, values);
        chart.series.push_back({row.tag, row.label, std::move(values)});
    }
    return chart;
}
