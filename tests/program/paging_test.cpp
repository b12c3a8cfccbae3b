// Every report that pages shows as many rows as it says when nobody says how many.
#include "tests/support/listing.h"

#include <algorithm>
#include <gtest/gtest.h>

// clang-format off
namespace {

struct Paged {
    const char* line;
    uint32_t code;
    const char* module;
    Data data;
    size_t record_size;
    const char* row; // stands once in each row
    size_t limit;
    void (*fill)(Bytes& record, uint32_t i) = [](Bytes&, uint32_t) {};
    Daemon daemon = Daemon::management;
    bool wants_dictionary = false;
};

void fill_flow(Bytes& r, uint32_t i)
{
    r.u32(16, i).u8(67, 2).text(103, "Norway").text(171, std::to_string(i));
}

const Paged reports[] = {
    {"ipobj listbussflow", 2055, "obsbussflow", trailing(""), 228, " unk_0 ", 100, [](Bytes&, uint32_t) {}, Daemon::management, true},
    {"ipobj listflow", 2055, "flow", trailing(""), 228, " NULL\n", 10, [](Bytes& r, uint32_t i) { r.u32(16, i); }, Daemon::management, true},
    {"outconnect listflow", 2055, "flow2", trailing(""), 252, R"({"src":)", 10, fill_flow},
    {"outconnect caluflow", 2055, "flow", trailing(""), 252, " NULL\n", 10, fill_flow},
    {"outconnect caluflow dnssum=1 json=1", 2055, "flow", trailing(""), 252, R"({"dns":)", 10, fill_flow},
    {"dnsflow listflow", 2055, "flow", trailing(""), 252, R"({"src":)", 10, fill_flow},
    {"dnsflow caluflow", 2055, "flow", trailing(""), 252, R"({"dns":)", 10, fill_flow},
    {"obssyslog list", 2055, "obssyslog", leading(""), 356, R"({"req_time":)", 100},
    {"malclog list show_flowlog=1", 2054, "malc", leading(" show_flowlog=1 log=1"), 208, R"({"time":)", 20, [](Bytes& r, uint32_t i) { r.u32(0, i); }},
    {"idssum list", 2055, "idssum", {}, 24, R"({"sid":)", 100},
    {"kesidslog list", 2055, "kesidslog", leading(""), 3844, "{}", 100, [](Bytes& r, uint32_t) { r.text(4, "{}"); }},
    {"kesidslog listflow", 2055, "idssum", leading(" show_session=1"), 24, R"({"src":)", 100},
    {"whiteip list", 2055, "whiteip", trailing(""), 24, "\n", 100},
    {"whiteip get", 2054, "whiteip", trailing(""), 92, "\n", 100},
    {"tunwltable list type=ip", 2055, "tunwltable", trailing("type=ip type=ip "), 56, R"("0.0.0.0")", 100, [](Bytes&, uint32_t) {}, Daemon::analysis},
};

size_t count_of(const std::string& part, const std::string& text)
{
    size_t found = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size())
        found++;
    return found;
}

TEST(Paging, DefaultLimits)
{
    for (const Paged& report : reports) {
        std::vector<Reply> replies;
        const uint32_t records = static_cast<uint32_t>(report.limit) + 1, batch = report.record_size > 1000 ? 17 : records;
        for (uint32_t first = 0; first < records; first += batch) {
            const uint32_t count = std::min(batch, records - first);
            std::string answer;
            for (uint32_t i = first; i < first + count; i++) {
                Bytes record(report.record_size);
                report.fill(record, i + 1);
                answer += record.str();
            }
            replies.push_back({.answer = answer, .count = static_cast<int32_t>(count), .last = first + count == records});
        }
        Case one = listing(report.line, {.code = report.code, .module = report.module, .data = report.data, .wants_dictionary = report.wants_dictionary}, replies, "");
        one.daemon = report.daemon;
        one.dictionary = "full";
        one.files = {{"/conf/kestrel.conf", ""}};
        one.check = [&](const RunResult& run) { EXPECT_EQ(report.limit, count_of(report.row, run.output)) << run.output; };
        run_case(one);
    }
}

// Unsorted sessions are counted up to a bound of their own.
TEST(Paging, SessionsAreLookedAtUpToABound)
{
    constexpr int32_t bound = 262144, whole = 4597; // as many as the segment holds behind the dictionary
    std::vector<Reply> replies;
    for (int32_t left = bound + 1; left > 0; left -= whole)
        replies.push_back(more(std::string(228 * static_cast<size_t>(std::min(left, whole)), '\0'), std::min(left, whole)));
    replies.back().last = true;
    Request request{.code = 2055, .module = "obsbussflow", .data = trailing("")};
    Case one = listing("ipobj listbussflow page=0", request, replies, "total 262144\n");
    one.exchanges[0].request.wants_dictionary = true;
    one.dictionary = "full";
    run_case(one);
}

} // namespace
