// ipobj: sessions as lines, folded sessions, throughput.
#include "tests/support/program.h"

#include <algorithm>
#include <ctime>
#include <gtest/gtest.h>
#include <sstream>

namespace {

// ---- Sessions at hand-written offsets

Bytes session(int host, uint16_t application)
{
    return Bytes(228)
        .u32(0, 0x0a000000U + static_cast<uint32_t>(host))  // 10.0.0.host
        .u32(16, 0xc0a80100U + static_cast<uint32_t>(host)) // 192.168.1.host
        .u16(56, application)
        .u8(64, 6);
}

// clang-format off
std::string full_session()
{
    return session(1, 3)
        .u16(32, 1111).u16(34, 443).u32(40, 40).u32(44, 1000).u32(48, 2500)
        .u8(55, 0x32).u16(58, 58).u16(60, 60).u8(62, 62).u8(63, 7)
        .u8(65, 7).u8(66, 3).u8(67, 12)
        .u32(68, 1500).u32(72, 2345).u32(76, 1005).u16(80, 8000).u16(82, 8200)
        .u32(84, 11).u32(88, 22).u32(92, 1).u32(96, 2).u16(100, 9)
        .text(102, "Oslo")
        .text(145, std::string_view("bb\0aaa\0cccc\0host.example", 24));
}

// IPv6, and otherwise empty.
std::string empty_session()
{
    return Bytes(228).be32(0, 0x20010db8).be32(12, 1).be32(16, 0x20010db8).be32(28, 2).u8(55, 0x40).u16(56, 0x4003).u8(64, 58);
}

// Texts without a terminator, offsets beyond the area, a suffix without a host.
std::string unterminated_session()
{
    return session(3, 4).u8(55, 0x20).u8(64, 47).u8(65, 200).u8(66, 82).u8(67, 83).u32(68, 1999).u32(72, 9996).u32(76, 4294967294).u16(100, 5)
        .fill(102, 'y', 43).fill(145, 'x', 83);
}

// Five sessions, told apart by application 11 to 15.
std::string five_sessions()
{
    const std::string texts("\0zeta\0abcdefgh1\0abcdefgh2\0", 26);
    auto numbered = [&](int i) {
        return session(i, static_cast<uint16_t>(10 + i)).u32(72, 0x30000000).text(145, texts);
    };
    return numbered(1).u16(34, 80).u32(36, 50).u32(44, 0xffffffff).u32(48, 3).u8(67, 6).u32(68, 0xf8000000)
               .u32(84, 5).u32(92, 1).str() +
           numbered(2).u16(34, 53).u32(36, 40).u32(44, 500).u8(64, 17).u8(67, 16).u32(68, 7)
               .u32(84, 6).u32(92, 1).str() +
           numbered(3).u16(34, 81).u32(36, 60).u32(44, 500).u8(63, 9).u8(67, 1).u32(68, 7).u32(72, 0x90000000)
               .u32(96, 4).str() +
           numbered(4).u32(16, 0xc0a80103).u16(32, 80).u16(34, 82).u32(36, 40).u32(48, 600).u32(76, 1)
               .u32(88, 1).u32(96, 4).str() +
           Bytes(empty_session()).u32(0, 0x0a000001).u16(56, 15).u8(64, 6).u8(67, 250).u32(72, 0x30000000).str();
}

std::string folded_sessions()
{
    const std::string hosts("\0www.example.com\0mail.example.org\0", 34);
    auto from_to = [&](int source, int destination, uint32_t up, uint32_t down) {
        return session(source, 3).u32(16, 0xc0a80100U + static_cast<uint32_t>(destination))
            .u32(44, up).u32(48, down).text(145, hosts);
    };
    return from_to(1, 8, 10, 100).u16(34, 443).u8(67, 1).u32(72, 3000).text(102, "Berlin").str() +
           from_to(2, 9, 20, 200).u16(34, 80).u8(67, 17).u32(72, 9999999).str() +
           from_to(1, 9, 30, 300).u16(34, 443).u32(72, 10000000).text(102, "Bern").str() +
           from_to(2, 7, 40, 400).u16(34, 53).u8(67, 17).u32(72, 2000).str() +
           Bytes(empty_session()).u16(34, 80).u32(44, 7).u8(67, 17).text(102, "Rom").text(145, hosts).str();
}
// clang-format on

Exchange sessions(const std::string& module, const std::string& text, const std::string& records, bool first = true)
{
    return {{.code = 2055, .module = module, .data = counted(text), .wants_dictionary = first},
            {.answer = records, .count = static_cast<int32_t>(records.size() / 228)}};
}

Case ipobj(const std::string& line, std::vector<Exchange> exchanges, const std::string& output = "", int status = 0)
{
    Case one = command("ipobj " + line, Daemon::management, std::move(exchanges), output, status);
    one.dictionary = "full";
    one.files = {{"/conf/kestrel.conf", "mac ip=192.168.1.8 d=eight\n"}};
    return one;
}

// ---- listbussflow

// Compares all but the age of each session, which must count up to now (every birth is 0).
Case lines(const std::string& typed, std::vector<Exchange> exchanges, const std::string& expected)
{
    Case one = ipobj(typed, std::move(exchanges));
    one.check = [expected](const RunResult& run) {
        std::istringstream in(run.output);
        std::string line, rest;
        while (std::getline(in, line)) {
            if (!line.starts_with("total")) {
                EXPECT_NEAR(atof(line.c_str()), static_cast<double>(time(nullptr)), 120) << line;
                line.erase(0, line.find(' ') + 1);
            }
            rest += line + "\n";
        }
        EXPECT_EQ(rest, expected);
    };
    return one;
}

const std::string full_line = "3 secure web tcp 10.0.0.1:1111-192.168.1.1:443 1000 2500 0 3500 1 60 58 62"
                              " aaa host.example|9 bb cccc 1.50 2.35 1.00 8000 8200 1/11 2/22 OK Oslo 7 40\n";
const std::string empty_line = "16387 second icmp6 2001:db8::1/0-2001:db8::2/0 0 0 0 0 0 0 0 0"
                               " NULL NULL NULL NULL 0.00 0.00 0.00 0 0 0/0 0/0 NIL NULL 0 0\n";
const std::string unterminated_line = "4 shell unk_47 10.0.0.3:0-192.168.1.3:0 0 0 0 0 0 0 0 0 x |5 " + std::string(83, 'x') +
                                      " NULL 2.00 10.00 4294967.29 0 0 0/0 0/0 ACK " + std::string(43, 'y') + " 0 0\n";

TEST(Sessions, LinesAndBatches)
{
    const std::string all = full_session() + empty_session() + unterminated_session();
    const std::string english = std::string(full_line).replace(2, 10, "TLS");
    const std::string english_4 = std::string(unterminated_line).replace(2, 5, "SSH");
    auto second = sessions("obsbussflow", " a=1 lang=de", all, false);
    second.request.cursor = 5;
    auto first = sessions("obsbussflow", " a=1 lang=de", all);
    first.reply.last = false;
    first.reply.cursor = 5;
    auto endless = sessions("obsbussflow", "", "");
    endless.reply.last = false;
    auto endless_flow = endless;
    endless_flow.request.module = "flow";
    const std::string of_few_words = session(1, 0)
                                         .u16(32, 65535)
                                         .u16(34, 65535)
                                         .u8(55, 0x10)
                                         .u8(64, 17)
                                         .u8(67, 1)
                                         .u32(92, 1)
                                         .text(145, std::string_view("\0h", 2))
                                         .str() +
                                     session(2, 0).u8(64, 1).u32(96, 1).str() + session(3, 0).str();
    auto oversized = sessions("obsbussflow", "", "");
    oversized.reply.count = 4600;
    const auto two_full = sessions("obsbussflow", "", empty_session() + full_session() + full_session());
    const Case cases[] = {
        lines("listbussflow", {sessions("obsbussflow", "", all)}, full_line + empty_line + unterminated_line + "total 3\n"),
        lines("listbussflow a=1 page=2 lang=de limit=2 lang=en", {first, second}, english_4 + english + "total 6\n"),
        // Each batch is looked at up to what is missing, and all are fetched.
        lines("listbussflow a=1 lang=de count=2", {first, second}, full_line + empty_line + "total 2\n"),
        // Lines without retransmissions go after paging.
        lines("listbussflow show_rexmit=1 limit=2", {two_full}, full_line + "total 3\n"),
        // Words for protocols and states, the last port, retransmissions of either side.
        lines("listbussflow show_rexmit=1", {sessions("obsbussflow", "", of_few_words)},
              "0 second udp 10.0.0.1:65535-192.168.1.1:65535 0 0 0 0 0 0 0 0 NULL h NULL NULL 0.00 0.00 0.00 0 0 1/0 0/0 SYN NULL 0 0\n"
              "0 second icmp 10.0.0.2:0-192.168.1.2:0 0 0 0 0 0 0 0 0 NULL NULL NULL NULL 0.00 0.00 0.00 0 0 0/0 1/0 NIL NULL 0 0\n"
              "total 3\n"),
        ipobj("listbussflow", {endless}, "total 0\n"),
        ipobj("listflow", {endless_flow}, ""),
        ipobj("listbussflow sort=byte", {}, "Invalid sort type byte\n", 255),
        ipobj("listbussflow sort=app", {oversized}, "INV_REPLY\n", 255),
    };
    run_cases(cases);
}

// Unsorted ones are counted up to a bound of their own.
TEST(Sessions, AreLookedAtUpToABound)
{
    constexpr int32_t bound = 262144, whole = 4597; // as many as the segment holds behind the dictionary
    std::vector<Exchange> batches;
    for (int32_t left = bound + 1; left > 0; left -= whole) {
        batches.push_back(sessions("obsbussflow", "", std::string(228 * static_cast<size_t>(std::min(left, whole)), '\0'), left > bound));
        batches.back().reply.last = left <= whole;
    }
    run_case(ipobj("listbussflow page=0", batches, "total 262144\n"));
}

// What each choice of arguments prints of the five sessions.
TEST(Sessions, FiltersAndOrders)
{
    const struct {
        const char *arguments, *picked;
    } picks[] = {
        {"sort=app", "15 14 13 12 11 total 5"},
        {"sort=time", "13 11 12 14 15 total 5"},
        {"sort=bytes", "14 12 13 11 15 total 5"}, // 0xffffffff + 3 is 2 in 32 bits
        {"sort=proto", "12 11 13 14 15 total 5"},
        {"sort=dst", "14 13 12 11 15 total 5"},
        {"sort=host", "13 12 11 14 15 total 5"},
        {"sort=clntdelay", "12 13 14 15 11 total 5"}, // by signed difference: 0xf8000000 is below 0
        {"sort=svrdelay limit=1", "13 total 5"},      // and 0x90000000 above 0x30000000
        {"sort=appdelay limit=1", "14 total 5"},
        {"sort=rexup", "12 11 13 14 15 total 5"},
        {"sort=rexdn", "14 13 11 12 15 total 5"},
        {"sort=time page=2 limit=2", "12 14 total 5"},
        {"sort=time page=2147483647 limit=2147483647", "total 5"},
        {"page=-1 limit=2", "total 5"},
        {"limit=0", "total 5"},
        {"vpaid=9", "13 total 1"},
        {"dport=80-81", "11 13 total 2"},
        {"dport=53", "12 total 1"},
        {"sport=80 sort=app", "14 total 1"},
        {"src=10.0.0.1", "11 15 total 2"}, // the IPv6 session's first word is compared too
        {"dst=192.168.1.3", "13 14 total 2"},
        {"src=10.0.0.4 dst=192.168.1.3", "14 total 1"},
        {"src=0.0.0.0", "total 0"},
        {"dst=2001:db8::2", "15 total 1"},
        {"dst=2001:db8::2 src=10.0.0.1", "total 0"}, // the family of the last one serves both
        {"src=nonsense", "INV_IPEFLOW 11 12 13 14 15 total 5"},
        {"count=4 dport=81-82", "13 14 total 2"},
        {"count=-1", "total 0"},
    };
    std::vector<Case> cases;
    for (const auto& pick : picks) {
        Case one = ipobj(std::string("listbussflow ") + pick.arguments, {sessions("obsbussflow", "", five_sessions())});
        one.check = [expected = std::string(pick.picked)](const RunResult& run) {
            std::istringstream in(run.output);
            std::string line, found, word;
            while (std::getline(in, line)) {
                std::istringstream words(line);
                if (!line.starts_with("total") && !line.starts_with("INV"))
                    words >> word; // the age
                words >> word;
                found += (found.empty() ? "" : " ") + word;
                if (line.starts_with("total"))
                    found += line.substr(5);
            }
            EXPECT_EQ(found, expected);
        };
        cases.push_back(std::move(one));
    }
    run_cases(cases);
}

// ---- listflow

TEST(Sessions, Folded)
{
    auto fold = [](const std::string& words, const std::string& output, const std::string& forwarded = "") {
        return ipobj("listflow " + words, {sessions("flow", forwarded, folded_sessions())}, output);
    };
    const Case cases[] = {
        fold("", "192.168.1.8 1 100 10 3000 Berlin eight\n"
                 "192.168.1.9 2 500 50 9999999 Bern NULL\n"
                 "192.168.1.7 1 400 40 2000NULL NULL\n"),
        fold("issrc=1", "10.0.0.1 2 40 400 3000 NULL\n10.0.0.2 2 60 600 5000999 NULL\n"),
        fold("json=1 sort=delayed", R"({"total":3, "data":[{"ip":"192.168.1.9","flow":2,"upbytes":500,"downbytes":50,"avgdelay":9999999)"
                                    R"(,"locisp":"Bern","desc":"NULL"},{"ip":"192.168.1.8","flow":1,"upbytes":100,"downbytes":10)"
                                    R"(,"avgdelay":3000,"locisp":"Berlin","desc":"eight"},{"ip":"192.168.1.7","flow":1,"upbytes":400)"
                                    R"(,"downbytes":40,"avgdelay":2000,"locisp":"","desc":"NULL"}]})"),
        fold("json=1 issrc=1 sort=bytes page=2 limit=1",
             R"({"total":2, "data":[,{"ip":"10.0.0.1","flow":2,"upbytes":40,"downbytes":400,"avgdelay":3000)"
             R"(,"desc":"NULL"}]})"),
        fold("sort=flow limit=1 x=1 y", "192.168.1.9 2 500 50 9999999 Bern NULL\n", " x=1 y"),
        fold("sort=flows limit=1", "192.168.1.8 1 100 10 3000 Berlin eight\n"), // no such word
        fold("json=1 page=3", R"({"total":3, "data":[]})"),
        fold("json=1 sumloc=1", R"([,{"loc":"Berl","flow":1,"upbytes":10,"downbytes":100,"avgdelay":3000})"
                                R"({"loc":"Bern","flow":1,"upbytes":30,"downbytes":300,"avgdelay":0}])"),
        fold("sumloc=1 limit=1", "Berl 1 10 100 3000\nBern 1 30 300 0\n"),
        fold("json=1 dnssum=1 sumloc=1 limit=1",
             R"({"total":2, "data":[{"dns":"mail.example.org", "flow":3},{"dns":"www.example.com", "flow":1}]})"),
        fold("dnssum=1", ""),
        fold("json=1 portsum=1 dnssum=1 limit=1",
             R"({"total":3, "data":[{"port":80, "flow":2},{"port":443, "flow":2},{"port":53, "flow":1}]})"),
        fold("portsum=1", ""),
    };
    run_cases(cases);
}

// Bytes are ordered and delays summed up in 64 bits, but for the delays of locations.
TEST(Sessions, SumsHaveTheirWidth)
{
    const std::string large = session(1, 3).u32(44, 0xffffffff).u32(48, 2), small = session(2, 3).u32(44, 5);
    std::string slow;
    for (int i = 0; i < 430; i++)
        slow += session(1, 3).u32(72, 9999999).text(102, "Rome").str();
    const Case cases[] = {
        ipobj("listflow issrc=1 sort=byte limit=1", {sessions("flow", "", small + large)}, "10.0.0.1 1 4294967295 2 0 NULL\n"),
        ipobj("listflow issrc=1", {sessions("flow", "", slow)}, "10.0.0.1 430 0 0 9999999 NULL\n"),
        ipobj("listflow sumloc=1", {sessions("flow", "", slow)}, "Rome 430 0 0 11702\n"),
    };
    run_cases(cases);
}

TEST(Sessions, AFullCounterWraps)
{
    std::string batch; // 4096 sessions to port 443, and two of them to 80
    for (int i = 0; i < 4096; i++)
        batch += session(1, 3).u16(34, 443).str();
    std::vector<Exchange> exchanges;
    for (int i = 0; i < 16; i++) {
        exchanges.push_back(sessions("flow", "", batch, i == 0));
        exchanges.back().reply.last = false;
    }
    exchanges.push_back(sessions("flow", "", session(1, 3).u16(34, 80).str(), false));
    run_case(ipobj("listflow portsum=1 json=1", exchanges, R"({"total":1, "data":[{"port":80, "flow":1}]})"));
}

// ---- listipa

TEST(Throughput, Lines)
{
    auto address = [](int host, uint32_t in, uint32_t out, std::string_view description) {
        return Bytes(64).ip(0, 10, 0, 0, host).u32(16, in).u32(20, out).u16(24, 2).text(28, description, 36).str();
    };
    const std::string three =
        address(1, 0x80000000, 0x80000000, "gate") + address(2, 0, 20, std::string(36, 'd')) + address(3, 100, 50000, "");
    const std::string six = Bytes(64).be32(0, 0x20010db8).be32(12, 1).u32(16, 1).u16(24, 0x4001).u8(26, 1).str();
    auto exchange = [](const std::string& text, const std::string& records, bool first, bool last) {
        return Exchange{{.code = 99, .data = uncounted(text), .wants_dictionary = first},
                        {.answer = records, .count = static_cast<int32_t>(records.size() / 64), .last = last}};
    };
    const std::string usage = "ipapinfo list [-ip xx.xx.xx.xx[-yy.yy.yy.yy]] [-s all|in|out] -app application\n";
    const std::string d36(36, 'd');
    const std::string gate = "10.0.0.1 HTTP web 17179869184 17179869184 34359738368 gate\n";
    const std::string second = "10.0.0.2 HTTP web 0 160 160 " + d36 + "\n";
    const std::string third = "10.0.0.3 HTTP web 800 400000 400800 NULL\n";
    const std::string text = " ip=10.0.0.1-10.0.0.9 x=1 app=HTTP";
    const Case cases[] = {
        // An empty batch does not end it.
        ipobj("listipa -ip 10.0.0.1-10.0.0.9 x=1 -app HTTP", {exchange(text, "", true, false), exchange(text, three + six, false, true)},
              "10.0.0.1 HTTP web 17179.87M 17179.87M 34359.74M gate\n10.0.0.2 HTTP web 0 160 160 " + d36 +
                  "\n10.0.0.3 HTTP web 800 400.00K 400.80K NULL\n2001:db8::1 other second 8 0 8 NULL\n"),
        // Order and limit hold within a batch.
        ipobj("listipa -s out -n 2 rawdata=1", {exchange("", three, true, false), exchange("", three, false, true)},
              gate + third + gate + third),
        ipobj("listipa -s in rawdata=1", {exchange("", three, true, true)}, gate + third + second),
        ipobj("listipa -s all rawdata=1", {exchange("", three, true, true)}, gate + third + second),
        ipobj("listipa -ip", {}, usage, 255),
        ipobj("listipa -s up", {}, "invalid sort type: all, in, out\n", 255),
    };
    run_cases(cases);
}

} // namespace
