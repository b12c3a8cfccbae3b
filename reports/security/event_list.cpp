// The events that are defined at present, printed as they come.
#include "base/output.h"
#include "common/arguments.h"
#include "common/fetch.h"
#include "reports/security/security.h"
#include "wire/event.h"

namespace {

void print_json(const EventRecord& e, const char* lead)
{
    // clang-format off
    print(R"(%s{"id":%u,"evtype":"%s","evattr":"%s","evsn":%u,"rid":%u)"
          R"(,"evt_birth":%u,"evdeath":%u,"robj":"%s","robj_ch":"%s")"
          R"(,"effective":%u,"evopcode":"%s","evlimit1":"%s","evlimit2":"%s")"
          R"(,"insname":"%s","insname_ch":"%s","excnt":%u,"lval":"%s","fval":"%s")"
          R"(,"lreport":%u,"alarm_level":%u,"obj_threshold":%u})",
          lead, e.id, text_of(e.evtype).text, text_of(e.evattr).text, e.evsn, e.ruleid,
          e.evbirth, e.evdeath, text_of(e.robj).text, text_of(e.robj_ch).text,
          e.effective, text_of(e.evopcode).text, text_of(e.evlimit1).text, text_of(e.evlimit2).text,
          text_of(e.insname).text, text_of(e.insname_ch).text, e.excnt, text_of(e.lval).text,
          text_of(e.fval).text,
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
    print("%u %s %s %u %u %u "
          "%u %u %s %s "
          "%u %s %s %s "
          "%s %s %u %s %s "
          "%u %u\n",
          e.id, text_of(e.evtype).text, text_of(e.evattr).text, e.evattrid, e.evsn, e.ruleid,
          e.evbirth, e.evdeath, text_of(e.robj).text, text_of(e.robj_ch).text,
          e.effective, text_of(e.evopcode).text, text_of(e.evlimit1).text, text_of(e.evlimit2).text,
          text_of(e.insname).text, text_of(e.insname_ch).text, e.excnt, text_of(e.lval).text,
          text_of(e.fval).text,
          e.lreport, e.alarm_level);
    // clang-format on
}

} // namespace

int nevt_list(int argc, char** argv)
{
    bool json = false, header = false;
    Fetch fetch{.module = "nevt", .argv = argv, .write = write_leading, .nul = ArgumentText::leave_nul};
    for (char* argument : arguments(argc, argv)) {
        if (strcmp(argument, "json=1") == 0)
            json = true;
        else if (strcmp(argument, "showhdr=1") == 0)
            header = true;
        else
            fetch.forward(argument);
    }
    if (!request_fits(fetch))
        return -1;
    if (json)
        print("[");
    else if (header)
        print_line(text_header);
    const char* lead = "";
    int status = fetch_each<EventRecord>(fetch, [&](const EventRecord& event) {
        if (json)
            print_json(event, lead);
        else
            print_row(event);
        lead = ",";
        return true;
    });
    if (status == 0 && json)
        print("]"); // a bare array, kept so
    return status;
}
