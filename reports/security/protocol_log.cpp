// The logs of clear-text protocols: one report, four layouts.
#include "wire/protocol_log.h"
#include "base/address.h"
#include "base/clock.h"
#include "base/output.h"
#include "common/fetch.h"
#include "common/oui.h"
#include "common/rows.h"
#include "reports/security/netbios_names.h"
#include "reports/security/security.h"

namespace {

template <class Record> struct LogDesign {
    const char* module;
    const char* protocol;
    void (*print_last)(const Record& record); // the members behind "username"
};

Ipv6Text address_text(const WireAddress& address, bool is_ipv6)
{
    if (is_ipv6)
        return ipv6_text(address.bytes);
    Ipv4Text ipv4 = ipv4_text(address.ipv4_network());
    Ipv6Text out;
    memcpy(out.text, ipv4.text, sizeof ipv4.text);
    return out;
}

void print_mac(const uint8_t (&mac)[6])
{
    static constexpr uint8_t none[6] = {};
    if (memcmp(mac, none, sizeof none) == 0) {
        print(R"(,"mac":"")");
        return;
    }
    print(R"(,"mac":"%s")", mac_text(mac).text);
    print_oui_mac(mac, '-', UnknownMaker::left_out);
}

void print_head(const ProtocolLogHead& head, const char* protocol)
{
    print(R"({"req_time":"%s","time":%u)"
          R"(,"src_ip":"%s","dst_ip":"%s","src_port":%d,"dst_port":%d,"proto":"%s")",
          time_text(head.time).text, head.time, address_text(head.source, head.is_ipv6 != 0).text,
          address_text(head.destination, head.is_ipv6 != 0).text, int{head.source_port},
          int{head.destination_port}, protocol);
    print_mac(head.mac);
}

template <class Record> void print_log(const LogDesign<Record>& design, const Record& record)
{
    print_head(record.head, design.protocol);
    bool both = !record.user_a.empty();
    print(R"(,"username":"%s%s%s")", both ? text_of(record.user_a).text : "", both ? "/" : "",
          text_of(record.user_b).text);
    design.print_last(record);
    print("}");
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
    print(R"({"data":[)");
    rows.print_page(paging, [&](const Record& r, bool first) {
        print_text(first ? "" : ",");
        print_log(design, r);
    });
    print(R"(], "total":%d})", static_cast<int>(rows.total()));
    return 0;
}

template <class Record> int list_all_logs(const LogDesign<Record>& design, int argc, char** argv)
{
    return list_logs(design, argc, argv, [](const Record&) { return true; });
}

void print_message(const SyslogRecord& record)
{
    auto message = text_of(record.message);
    for (char& c : message.text)
        if (c == '\\' || c == '\n' || c == '\r' || c == '"')
            c = '-';
    print(R"(,"syslog":"%s")", message.text);
}

// As stored: a banner with a double quote breaks the document, kept so.
void print_banner(const SshLogRecord& record)
{
    print(R"(,"verinfo":"%s")", text_of(record.banner).text);
}

void print_tls_version(const TlsLogRecord& record)
{
    constexpr uint32_t first_version = 769;
    static constexpr const char* versions[] = {"TLS1.0", "TLS1.1", "TLS1.2", "TLS1.3"};
    const char* version = name_at(versions, record.version - first_version, nullptr);
    if (version != nullptr)
        print(R"(,"verinfo":"%s")", version);
}

void print_name(const NetbiosLogRecord& record)
{
    static constexpr const char* operations[] = {
        "QUERY", "WRITE_MAIL_SLOT", nullptr, nullptr, nullptr, "REGISTRATION", "RELEASE", "WACK", "REFRESH"};
    int code = record.head.operation;
    const char* operation = name_at(operations, static_cast<size_t>(code), nullptr);
    if (operation != nullptr)
        print(R"(,"code_id":%d,"code_name":"%s")", code, operation);
    print(R"(,"name":"%s")", netbios_name(record.name).text);
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
        if (typed != nullptr && !key.encode(typed)) {
            print("invalid key"); // without a line feed, kept so
            return -1;
        }
    }
    return list_logs(netbios_design, argc, argv,
                     [&](const NetbiosLogRecord& r) { return key.occurs_in(r.name); });
}
