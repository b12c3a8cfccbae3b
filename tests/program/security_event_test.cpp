// Network events and intrusion detection.
#include "tests/support/listing.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

TEST(Events, DefinitionsAsTheyCome)
{
    const std::string e16(16, 'E'), a32(32, 'A');
    Bytes record(352);
    record.u8(0, 1).u8(1, 255).u16(2, 2).u16(4, 65535).u16(6, 4).u32(8, 5).u32(12, 4294967295).u32(16, 7);
    record.u32(20, 8).u32(24, 9).u32(28, 10).text(32, e16).text(48, ">=").text(64, a32);
    for (size_t at = 96; const char* text : {"limit1", "limit2", "fval", "lval", "robj", "robj_ch", "ins", "ins_ch"})
        record.text(at, text), at += 32;
    const std::string json = R"({"id":2,"evtype":")" + e16 + R"(","evattr":")" + a32 +
                             R"(","evsn":8,"rid":65535,"evt_birth":5,"evdeath":4294967295,"robj":"robj","robj_ch":"robj_ch",)"
                             R"("effective":1,"evopcode":">=","evlimit1":"limit1","evlimit2":"limit2","insname":"ins",)"
                             R"("insname_ch":"ins_ch","excnt":9,"lval":"lval","fval":"fval","lreport":7,"alarm_level":255,)"
                             R"("obj_threshold":10})";
    const std::string row = "2 " + e16 + " " + a32 +
                            " 4 8 65535 5 4294967295 robj robj_ch 1 >= limit1 limit2 "
                            "ins ins_ch 9 lval fval 7 255\n";
    const std::string header = "id evtype evattr evattrid evsn ruleid evbirth evdeath robj robj_ch effective "
                               "evopcode evlimit1 evlimit2 insname insname_ch excnt lval fval lreport "
                               "alarm_level\n";
    auto nevt = [](const std::string& arguments, const std::string& sent, const std::vector<Reply>& replies, const std::string& output,
                   int status = 0) {
        return listing("nevt list " + arguments, {.code = 2055, .module = "nevt", .data = leading(sent), .segment_size = 256 * 1024},
                       replies, output, status);
    };
    const std::string both = record.str() + record.str();
    const Reply one{.answer = record, .count = 1}, two{.answer = both, .count = 2};
    const Case cases[] = {
        nevt("x=1 json=1", " x=1", {more(both, 2, 3), more("", 0), one}, "[" + joined({json, json, json}) + "]"),
        nevt("json=1 showhdr=1", "", {{}}, "[]"),
        nevt("json=0 showhdr=1 y", " json=0 y", {two}, header + row + row),
        nevt("", "", {one}, row),
        nevt("json=1", "", {more(record, 1), {.error = 4, .error_text = "NO"}}, "[" + json + "NO\n", 255),
    };
    run_cases(cases);
}

struct Event {
    uint32_t id, flags, death;
    std::string type = "t", name = "n", name_ch = "c";
};

std::string event_log(std::span<const Event> logged)
{
    std::string answer;
    for (const Event& e : logged) {
        Bytes record(304);
        record.u8(0, e.flags).u8(1, 255).u16(2, 3).u16(4, e.id).u16(6, 6).u32(8, 7).u32(12, 8).u32(16, 9);
        record.u32(20, e.death).u32(24, 11).u32(28, 12).text(32, e.type).text(48, "attr").text(80, "fail");
        record.text(96, "op").text(112, "l1").text(128, "l2").text(144, "fv").text(160, "lv").text(176, "ro");
        answer += record.text(208, "rc").text(240, e.name).text(272, e.name_ch).str();
    }
    return answer;
}

Case nevtlog(const std::string& arguments, const std::string& sent, const std::vector<Event>& logged, const std::string& output)
{
    auto half = static_cast<int32_t>(logged.size() / 2), rest = static_cast<int32_t>(logged.size()) - half;
    std::span<const Event> all = logged;
    return listing("nevtlog list " + arguments, {.code = 2055, .module = "nevt_log", .data = leading(sent), .segment_size = 256 * 1024},
                   {more(event_log(all.first(static_cast<size_t>(half))), half),
                    {.answer = event_log(all.last(static_cast<size_t>(rest))), .count = rest}},
                   output);
}

std::string json_row(const std::string& id, const std::string& death, const std::string& rdstat, const std::string& flags)
{
    return R"({"id":)" + id +
           R"(,"evtype":"t","evattr":"attr","evsn":7,"evopcode":"op","evlimit1":"l1",)"
           R"("evlimit2":"l2","rid":6,"rtime":8,"robj":"ro","robj_ch":"rc","evt_birth":9,"evdeath":)" +
           death + R"(,"insname":"n","rdstat":)" + rdstat +
           R"(,"insname_ch":"c","lval":"lv","fval":"fv",)"
           R"("failure":"fail",)" +
           flags + R"(, "obj_threshold":12})";
}

