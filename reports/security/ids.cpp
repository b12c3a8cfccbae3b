// Intrusion detection: hits per signature, the alert log, the sessions behind it.
#include "wire/ids.h"
#include "base/address.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/rows.h"
#include "reports/security/security.h"

namespace {

constexpr int64_t signatures_max = 8192; // later ones are dropped and not counted

// "catagore" is spelled so.
void print_signature(const SignatureRecord& s, bool first)
{
    print(FORMAT(R"({}{{"sid":{}, "catagore":{}, "total":{}, "birth":{}, "last":{}}})"), comma_unless(first),
          s.sid, static_cast<int>(s.category), s.total, s.birth, s.last); // the category is signed here
}

void print_session(const IdsSessionRecord& s, Separator separator)
{
    print(FORMAT(R"({}{{"src":"{}","dst":"{}","sport":{},"dport":{},"proto":{})"
                 R"(,"catagore":{},"pkts0":{},"pkts1":{},"birth":{}}})"),
          separator, Ipv4{s.source}, Ipv4{s.destination}, s.source_port, s.destination_port, s.protocol,
          s.category, s.pkts0, s.pkts1, static_cast<int>(s.birth)); // the web layer takes the birth as signed
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
    print_opening(FORMAT(R"({{"data":[)"));
    rows.print_page(paging, print_signature);
    print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
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
    print_opening(FORMAT(R"({{"data":[)"));
    rows.print_page(paging, [](const AlertRecord& alert, bool first) {
        print_object(comma_unless(first), alert.text.view());
    });
    print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
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
    print_opening(FORMAT(R"({{"data":[)"));
    int64_t index = 0;
    int status = fetch_each<IdsSessionRecord>(fetch, [&](const IdsSessionRecord& session) {
        if (paging.holds(index))
            print_session(session, comma_unless(index == paging.start()));
        index++;
        return true;
    });
    if (status == 0)
        print_closing(FORMAT(R"(], "total":{}}})"), index);
    return status;
}
