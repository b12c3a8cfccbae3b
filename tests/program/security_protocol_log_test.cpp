// The logs of clear-text protocols: one design, four layouts.
#include "tests/support/listing.h"
#include "tests/support/vendors.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_view_literals;
const std::string no_vendors = "file fstat error\n";

// From 10.0.0.1:1024 to 10.0.0.2:514, `second` seconds after 2023-11-15/06:13:20 in the zone of the tests.
Bytes record(size_t size, uint32_t second = 0)
{
    return Bytes(size).ip(0, 10, 0, 0, 1).ip(16, 10, 0, 0, 2).u32(32, 1700000000 + second).be16(36, 1024).be16(38, 514);
}

// How such a record is printed.
std::string row(uint32_t second, const std::string& protocol, const std::string& rest)
{
    return R"({"req_time":"2023-11-15/06:13:)" + std::to_string(20 + second) + R"(","time":)" + std::to_string(1700000000 + second) +
           R"(,"src_ip":"10.0.0.1","dst_ip":"10.0.0.2","src_port":1024,"dst_port":514,"proto":")" + protocol +
           R"(","mac":"","username":")" + rest + "}";
}

Case logs(const std::string& command, const std::vector<Reply>& replies, const std::string& output, int status = 0)
{
    return listing(command, {.code = 2055, .module = words_of(command)[0], .data = leading_of(command)}, replies, output, status);
}

TEST(ProtocolLog, SyslogNewestFirstWithVendorsAndEscapes)
{
    const std::string a32(32, 'A'), b20(20, 'B'), m256(256, 'm'), mac("\x00\x1a\x2b\x3c\x4d\x5e", 6);
    Bytes plain = record(356).text(48, "root").text(80, "web1").text(100, "a \"b\"\\c\r\nd\te");
    Bytes full = record(356, 1).text(42, mac).text(48, a32).text(80, b20).text(100, m256);
    Bytes ipv6 = record(356).fill(0, 0, 32).u8(41, 9).u32(32, 4294967295).u16(0, 0x80fe).u64(8, 1).text(42, mac).u8(44, 0x2c);
    ipv6.text(80, "only B");
    Case one = logs("obssyslog list page=1 mod=x", {more(plain.str() + full.str(), 2, 5), {.answer = ipv6, .count = 1}},
                    data_of({R"({"req_time":"2106-02-07/14:28:15","time":4294967295,"src_ip":"fe80::100:0:0:0","dst_ip":"::",)"
                             R"("src_port":1024,"dst_port":514,"proto":"UDP","mac":"00-1a-2c-3c-4d-5e",)"
                             R"("username":"only B","syslog":""})",
                             R"({"req_time":"2023-11-15/06:13:21","time":1700000001,"src_ip":"10.0.0.1","dst_ip":"10.0.0.2",)"
                             R"("src_port":1024,"dst_port":514,"proto":"UDP","mac":"00-1a-2b-3c-4d-5e",)"
                             R"("oui_mac":"V "Q"_3c-4d-5e","username":")" +
                                 a32 + "/" + b20 + R"(","syslog":")" + m256 + R"("})",
                             row(0, "UDP", "root/web1\",\"syslog\":\"a -b--c--d\te\"")},
                            3));
    one.files = {{"/usr/ramdisk/etc/oui.dat", enciphered(std::string("KESTREL\0"
                                                                     "00:1A:2B V \"Q\"\n\0\0\0\0\0\0\0\0",
                                                                     32))}};
    run_case(one);
}

TEST(ProtocolLog, OtherLayouts)
{
    Bytes ssh = record(132).text(48, "userb").text(68, "usera").text(100, "SSH-2.0-\"x\"\\");
    run_case(logs("obssshlog list", {{.answer = ssh, .count = 1}},
                  no_vendors + data_of({row(0, "TCP", R"(usera/userb","verinfo":"SSH-2.0-"x"\")")}, 1)));
    std::string answer;
    std::vector<std::string> rows;
    for (const char* version : {"", R"(,"verinfo":"TLS1.0")", R"(,"verinfo":"TLS1.1")", R"(,"verinfo":"TLS1.2")", R"(,"verinfo":"TLS1.3")",
                                ""}) { // from 0x0300 up, in the order of arrival
        answer += record(104).u16(48, 768 + rows.size()).text(50, "b").text(72, "a").str();
        rows.push_back(row(0, "TCP", std::string("a/b\"") + version));
    }
    const Reply six{.answer = answer, .count = 6};
    run_case(logs("obstlslog list", {six}, no_vendors + data_of(rows, 6)));
    run_case(logs("obstlslog list limit=2", {six}, no_vendors + data_of({rows[0], rows[1]}, 6)));
    run_case(logs("obstlslog list limit=3 page=2 limit=4", {six}, no_vendors + data_of({rows[4], rows[5]}, 6)));
    for (const char* empty : {"page=-1 limit=-5", "page=0", "page=2147483647 limit=2147483647", "limit=x"})
        run_case(logs(std::string("obstlslog list ") + empty, {six}, no_vendors + data_of({}, 6)));
}