TEST(Events, LogPagesFiltersAndStops)
{
    // Newest first: 2, 1, 4; 3 has no end and closes the listing.
    const std::vector<Event> logged = {{1, 0x01, 500}, {2, 0x12, 900}, {3, 0xee, 0}, {4, 0x1f, 500}};
    const std::string j1 = json_row("1", "500", "0", R"("effective":0,"reportm":11,"dontnotify":1,"alarm_level":0)"),
                      j2 = json_row("2", "900", "1", R"("effective":1,"reportm":11,"dontnotify":0,"alarm_level":0)"),
                      j4 = json_row("4", "500", "1", R"("effective":1,"reportm":11,"dontnotify":1,"alarm_level":3)"),
                      t1 = "1 t attr 3 7 op l1 l2 6 8 ro rc 9 500 n c lv fv fail 0 11 1 0\n",
                      t2 = "2 t attr 3 7 op l1 l2 6 8 ro rc 9 900 n c lv fv fail 1 11 0 0\n",
                      t4 = "4 t attr 3 7 op l1 l2 6 8 ro rc 9 500 n c lv fv fail 1 11 1 3\n";
    const std::string header = "id evtype evattr evattrid evsn evopcode evlimit1 evlimit2 rid rtime robj robj_ch "
                               "evbirth evdeath insname rdstat insname_ch lval fval failure effective reportm "
                               "dontnotify alarm_level\n";
    const Case cases[] = {
        nevtlog("json=1", "", logged, data_of({j2, j1, j4}, 4)),
        nevtlog("showhdr=1 a=b page=0 limit=1", " a=b", logged, header + t2 + t1 + t4),
        nevtlog("page=2 limit=2", "", logged, t4),
        nevtlog("json=1 page=2 limit=1", "", logged, data_of({j1}, 4)),
        nevtlog("json=1 page=2", "", logged, data_of({}, 4)),
        nevtlog("json=1 page=1 limit=-3", "", logged, data_of({}, 4)),
        nevtlog("json=1 page=-1 limit=1", "", logged, data_of({j2, j1, j4}, 4)),
        nevtlog("json=1 level=0", "", logged, data_of({j2, j1}, 2)),
        nevtlog("json=1 level=", "", logged, data_of({j2, j1}, 2)),
        nevtlog("json=1 level=3 rdstat=0", "", logged, data_of({}, 1)),
        nevtlog("json=1 rdstat=1", "", logged, data_of({j2, j4}, 2)),
        nevtlog("json=1 rdstat=2", "", logged, data_of({}, 0)),
        nevtlog("json=1 keywd=c level=0", "", logged, data_of({j2, j1}, 2)),
        nevtlog("json=1 keywd=", "", logged, data_of({}, 0)),
        nevtlog("json=2 keywd=nc", " json=2", logged, ""),
    };
    run_cases(cases);
}

TEST(Events, SummaryAndToday)
{
    // A zone in which it is noon now; the day begins and ends far from the run.
    auto now = static_cast<uint32_t>(time(nullptr));
    const uint32_t noon = now - now % 3600, first = noon - 12 * 3600, last = first + 86399;
    const std::string zone = "ZON" + std::to_string(static_cast<int>(now / 3600 % 24) - 12);
    const std::vector<Event> logged = {{1, 0x10, last, "cpu"},
                                       {2, 0x04, first, "if", "", "eth1"},
                                       {3, 0x1c, first - 1, "if", "", "ethernet-0123456"},
                                       {4, 0x0c, last + 1, "if", "", "ethernet-012345"},
                                       {5, 0x00, now, "malicious", "", "bot"},
                                       {6, 0x00, 0, "if", "", ""}};
    std::vector<Event> many(17, {1, 0, 0, "if"}); // more interfaces and types than are counted
    std::vector<std::string> names, bots, types = {R"({"type":"if", "num":17})"};
    for (size_t i = 0; i < 17; i++)
        many[i].name_ch = "eth" + std::to_string(i);
    for (size_t i = 0; i < 16; i++)
        names.push_back(R"({"ifname":"eth)" + std::to_string(i) + R"(", "num":1})");
    for (size_t i = 0; i < 33; i++) {
        many.push_back({1, 0, 0, "malicious", "", "bot" + std::to_string(i)});
        if (i < 32)
            bots.push_back(R"({"malname":"bot)" + std::to_string(i) + R"(", "num":1})");
    }
    types.push_back(R"({"type":"malicious", "num":33})");
    std::swap(types[0], types[1]); // the most frequent first
    for (size_t i = 0; i < 128; i++)
        many.push_back({1, 0, 0, "type" + std::to_string(i)});
    for (size_t i = 0; i < 126; i++)
        types.push_back(R"({"type":"type)" + std::to_string(i) + R"(", "num":1})");
    const std::string summary = R"({"all":6, "today_num":3, "today_read":1, "today_unread":2, "level":[3,1,0,2], )"
                                R"("evtype":[{"type":"if", "num":4},{"type":"cpu", "num":1},{"type":"malicious", "num":1}],)"
                                R"("if":[{"ifname":"ethernet-012345", "num":2},{"ifname":"eth1", "num":1}],)"
                                R"("mal":[{"malname":"bot", "num":1}]})";
    Case cases[] = {
        nevtlog("showsum=1", "", logged, summary),
        nevtlog("showsum=1 json=1", "", logged, R"({"data":[)" + summary),
        nevtlog("json=1 today=1 page=1", "", logged, data_of({}, 3)),
        nevtlog("showsum=1 today=1 rdstat=1", "", logged,
                R"({"all":1, "today_num":1, "today_read":1, "today_unread":0, "level":[1,0,0,0], )"
                R"("evtype":[{"type":"cpu", "num":1}],"if":[],"mal":[]})"),
        nevtlog("showsum=1 page=1", "", many,
                R"({"all":178, "today_num":0, "today_read":0, "today_unread":0, "level":[178,0,0,0], "evtype":[)" + joined(types) +
                    R"(],"if":[)" + joined(names) + R"(],"mal":[)" + joined(bots) + "]}"),
    };
    for (Case& one : cases)
        one.environment = {{"TZ", zone}};
    run_cases(cases);
}

