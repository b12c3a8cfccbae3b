// The log of event occurrences: a page of it, newest first, or a summary.
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/security/event_summary.h"
#include "reports/security/security.h"

namespace {

struct Query {
    Paging paging{.page = 0, .limit = 0}; // without a page from 1 up: everything
    JsonChoice json;
    bool header = false;
    int summary = 0, only_today = 0;
    const char* level = nullptr; // filters are in force when they were typed, whatever their value
    const char* rdstat = nullptr;
    const char* keyword = nullptr;
    Today day{};
};

// False when the argument is the daemon's.
bool read_argument(const char* argument, Query& query)
{
    std::string_view word = argument;
    if (word == "showhdr=1") {
        query.header = true;
        return true;
    }
    return take_exact_json(argument, query.json) || take_text(argument, "rdstat=", query.rdstat) ||
           take_text(argument, "level=", query.level) || take_paging(argument, query.paging) ||
           take_number(argument, "showsum=", query.summary) ||
           take_number(argument, "today=", query.only_today) || take_text(argument, "keywd=", query.keyword);
}

bool wanted(const EventLogRecord& e, const Query& query)
{
    if (query.level != nullptr && static_cast<int>(e.alarm_level()) != atoi(query.level))
        return false;
    if (query.rdstat != nullptr && e.rdstat() != atoi(query.rdstat))
        return false;
    if (query.only_today != 0 && !query.day.holds(e.evdeath))
        return false;
    return query.keyword == nullptr || e.insname.view() == query.keyword ||
           e.insname_ch.view() == query.keyword;
}

// The blank before the last member is kept so.
void print_json(const EventLogRecord& e, bool first)
{
    // clang-format off
    print(FORMAT(R"({}{{"id":{},"evtype":"{}","evattr":"{}","evsn":{})"
                 R"(,"evopcode":"{}","evlimit1":"{}","evlimit2":"{}")"
                 R"(,"rid":{},"rtime":{},"robj":"{}","robj_ch":"{}")"
                 R"(,"evt_birth":{},"evdeath":{},"insname":"{}","rdstat":{},"insname_ch":"{}")"
                 R"(,"lval":"{}","fval":"{}","failure":"{}")"
                 R"(,"effective":{},"reportm":{},"dontnotify":{},"alarm_level":{}, "obj_threshold":{}}})"),
          comma_unless(first), e.id, e.evtype, e.evattr, e.evsn,
          e.evopcode, e.evlimit1, e.evlimit2,
          e.rid, e.rtime, e.robj, e.robj_ch,
          e.evt_birth, e.evdeath, e.insname, e.rdstat(), e.insname_ch,
          e.lval, e.fval, e.failure,
          e.effective(), e.reportm, e.dontnotify(), e.alarm_level(), e.obj_threshold);
    // clang-format on
}

constexpr char text_header[] = "id evtype evattr evattrid evsn "
                               "evopcode evlimit1 evlimit2 "
                               "rid rtime robj robj_ch "
                               "evbirth evdeath insname rdstat insname_ch "
                               "lval fval failure "
                               "effective reportm dontnotify alarm_level";

// Without the column rdstat that the header names, kept so: the later names stand one place off.
void print_row(const EventLogRecord& e)
{
    // clang-format off
    print_line(FORMAT("{} {} {} {} {} "
                      "{} {} {} "
                      "{} {} {} {} "
                      "{} {} {} {} "
                      "{} {} {} "
                      "{} {} {} {}"),
               e.id, e.evtype, e.evattr, e.evattrid, e.evsn,
               e.evopcode, e.evlimit1, e.evlimit2,
               e.rid, e.rtime, e.robj, e.robj_ch,
               e.evt_birth, e.evdeath, e.insname, e.insname_ch,
               e.lval, e.fval, e.failure,
               e.effective(), e.reportm, e.dontnotify(), e.alarm_level());
    // clang-format on
}

int print_summary(const Fetch& fetch, const Query& query)
{
    if (event_summary_start() != 0)
        return -1;
    int status = fetch_each<EventLogRecord>(fetch, [&](const EventLogRecord& event) {
        if (wanted(event, query))
            event_summary_count(event, query.day);
        return true;
    });
    if (status == 0)
        event_summary_print();
    return status;
}

int print_events(const Fetch& fetch, const Query& query)
{
    Paging paging = query.paging.page > 0 ? query.paging : Paging{.page = 1, .limit = INT32_MAX};
    Rows<EventLogRecord> rows({.key = [](const EventLogRecord& e) -> uint64_t { return e.evdeath; }});
    rows.want_until(paging.end());
    int status = fetch_each<EventLogRecord>(fetch, [&](const EventLogRecord& event) {
        return !wanted(event, query) ||
               rows.keep_or_say(event, "fal alloc _ptrs object", "fail alloc nevt_data_t object");
    });
    if (status != 0)
        return status;
    rows.rank();
    rows.print_page(paging, [&](const EventLogRecord& event, bool first) {
        if (event.evdeath == 0) // ends the listing: those that follow have no end either
            return;
        if (query.json)
            print_json(event, first);
        else
            print_row(event);
    });
    if (query.json)
        print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
    return 0;
}

} // namespace

int nevtlog_list(int argc, char** argv)
{
    Query query;
    Fetch fetch{.module = "nevt_log", .argv = argv, .write = write_leading, .nul = ArgumentText::leave_nul};
    for (char* argument : arguments(argc, argv))
        if (!read_argument(argument, query))
            fetch.forward(argument);
    if (!request_fits(fetch))
        return -1;
    if (query.json)
        print_opening(FORMAT(R"({{"data":[)")); // in front of a summary too, kept so
    else if (query.header)
        print_line(text_header);
    if (query.summary != 0 || query.only_today != 0)
        query.day = today();
    return query.summary != 0 ? print_summary(fetch, query) : print_events(fetch, query);
}