TEST(ProtocolLog, NetbiosOperationsAndNames)
{
    const struct {
        uint64_t code;
        std::string_view encoded;
        const char* printed;
    } cases[] = {
        {0, "EBECCADB", R"(,"code_id":0,"code_name":"QUERY","name":"AB1")"},
        {1, "CCFOHOCB", R"(,"code_id":1,"code_name":"WRITE_MAIL_SLOT","name":""^~!")"},
        {2, "GBEBzzQQ", R"(,"name":"A")"}, // "a" is no name character
        {5, "EBECEDEEEFEGEHEIEJEKELEMENEOEPF", R"(,"code_id":5,"code_name":"REGISTRATION","name":"ABCDEFGHIJKLMNO")"},
        {6, "", R"(,"code_id":6,"code_name":"RELEASE","name":"")"},
        {7, "FPHLHN", R"(,"code_id":7,"code_name":"WACK","name":"_{}")"},
        {8, "EA", R"(,"code_id":8,"code_name":"REFRESH","name":"@")"},
        {9, "E", R"(,"name":"")"},
        {3, {"EB\0\0EC\0ED", 9}, R"(,"name":"AB")"}, // on behind a NUL, pair by pair
    };
    std::string answer;
    std::vector<std::string> rows;
    for (const auto& c : cases) {
        answer += record(136).u8(40, c.code).text(48, c.encoded).text(79, "b").str();
        rows.push_back(row(0, "UDP", std::string("b\"") + c.printed));
    }
    run_case(logs("obsnetbios list", {{.answer = answer, .count = 9}}, no_vendors + data_of(rows, 9)));
}

TEST(ProtocolLog, NetbiosKeys)
{
    std::string answer; // FILESERVER1; SERVER; "B" (EC) across a pair boundary; the same only with the suffix
    for (std::string_view name :
         {"EGEJEMEFFDEFFCFGEFFCDB"sv, "FDEFFCFGEFFC"sv, "FECH"sv, "DADADADADADADADADADADADADADADEC"sv, "EB\0\0EI"sv})
        answer += record(136).text(48, name).str();
    auto named = [](const std::string& name) { return row(0, "UDP", R"(","code_id":0,"code_name":"QUERY","name":")" + name + "\""); };
    const std::pair<std::string, std::string> cases[] = {
        {"key=fileserver1", data_of({named("FILESERVER1")}, 1)},
        {"key=Server", data_of({named("FILESERVER1"), named("SERVER")}, 2)},
        {"key=b", data_of({named("T'")}, 1)},
        {"key=h", data_of({named("AH")}, 1)}, // EI behind the NULs
        {"key=ABCDEFGHIJKLMNO", data_of({}, 0)},
    };
    for (const auto& [key, output] : cases)
        run_case(logs("obsnetbios list " + key, {{.answer = answer, .count = 5}}, no_vendors + output));
    for (const char* key : {"key=abcdefghijklmnop", "key=a/b", "key=a\\", "key=\xe4"})
        run_case(logs(std::string("obsnetbios list key=a ") + key, {}, "invalid key", 255));
}

TEST(ProtocolLog, Ends)
{
    const Reply batch = more(record(356), 1), none = more("", 0);
    Case unopened = logs("obssyslog list", {none}, "fail to open db\n" + data_of({}, 0));
    unopened.files = {{"/usr/ramdisk/etc/oui.dat", "x"}};
    const Case cases[] = {
        failing("open {root}/usr/ramdisk/etc/oui.dat", unopened),
        logs("obssyslog list", {batch, none}, no_vendors + data_of({row(0, "UDP", R"(","syslog":"")")}, 1)),
        logs("obssyslog list", {none}, no_vendors + R"({"data":[], "total":0})"),
        logs("obssyslog list", {batch, {.error = 7, .error_text = "LOG_GONE"}}, "LOG_GONE\n", 255),
        logs("obssyslog list", {{.count = 185}}, "INV_REPLY\n", 255), // one more than the segment holds
        logs("obssyslog list", {{.count = -1}}, "INV_REPLY\n", 255),
    };
    run_cases(cases);
}

} // namespace
