// Values into the printed forms.
#include "base/address.h"
#include "base/clock.h"
#include "base/json.h"
#include "base/key_value.h"
#include "base/units.h"
#include "tests/support/captured_output.h"
#include "tests/support/cases.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

void use_zone(const char* rule)
{
    setenv("TZ", rule, 1);
    tzset();
}

constexpr uint8_t ipv6[16] = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr uint8_t mac[6] = {0x00, 0x1A, 0xB2, 0x3C, 0x4D, 0xFF};
constexpr uint32_t new_year = 1767225599; // 2025-12-31 23:59:59 UTC

std::string range_result(std::string ends)
{
    uint32_t low, high;
    return parse_ipv4_range(ends.data(), low, high) ? range_text(low, high).text : "";
}

TEST(Format, RangesAreWholeOnePrefixOneAddressOrTwoEnds)
{
    expect_cases("0.0.0.0-255.255.255.255 => any | 10.0.0.0-10.255.255.255 => 10.0.0.0/8 | "
                 "128.0.0.0-255.255.255.255 => 128.0.0.0/1 | 192.168.1.2-192.168.1.3 => 192.168.1.2/31 | "
                 "10.0.0.1-10.0.0.1 => 10.0.0.1 | 0.0.0.0-0.0.0.0 => 0.0.0.0",
                 range_result);
    for (const char* same : {"192.168.1.1-192.168.1.2", "10.0.0.0-10.0.0.254", "10.0.0.128-10.0.1.127",
                             "10.0.0.5-10.0.0.4", "0.0.0.0-255.255.255.254", "255.255.255.255-0.0.0.0"})
        EXPECT_EQ(range_result(same), same);
}

TEST(Format, AddressesOfAnyValue)
{
    for (uint32_t byte = 0; byte < 256; byte++) {
        std::string digits = std::to_string(byte);
        EXPECT_EQ(ipv4_text(byte << 24 | 0x020304).text, digits.append(".2.3.4"));
    }
    EXPECT_STREQ(mac_text(mac).text, "00-1a-b2-3c-4d-ff");
    EXPECT_STREQ(mac_text(mac, ':').text, "00:1a:b2:3c:4d:ff");
    EXPECT_STREQ(ipv6_text(ipv6).text, "2001:db8::1");
}

TEST(Format, TimesAreLocalWithTheFullYear)
{
    use_zone("UTC0");
    EXPECT_STREQ(time_text(new_year).text, "2025-12-31/23:59:59");
    EXPECT_STREQ(time_text(0xFFFFFFFF).text, "2106-02-07/06:28:15");
    use_zone("CST-8");
    EXPECT_STREQ(time_text(new_year).text, "2026-01-01/07:59:59");
    EXPECT_STREQ(date_text(new_year).text, "2026-01-01");
    use_zone("EST5");
    EXPECT_STREQ(time_text(0).text, "1969-12-31/19:00:00");
}

TEST(Format, SizesAndCountsCarryTheirUnitAndABlank)
{
    auto both = [](const std::string& number) {
        uint64_t value = parse_size(number.c_str());
        return byte_size_text(value).text + std::string("; ") + count_text(value).text;
    };
    expect_cases(
        "0 => 0 ; 0  | 999 => 999 ; 999  | 1000 => 1000 ; 1.00K  | 1023 => 1023 ; 1.02K  | "
        "1024 => 1.00K ; 1.02K  | 999999 => 976.56K ; 1000.00K  | 1000000 => 976.56K ; 1.00M  | "
        "1048575 => 1024.00K ; 1.05M  | 1048576 => 1.00M ; 1.05M  | 1073741823 => 1024.00M ; 1073.74M  | "
        "1073741824 => 1.00G ; 1073.74M  | 18446744073709551615 => 17179869184.00G ; 18446744073709.55M ",
        both);
    char small[4];
    EXPECT_EQ(write_byte_size(small, sizeof small, 2048), 6);
    EXPECT_STREQ(small, "2.0");
    EXPECT_EQ(write_count(small, sizeof small, 12), 3);
    EXPECT_EQ(captured_output([] {
                  print_byte_size(1536);
                  print_count(1500);
              }),
              "1.50K 1.50K ");
}

TEST(Format, KeyValueLines)
{
    use_zone("CST-8");
    be32 network;
    network = 0x01020304;
    EXPECT_EQ(captured_output([&] {
                  print_integer("count", -7);
                  print_integer("id ", INT32_MIN);
                  print_ipv4(" src=", 0x0A000001);
                  print_ipv4(" dst ", network);
                  print_ipv4("ip", network);
                  print_ipv6("ip6", ipv6);
                  print_ipv4_range("range", 0, 0xFFFFFFFF);
                  print_ipv4_range("net", 0x0A000000, 0x0A0000FF);
                  print_mac("mac", mac);
                  print_time("at", new_year);
                  print_date("day", new_year);
                  print_byte_size("bytes", 2048);
                  print_count("flows", 2048);
                  print_value("", "x");
              }),
              "count=-7\nid -2147483648\n src==10.0.0.1 dst 1.2.3.4ip=1.2.3.4\nip6=2001:db8::1\nrange=any\n"
              "net=10.0.0.0/24\nmac=00-1a-b2-3c-4d-ff\nat=2026-01-01/07:59:59\nday=2026-01-01\n"
              "bytes=2.00K \nflows=2.05K \n=x\n");
}

TEST(Format, JsonMembers)
{
    use_zone("CST-8");
    be32 network;
    network = 0x01020304;
    auto write = [&](Output* out) {
        json_signed(out, "id", -1);
        json_unsigned(out, ",n", 4294967295U);
        json_unsigned64(out, ",bytes", ~uint64_t{});
        json_string(out, ",name", "a\"%s");
        json_string(out, ",none", nullptr);
        json_ipv4(out, ",ip", 0x0A000001);
        json_ipv4(out, ",dst", network);
        json_ipv6(out, ",ip6", ipv6);
        json_ipv4_range(out, ",all", 0, 0xFFFFFFFF);
        json_ipv4_range(out, ",range", 1, 5);
        json_mac(out, ",mac", mac);
        json_time(out, ",at", new_year);
        json_date(out, ",day", new_year);
    };
    const std::string expected =
        R"("id":-1,"n":4294967295,"bytes":18446744073709551615,"name":"a"%s","none":"","ip":"10.0.0.1",)"
        R"("dst":"1.2.3.4","ip6":"2001:db8::1","all":"any","range":"0.0.0.1-0.0.0.5",)"
        R"("mac":"00-1a-b2-3c-4d-ff","at":"2026-01-01/07:59:59","day":"2026-01-01")";
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
    EXPECT_EQ(json_signed(&again, ",id", 12), 8);
}

} // namespace