TEST(Ids, SignaturesByHits)
{
    std::string answer;
    for (unsigned i = 0; i < 3; i++)
        answer += Bytes(24).u32(0, 0xfffffffe + i).u32(4, 10 + i).u32(8, ~0U).u32(12, 100 + i).u64(16, i == 1 ? 5 : ~0ULL).str();
    const std::string s0 = R"({"sid":100, "catagore":-2, "total":18446744073709551615, "birth":10, "last":4294967295})",
                      s1 = R"({"sid":101, "catagore":-1, "total":5, "birth":11, "last":4294967295})",
                      s2 = R"({"sid":102, "catagore":0, "total":18446744073709551615, "birth":12, "last":4294967295})";
    const Request request{.code = 2055, .module = "idssum"};
    std::vector<Reply> nine_thousand; // the last has the most hits, and comes too late
    for (unsigned i = 0; i < 9; i++) {
        Bytes batch(24000);
        for (unsigned k = 0; k < 1000; k++)
            batch.u32(24 * k + 12, 1000 * i + k).u64(24 * k + 16, 1000 * i + k);
        nine_thousand.push_back({.answer = batch, .count = 1000, .last = i == 8});
    }
    const Reply three{.answer = answer, .count = 3};
    const Case cases[] = {
        listing("idssum list x=1", request, {three}, data_of({s0, s2, s1}, 3)),
        listing("idssum list limit=2 page=2", request, {three}, data_of({s1}, 3)),
        listing("idssum list limit=1", request, nine_thousand,
                data_of({R"({"sid":8191, "catagore":0, "total":8191, "birth":0, "last":0})"}, 8192)),
        listing("idssum list", request, {{.error = 9, .error_text = "OFF"}}, "OFF\n", 255),
    };
    run_cases(cases);
}

Case ids_log(const std::string& arguments, const std::vector<Reply>& replies, const std::string& output, int status = 0)
{
    std::string command = "kesidslog " + arguments, flow = arguments.starts_with("listflow") ? " show_session=1" : "";
    return listing(command,
                   {.code = 2055, .module = flow.empty() ? "kesidslog" : "idssum", .data = leading(leading_of(command).text + flow)},
                   replies, output, status);
}

TEST(Ids, AlertsAndSessions)
{
    const std::string whole = std::string(3839, 'w') + "}", a1 = R"({"a":"%s"})", a2 = R"({"a":"b"})";
    const std::string answer = Bytes(3 * 3844).u32(0, 5).text(4, a1).u32(3844, 7).text(3848, whole).u32(7688, 5).text(7692, a2);
    std::string sessions, s[3];
    for (unsigned i = 0; i < 3; i++) {
        Bytes record(24);
        record.ip(0, 10, 0, 0, 1).ip(4, 8, 8, 8, static_cast<int>(i)).be16(8, 65535).be16(10, 53).u32(12, 4294967295 + i);
        sessions += record.u16(16, 65535).u16(18, 2).u8(20, 200).u8(21, 17).str();
        s[i] = R"({"src":"10.0.0.1","dst":"8.8.8.)" + std::to_string(i) +
               R"(","sport":65535,"dport":53,"proto":17,)"
               R"("catagore":200,"pkts0":65535,"pkts1":2,"birth":)" +
               std::to_string(static_cast<int>(i) - 1) + "}";
    }
    const Reply alerts{.answer = answer, .count = 3}, rest{.answer = sessions, .count = 3};
    const Case cases[] = {
        ids_log("list", {alerts}, data_of({whole, a1, a2}, 3)),
        ids_log("list keyword=\"a\" page=2 limit=1", {alerts}, data_of({a2}, 2)),
        ids_log("list keyword=B", {alerts}, data_of({}, 0)),
        ids_log("list", {{.count = 18}}, "INV_REPLY\n", 255), // one more than the segment holds
        ids_log("listflow page=2 limit=2 keyword=x", {more(sessions, 3), more("", 0), rest}, data_of({s[2], s[0]}, 6)),
        ids_log("listflow", {more(sessions, 1), {.error = 3, .error_text = "LOST"}}, R"({"data":[)" + s[0] + "LOST\n", 255),
    };
    run_cases(cases);
}

} // namespace
