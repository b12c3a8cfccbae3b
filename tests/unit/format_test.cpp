// Values into the printed forms.
#include "base/address.h"
#include "base/clock.h"
#include "base/json.h"
#include "base/key_value.h"
#include "base/output.h"
#include "base/units.h"
#include "tests/support/captured_output.h"
#include "tests/support/cases.h"
#include "tests/support/printed_as.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

namespace {

void use_zone(const char* rule)
{
    setenv("TZ", rule, 1);
    forget_zone();
}

constexpr uint8_t ipv6[16] = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr uint8_t mac[6] = {0x00, 0x1A, 0xB2, 0x3C, 0x4D, 0xFF};
constexpr uint32_t new_year = 1767225599; // 2025-12-31 23:59:59 UTC

std::string range_result(std::string ends)
{
    uint32_t low, high;
    return parse_ipv4_range(ends.data(), low, high) ? printed_as(Ipv4Range{low, high}) : "";
}

TEST(Format, RangesAreWholeOnePrefixOneAddressOrTwoEnds)
{
    expect_cases("0.0.0.0-255.255.255.255 => any | 10.0.0.0-10.255.255.255 => 10.0.0.0/8 | "
                 "128.0.0.0-255.255.255.255 => 128.0.0.0/1 | 192.168.1.2-192.168.1.3 => 192.168.1.2/31 | "
                 "10.0.0.1-10.0.0.1 => 10.0.0.1 | 0.0.0.0-0.0.0.0 => 0.0.0.0",
                 range_result);
    for (const char* same : {"192.168.1.1-192.168.1.2", "10.0.0.0-10.0.0.254", "10.0.0.128-10.0.1.127", "10.0.0.5-10.0.0.4",
                             "0.0.0.0-255.255.255.254", "255.255.255.255-0.0.0.0"})
        EXPECT_EQ(range_result(same), same);
}

TEST(Format, AddressesOfAnyValue)
{
    for (uint32_t byte = 0; byte < 256; byte++) {
        std::string digits = std::to_string(byte);
        EXPECT_EQ(printed_as(Ipv4{byte << 24 | 0x020304}), digits.append(".2.3.4"));
    }
    EXPECT_EQ(printed_as(MacAddress{mac}), "00-1a-b2-3c-4d-ff");
    EXPECT_EQ(printed_as(MacAddress{mac + 3, ':', 3}), "3c:4d:ff");
    EXPECT_EQ(printed_as(Ipv6{ipv6}), "2001:db8::1");
    EXPECT_EQ(printed_as(EitherAddress{false, ipv6, 0x0A000001}), "10.0.0.1");
    EXPECT_EQ(printed_as(EitherAddress{true, ipv6, 0x0A000001}), "2001:db8::1");
}

// Every quarter of an hour around both clock changes of a year, and random times, as the C library has them.
TEST(Format, TimesFollowTheRulesOfTheZone)
{
    std::mt19937 random(3);
    for (const char* rule : {"EST5EDT,M3.2.0,M11.1.0", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "XYZ0:44:30", "UTC0", "CST-8"}) {
        use_zone(rule);
        auto expect_same = [&](uint32_t seconds) {
            char expected[40];
            const time_t when = seconds;
            strftime(expected, sizeof expected, "%Y-%m-%d/%H:%M:%S", localtime(&when));
            ASSERT_EQ(printed_as(LocalTime{seconds}), expected) << rule << ' ' << seconds;
            ASSERT_EQ(printed_as(LocalDate{seconds}), std::string(expected, 10)) << rule << ' ' << seconds;
        };
        for (uint32_t seconds = 1767225600; seconds < 1798761600; seconds += 900)
            expect_same(seconds);
        for (int i = 0; i < 20000; i++)
            expect_same(static_cast<uint32_t>(random()));
        expect_same(0);
        expect_same(UINT32_MAX);
    }
}

TEST(Format, SizesAndCountsCarryTheirUnitAndABlank)
{
    auto both = [](const std::string& number) {
        uint64_t value = parse_size(number.c_str());
        return printed_as(ByteSize{value}) + "; " + printed_as(Count{value});
    };
    expect_cases("0 => 0 ; 0  | 999 => 999 ; 999  | 1000 => 1000 ; 1.00K  | 1023 => 1023 ; 1.02K  | "
                 "1024 => 1.00K ; 1.02K  | 999999 => 976.56K ; 1000.00K  | 1000000 => 976.56K ; 1.00M  | "
                 "1048575 => 1024.00K ; 1.05M  | 1048576 => 1.00M ; 1.05M  | 1073741823 => 1024.00M ; 1073.74M  | "
                 "1073741824 => 1.00G ; 1073.74M  | 18446744073709551615 => 17179869184.00G ; 18446744073709.55M ",
                 both);
}

// The C library is asked: halves of a hundredth are not exact in binary, most of them.
TEST(Format, HundredthsRoundAsTheCLibrary)
{
    auto expect_same = [](double measure) {
        char expected[40];
        snprintf(expected, sizeof expected, "%.2f", measure);
        ASSERT_EQ(printed_as(Hundredths{measure}), expected);
    };
    for (unsigned n = 0; n < 300000; n++)
        expect_same(n / 1000.0);
    std::mt19937_64 random(7);
    for (int i = 0; i < 100000; i++) {
        const auto value = static_cast<double>(random() >> random() % 64);
        for (double unit : {1000.0, 1024.0, 1048576.0, 1e6, 1073741824.0})
            expect_same(value / unit);
    }
    for (double special : {0.0, 0.005, 0.015, 0.125, 0.375, 0.995, 0.9951, 1e-300, 18446744073709549568.0})
        expect_same(special);
}

// What must not compile is tried by tests/compile/refused_formats.sh.
TEST(Format, RowsTakeNumbersTextsAndForms)
{
    be16 port;
    port = 443;
    FixedText<4> full;
    full.assign("abcd");
    EXPECT_EQ(captured_output([&] {
                  print(FORMAT(R"({{"n":[{},{},{},{}],"t":"{}{}{}"}})"), port, uint8_t{200}, INT64_MIN, UINT64_MAX, full,
                        std::string_view{"e"}, text_of(nullptr));
              }),
              R"({"n":[443,200,-9223372036854775808,18446744073709551615],"t":"abcde"})");
    // Longer than the buffer, and filling it up to the last byte.
    const std::string text(200000, 'x');
    EXPECT_EQ(captured_output([&] {
                  print(FORMAT("a{}b"), std::string_view(text));
                  for (int i = 0; i < 70000; i++)
                      print(FORMAT("{}"), std::string_view("y"));
              }),
              "a" + text + "b" + std::string(70000, 'y'));
}

// Before every value stands its key; what the values look like is tried above.
TEST(Format, KeyValueLines)
{
    std::string lines;
    for (const std::string& piece : {printed_as(key_value("count", -7)), printed_as(key_value("id ", INT32_MIN)),
                                     printed_as(key_value(" src=", Ipv4{0x0A000001})), printed_as(key_value(" mac ", MacAddress{mac})),
                                     printed_as(key_value("bytes", ByteSize{2048})), printed_as(key_value("", std::string_view{"x"}))})
        lines += piece;
    EXPECT_EQ(lines, "count=-7\nid -2147483648\n src==10.0.0.1 mac 00-1a-b2-3c-4d-ffbytes=2.00K \n=x\n");
}

TEST(Format, JsonMembers)
{
    use_zone("CST-8");
    be32 network;
    network = 0x01020304;
    auto write = [&](Output* out) {
        append(out, FORMAT("{}{}{}"), member("id", -1), member(",n", 4294967295U), member(",bytes", ~uint64_t{}));
        append(out, FORMAT("{}{}"), member(",name", "a\"%s"), member(",none", nullptr));
        append(out, FORMAT("{}{}"), member(",dst", Ipv4{network}), member(",day", LocalDate{new_year}));
    };
    const std::string expected = R"("id":-1,"n":4294967295,"bytes":18446744073709551615,"name":"a"%s","none":"",)"
                                 R"("dst":"1.2.3.4","day":"2026-01-01")";
    EXPECT_EQ(captured_output([&] { write(nullptr); }), expected);

    char whole[400], cut[20];
    Output buffer{.buffer = whole, .size = sizeof whole}, bounded{.buffer = cut, .size = sizeof cut};
    write(&buffer);
    EXPECT_EQ(whole, expected);
    EXPECT_EQ(buffer.used, expected.size());
    write(&bounded);
    EXPECT_EQ(cut, expected.substr(0, sizeof cut - 1));

    char* text = nullptr;
    size_t size = 0;
    Output stream{.stream = open_memstream(&text, &size)};
    write(&stream);
    fclose(stream.stream);
    EXPECT_EQ(text, expected);
    free(text);

    Output again{.buffer = whole, .size = sizeof whole};
    EXPECT_EQ(append(&again, FORMAT("{}"), member(",id", 12)), 8);
}

} // namespace
