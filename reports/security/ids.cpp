// Intrusion detection: hits per signature, the alert log, the sessions behind it.
#include "wire/ids.h"
#include "base/address.h"
#include "base/output.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/security/security.h"

namespace {

constexpr int64_t signatures_max = 8192; // later ones are dropped and not counted

// "catagore" is spelled so.
void print_signature(const SignatureRecord& s, bool first)
{
    print(R"(%s{"sid":%u, "catagore":%d, "total":%lu, "birth":%u, "last":%u})", first ? "" : ",", s.sid,
          static_cast<int>(s.category), s.total, s.birth, s.last);
}

void print_session(const IdsSessionRecord& s, const char* lead)
{
    print(R"(%s{"src":"%s","dst":"%s","sport":%d,"dport":%d,"proto":%d)"
          R"(,"catagore":%d,"pkts0":%d,"pkts1":%d,"birth":%d})",
          lead, ipv4_text(s.source).text, ipv4_text(s.destination).text, int{s.source_port},
          int{s.destination_port}, s.protocol, s.category, s.pkts0, s.pkts1, static_cast<int>(s.birth));
}

} // namespace

int idssum_list(int argc, char** argv)
{
    Paging paging{.page = 1, .limit = 100};
    Fetch fetch{.module = "idssum", .write = nullptr};
    for (const char* argument : arguments(argc, argv))
        take_paging(argument, paging);
    Rows<SignatureRecord> rows({.key = [](const SignatureRecord& s) { return s.total; }});
    rows.want_until(paging.end());
    int status = fetch_each<SignatureRecord>(fetch, [&](const SignatureRecord& signature) {
        return rows.total() >= signatures_max || rows.keep(signature);
    });
    if (status != 0)
        return status;
    rows.rank();
    print(R"({"data":[)");
    rows.print_page(paging, print_signature);
    print(R"(], "total":%d})", static_cast<int>(rows.total()));
    return 0;
}

int kesidslog_list(int argc, char** argv)
{
    Paging paging{.page = 1, .limit = 100};
    const char* keyword = "";
    Fetch fetch{.module = "kesidslog",
                .argc = argc,
                .argv = argv,
                .write = write_leading,
                .nul = ArgumentText::leave_nul};
    for (const char* argument : arguments(argc, argv))
        take_paging(argument, paging) || take_text(argument, "keyword=", keyword);
    Rows<AlertRecord> rows({.key = [](const AlertRecord& a) -> uint64_t { return a.time; }});
    rows.want_until(paging.end());
    int status = fetch_each<AlertRecord>(fetch, [&](const AlertRecord& alert) {
        return alert.text.whole().find(keyword) == std::string_view::npos ||
               rows.keep_or_say(alert, "fail to realloc _ptrs", "fail to alloc dataobj");
    });
    if (status != 0)
        return status;
    rows.rank();
    print(R"({"data":[)");
    rows.print_page(paging, [](const AlertRecord& alert, bool first) {
        print_text(first ? "" : ",");
        print_text(alert.text.view());
    });
    print(R"(], "total":%d})", static_cast<int>(rows.total()));
    return 0;
}

// Printed as it comes. When the daemon fails midway the document stays open, kept so.
int kesidslog_listflow(int argc, char** argv)
{
    Paging paging{.page = 1, .limit = 100};
    Fetch fetch{.module = "idssum",
                .argc = argc,
                .argv = argv,
                .write = write_leading,
                .extra = " show_session=1",
                .nul = ArgumentText::leave_nul};
    for (const char* argument : arguments(argc, argv))
        take_paging(argument, paging);
    if (!request_fits(fetch))
        return -1;
    print(R"({"data":[)");
    int64_t index = 0;
    int status = fetch_each<IdsSessionRecord>(fetch, [&](const IdsSessionRecord& session) {
        if (paging.holds(index))
            print_session(session, index == paging.start() ? "" : ",");
        index++;
        return true;
    });
    if (status == 0)
        print(R"(], "total":%d})", static_cast<int>(index));
    return status;
}
