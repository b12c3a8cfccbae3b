// The logs of clear-text protocols: one report, four layouts.
#include "wire/protocol_log.h"
#include "base/address.h"
#include "base/clock.h"
#include "base/document.h"
#include "common/fetch.h"
#include "common/oui.h"
#include "common/rows.h"
#include "reports/security/netbios_names.h"
#include "reports/security/security.h"

namespace {

template <class Record> struct LogDesign {
    const char* module;
    std::string_view protocol;
    void (*print_last)(const Record& record); // the members behind "username"
};

void print_mac(const uint8_t (&mac)[6])
{
    static constexpr uint8_t none[6] = {};
    if (memcmp(mac, none, sizeof none) == 0) {
        print(FORMAT(R"(,"mac":"")"));
        return;
    }
    print(FORMAT(R"(,"mac":"{}")"), MacAddress{mac});
    print_oui_mac(mac, '-', UnknownMaker::left_out);
}

void print_head(const ProtocolLogHead& head, std::string_view protocol, bool first)
{
    auto address = [&](const WireAddress& either) {
        return EitherAddress{head.is_ipv6 != 0, either.bytes, either.ipv4_network()};
    };
    print(FORMAT(R"({}{{"req_time":"{}","time":{})"
                 R"(,"src_ip":"{}","dst_ip":"{}","src_port":{},"dst_port":{},"proto":"{}")"),
          comma_unless(first), LocalTime{head.time}, head.time, address(head.source),
          address(head.destination), head.source_port, head.destination_port, protocol);
    print_mac(head.mac);
}

template <class Record> void print_log(const LogDesign<Record>& design, const Record& record, bool first)
{
    print_head(record.head, design.protocol, first);
    const std::string_view slash = record.user_a.empty() ? "" : "/";
    print(FORMAT(R"(,"username":"{}{}{}")"), record.user_a, slash, record.user_b);
    design.print_last(record);
    print(FORMAT("}}"));
}

// `wanted(record)` says which records are kept and counted.
template <class Record, class Wanted>
int list_logs(const LogDesign<Record>& design, int argc, char** argv, Wanted&& wanted)
{
    Paging paging{.page = 1, .limit = 100};
    Fetch fetch{.module = design.module,
                .argc = argc,
                .argv = argv,
                .write = write_leading,
                .nul = ArgumentText::leave_nul,
                .stop_when_empty = true};
    for (const char* argument : arguments(argc, argv))
        take_paging(argument, paging);
    Rows<Record> rows({.key = [](const Record& r) -> uint64_t { return r.head.time; }});
    rows.want_until(paging.end());
    if (fetch_each<Record>(fetch, [&](const Record& r) { return !wanted(r) || rows.keep(r); }) != 0)
        return -1;
    oui_load(); // what it has to say stands before the envelope
    rows.rank();
    print_opening(FORMAT(R"({{"data":[)"));
    rows.print_page(paging, [&](const Record& r, bool first) { print_log(design, r, first); });
    print_closing(FORMAT(R"(], "total":{}}})"), rows.total());
    return 0;
}

template <class Record> int list_all_logs(const LogDesign<Record>& design, int argc, char** argv)
{
    return list_logs(design, argc, argv, [](const Record&) { return true; });
}

void print_message(const SyslogRecord& record)
{
    char message[decltype(record.message)::width];
    size_t length = 0;
    for (char c : record.message.view())
        message[length++] = c == '\\' || c == '\n' || c == '\r' || c == '"' ? '-' : c;
    print(FORMAT(R"(,"syslog":"{}")"), std::string_view{message, length});
}

// As stored: a banner with a double quote breaks the document, kept so.
void print_banner(const SshLogRecord& record)
{
    print(FORMAT(R"(,"verinfo":"{}")"), record.banner);
}

void print_tls_version(const TlsLogRecord& record)
{
    constexpr uint32_t first_version = 769;
    static constexpr const char* versions[] = {"TLS1.0", "TLS1.1", "TLS1.2", "TLS1.3"};
    const char* version = name_at(versions, record.version - first_version, nullptr);
    if (version != nullptr)
        print(FORMAT(R"(,"verinfo":"{}")"), text_of(version));
}

void print_name(const NetbiosLogRecord& record)
{
    static constexpr const char* operations[] = {
        "QUERY", "WRITE_MAIL_SLOT", nullptr, nullptr, nullptr, "REGISTRATION", "RELEASE", "WACK", "REFRESH"};
    int code = record.head.operation;
    const char* operation = name_at(operations, static_cast<size_t>(code), nullptr);
    if (operation != nullptr)
        print(FORMAT(R"(,"code_id":{},"code_name":"{}")"), code, text_of(operation));
    print(FORMAT(R"(,"name":"{}")"), text_of(netbios_name(record.name).text));
}

constexpr LogDesign<SyslogRecord> syslog_design{"obssyslog", "UDP", print_message};
constexpr LogDesign<SshLogRecord> ssh_design{"obssshlog", "TCP", print_banner};
constexpr LogDesign<TlsLogRecord> tls_design{"obstlslog", "TCP", print_tls_version};
constexpr LogDesign<NetbiosLogRecord> netbios_design{"obsnetbios", "UDP", print_name};

} // namespace

int obssyslog_list(int argc, char** argv)
{
    return list_all_logs(syslog_design, argc, argv);
}

int obssshlog_list(int argc, char** argv)
{
    return list_all_logs(ssh_design, argc, argv);
}

int obstlslog_list(int argc, char** argv)
{
    return list_all_logs(tls_design, argc, argv);
}

int obsnetbios_list(int argc, char** argv)
{
    NetbiosKey key;
    for (const char* argument : arguments(argc, argv)) {
        const char* typed = value_of(argument, "key=");
        if (typed != nullptr && !key.encode(typed))
            return refuse<LineEnd::no>(FORMAT("invalid key"));
    }
    return list_logs(netbios_design, argc, argv,
                     [&](const NetbiosLogRecord& r) { return key.occurs_in(r.name); });
}
