// chart dump: the raw series, as lines for scripts or as points for the web charts.
#include "base/document.h"
#include "base/loaded_once.h"
#include "common/arguments.h"
#include "common/fetch.h"
#include "reports/charts/charts.h"
#include "wire/chart.h"

namespace {

// What is typed and what the daemon gets instead, followed by the argument after its first `cut` characters.
struct Rewrite {
    std::string_view typed, sent;
    size_t cut;
};

constexpr Rewrite rewrites[] = {
    {"hour=",  "hours=", 5},
    {"end=",   "tmend=", 4},
    {"endtm=", "tmend=", 4}, // the daemon is used to a value that begins with "m="
    {"time=",  "tmend=", 5},
};

void append_rewritten(ArgumentText& text, const char* argument)
{
    for (const Rewrite& row : rewrites) {
        if (value_of(argument, row.typed) != nullptr) {
            text.append(row.sent);
            text.append_trailing(argument + row.cut);
            return;
        }
    }
    text.append_trailing(argument);
}

void write_rewritten(ArgumentText& text, int argc, char** argv)
{
    for (const char* argument : arguments(argc, argv))
        append_rewritten(text, argument);
}

// The series of a checked reply. The numbers are our copies: the segment may change below us.
struct Chart {
    const ChartTables* tables;
    const char* values;
    uint32_t points, series;

    uint64_t value(uint32_t k, uint32_t i) const
    {
        if (i == 0 && points > 1 && stored(k, 0) == 0)
            return stored(k, 1); // a series does not start with an empty bucket
        return stored(k, i);
    }
    uint64_t stored(uint32_t k, uint32_t i) const
    {
        uint64_t number;
        memcpy(&number, values + (size_t{points} * k + i) * sizeof number, sizeof number);
        return number;
    }
};

bool chart_in(const Answer& answer, Chart& chart)
{
    const char* tables = bytes_at(answer, 0, sizeof(ChartTables));
    if (tables == nullptr)
        return false;
    chart.tables = reinterpret_cast<const ChartTables*>(tables);
    chart.points = loaded_once(chart.tables->point_count);
    chart.series = loaded_once(chart.tables->series_count);
    if (chart.points > ChartTables::points_max || chart.series > ChartTables::series_max)
        return false;
    chart.values =
        bytes_at(answer, sizeof(ChartTables), size_t{chart.points} * chart.series * sizeof(uint64_t));
    return chart.values != nullptr;
}

void print_lines(const Chart& chart)
{
    for (uint32_t k = 0; k < chart.series; k++) {
        const ChartSeries& series = chart.tables->series[k];
        print_line(FORMAT("TAG {} {}"), series.tag, series.label);
        for (uint32_t i = 0; i < chart.points; i++)
            print_line(FORMAT("DATA {} {}"), chart.tables->points[i].time, chart.value(k, i));
    }
}

void print_json(const Chart& chart)
{
    print_opening(FORMAT("["));
    for (uint32_t k = 0; k < chart.series; k++) {
        print_opening(FORMAT(R"({}{{"name":"{}","data":[)"), comma_unless(k == 0),
                      chart.tables->series[k].tag);
        for (uint32_t i = 0; i < chart.points; i++) {
            const uint64_t milliseconds = uint64_t{chart.tables->points[i].time} * 1000;
            print(FORMAT(R"({}{{"x":{},"y":{}}})"), comma_unless(i == 0), milliseconds, chart.value(k, i));
        }
        print_closing(FORMAT("]}}"));
    }
    print_closing(FORMAT("]"));
}

} // namespace

// One exchange: the daemon has no further batches for it.
int chart_dump(int argc, char** argv)
{
    if (argc < 1)
        return refuse("[bridge=n] [hours=nnn] [tmend=nnnnn] [tag=tag1] [tag=tag2] ...");
    Fetch fetch{.code = chart_code::dump, .argv = argv, .write = write_rewritten};
    JsonChoice json;
    for (char* argument : arguments(argc, argv)) {
        if (!take_exact_json(argument, json))
            fetch.forward(argument);
    }
    Answer answer;
    if (fetch_once(fetch, answer) != 0)
        return -1;
    Chart chart;
    if (!chart_in(answer, chart))
        return refuse_reply();
    if (json)
        print_json(chart);
    else
        print_lines(chart);
    return 0;
}
