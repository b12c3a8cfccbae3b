// The events that are defined at present, printed as they come.
#include "base/document.h"
#include "common/arguments.h"
#include "common/fetch.h"
#include "reports/security/security.h"
#include "wire/event.h"

namespace {

void print_json(const EventRecord& e, bool first)
{
    // clang-format off
    print(FORMAT(R"({}{{"id":{},"evtype":"{}","evattr":"{}","evsn":{},"rid":{})"
                 R"(,"evt_birth":{},"evdeath":{},"robj":"{}","robj_ch":"{}")"
                 R"(,"effective":{},"evopcode":"{}","evlimit1":"{}","evlimit2":"{}")"
                 R"(,"insname":"{}","insname_ch":"{}","excnt":{},"lval":"{}","fval":"{}")"
                 R"(,"lreport":{},"alarm_level":{},"obj_threshold":{}}})"),
          comma_unless(first), e.id, e.evtype, e.evattr, e.evsn, e.ruleid,
          e.evbirth, e.evdeath, e.robj, e.robj_ch,
          e.effective, e.evopcode, e.evlimit1, e.evlimit2,
          e.insname, e.insname_ch, e.excnt, e.lval, e.fval,
          e.lreport, e.alarm_level, e.obj_threshold);
    // clang-format on
}

constexpr char text_header[] = "id evtype evattr evattrid evsn ruleid "
                               "evbirth evdeath robj robj_ch "
                               "effective evopcode evlimit1 evlimit2 "
                               "insname insname_ch excnt lval fval "
                               "lreport alarm_level";

void print_row(const EventRecord& e)
{
    // clang-format off
    print_line(FORMAT("{} {} {} {} {} {} "
                      "{} {} {} {} "
                      "{} {} {} {} "
                      "{} {} {} {} {} "
                      "{} {}"),
               e.id, e.evtype, e.evattr, e.evattrid, e.evsn, e.ruleid,
               e.evbirth, e.evdeath, e.robj, e.robj_ch,
               e.effective, e.evopcode, e.evlimit1, e.evlimit2,
               e.insname, e.insname_ch, e.excnt, e.lval, e.fval,
               e.lreport, e.alarm_level);
    // clang-format on
}

} // namespace

int nevt_list(int argc, char** argv)
{
    JsonChoice json;
    bool header = false;
    Fetch fetch{.module = "nevt", .argv = argv, .write = write_leading, .nul = ArgumentText::leave_nul};
    for (char* argument : arguments(argc, argv)) {
        if (strcmp(argument, "showhdr=1") == 0)
            header = true;
        else if (!take_exact_json(argument, json))
            fetch.forward(argument);
    }
    if (!request_fits(fetch))
        return -1;
    if (json)
        print_opening(FORMAT("["));
    else if (header)
        print_line(text_header);
    bool first = true;
    int status = fetch_each<EventRecord>(fetch, [&](const EventRecord& event) {
        if (json)
            print_json(event, first);
        else
            print_row(event);
        first = false;
        return true;
    });
    if (status == 0 && json)
        print_closing(FORMAT("]")); // a bare array, kept so
    return status;
}
