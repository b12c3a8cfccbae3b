// What is typed into values.
#include "base/address.h"
#include "base/text.h"
#include "base/units.h"
#include "tests/support/cases.h"
#include "tests/support/printed_as.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

std::string ipv4_result(const std::string& text)
{
    uint32_t address;
    return parse_ipv4(text.c_str(), address) ? printed_as(Ipv4{address}) : "fails";
}

TEST(Parse, DottedAddresses)
{
    expect_cases("10.1 => 10.0.0.1 | 10.1.300 => 10.1.1.44 | 10.1.65535 => 10.1.255.255 | 10.1.65536 => fails | "
                 "10.16777215 => 10.255.255.255 | 10.16777216 => fails | 1.2.3.4 => 1.2.3.4 | 1.2.3.256 => fails | "
                 "4294967295 => 255.255.255.255 | 4294967297 => 0.0.0.1 | 1.4294967297 => fails | "
                 "4294967297.1 => fails | 010.0.0.09 => 10.0.0.9 | 256.1 => fails | 1.2.3.4.5 => fails | "
                 "1.2.3.4. => fails | 1..2 => 1.0.0.2 |  => 0.0.0.0 | -1 => fails |  1 => fails | "
                 "1.2.3.4  => fails | 0x10 => fails",
                 ipv4_result);
    EXPECT_EQ(ipv4_or_zero("1.2.3.4"), 0x01020304U);
    EXPECT_EQ(ipv4_or_zero("1.2.3.256"), 0U);
}

TEST(Parse, Ranges)
{
    auto result = [](std::string text) -> std::string {
        uint32_t low = 7, high = 9;
        bool parsed = parse_ipv4_range(text.data(), low, high);
        return (parsed ? "" : "fails ") + (low == 7 && high == 9 ? "" : std::string(printed_as(Ipv4{low})) + " " + printed_as(Ipv4{high}));
    };
    expect_cases("any => fails 0.0.0.0 255.255.255.255 | 10.0.0.0/8 => 10.0.0.0 10.255.255.255 | "
                 "10.9.8.7/8 => 10.0.0.0 10.255.255.255 | 10.0.0.5/32 => 10.0.0.5 10.0.0.5 | "
                 "200.0.0.1/1 => 128.0.0.0 255.255.255.255 | 10.0.0.9-10.0.0.1 => 10.0.0.9 10.0.0.1 | "
                 "10.0.0.7 => 10.0.0.7 10.0.0.7 | 10.0.0.0/0 => fails  | 10.0.0.0/33 => fails  | "
                 "10.0.0.0/x => fails  | 10.0.0.1/8-1.1.1.1 => fails  | ANY => fails ",
                 result);
}

TEST(Parse, AddressesOfBothFamilies)
{
    auto with_prefix = [](std::string text) -> std::string {
        AddressPrefix parsed;
        if (!parse_address_prefix(text.data(), parsed))
            return "fails";
        if (parsed.family == family_ipv4)
            return std::string("4 ") + printed_as(Ipv4{parsed.low}) + " " + printed_as(Ipv4{parsed.high});
        return std::string("6 ") + printed_as(Ipv6{parsed.ipv6}) + "/" + std::to_string(parsed.prefix);
    };
    expect_cases("10.0.0.0/24 => 4 10.0.0.0 10.0.0.255 | 0255.1 => 4 255.0.0.1 255.0.0.1 | 00255.1 => fails | "
                 "2001:DB8::1 => 6 2001:db8::1/128 | 2001:db8::1/64 => 6 2001:db8::1/64 | 2001:db8::1/129 => fails | "
                 "2001:db8::1/0 => fails | ::ffff:1.2.3.4 => 6 ::ffff:1.2.3.4/128 | ::1.2.3.4 => fails | "
                 "any => fails |  => fails",
                 with_prefix);
    auto by_colon = [](const std::string& text) -> std::string {
        uint8_t address[16];
        AddressFamily family = parse_address(text.c_str(), address);
        return family == family_none ? "fails" : (family == family_ipv6 ? "6 " : "4 ") + std::string(printed_as(Ipv6{address}));
    };
    expect_cases("1.2.3.4 => 4 102:304:: | 10.1 => fails | fe80::1 => 6 fe80::1 | 0 => 6 :: | 0.0.0.0 => 6 :: | "
                 "fe80 => fails | :1 => fails",
                 by_colon);
}

TEST(Parse, Macs)
{
    auto result = [](const std::string& text) -> std::string {
        uint8_t mac[6];
        return parse_mac(text.c_str(), mac) ? printed_as(MacAddress{mac}) : "fails";
    };
    expect_cases("0:1:2:3:4:5 => 00-01-02-03-04-05 | 00-11-22-33-44-55 => 00-11-22-33-44-55 | "
                 "a.bB.c.d.e.1ff => 0a-bb-0c-0d-0e-ff | 0:1:2:3:4:5:6 => 00-01-02-03-04-05 | 0-1:2:3:4:5 => fails | "
                 "001:1:2:3:4:5 => fails | 0:1:2:3:4 => fails | 0:1:2:3:4:g => fails | 001122334455 => fails | "
                 "1 => fails |  => fails",
                 result);
}

TEST(Parse, Sizes)
{
    expect_cases("1.5G => 1 | 2 k => 2048 | 2  k => 2 |   3M => 3145728 | 4g => 4294967296 | 0x10K => 16384 | 010 => 8 | "
                 "-5 => 0 | \t-5 => 0 | K => 0 |  => 0 | 7T => 7 | 18446744073709551615 => 18446744073709551615 | "
                 "18446744073709551616 K => 0",
                 [](const std::string& text) { return std::to_string(parse_size(text.c_str())); });
}

TEST(Parse, CleansAndEscapesText)
{
    char dirty[] = "\r\n a\tb  \t", blank[] = " \t ", mixed[] = "  a b\tc", chinese[] = "ab\xD6\xD0";
    EXPECT_STREQ(clean_text(dirty), "a b");
    EXPECT_STREQ(clean_text(blank), "");
    EXPECT_STREQ(printable_text(mixed), "a b");
    EXPECT_STREQ(printable_text(chinese), "ab");

    char token[40], tight[6];
    EXPECT_EQ(escape_token("a\tb\nc\fd\re\x18 (x)%", token), 21U);
    EXPECT_STREQ(token, "a%Tb%Nc%Cd%Re%8%S[x]%");
    EXPECT_EQ(escape_token("abcd e", tight), 4U); // no half escape
    EXPECT_STREQ(tight, "abcd");
}

TEST(Parse, ChecksUtf8)
{
    for (const char* good :
         {"", "abc", "\xC3\xA9", "\xE4\xB8\xADx", "\xF0\x9F\x98\x80", "\xF8\x80\x80\x80\x80", "\xFD\x80\x80\x80\x80\x80"})
        EXPECT_TRUE(is_utf8(good, strlen(good))) << good;
    for (const char* bad : {"\x80", "a\xBF", "\xC3", "\xC3z", "\xD6\xD0", "\xE4\xB8", "\xE4\xB8z", "\xF0\x9F\x98", "\xF8\x80\x80\x80",
                            "\xFC\x80\x80\x80\x80", "\xFE", "\xFF"})
        EXPECT_FALSE(is_utf8(bad, strlen(bad))) << bad;
    EXPECT_FALSE(is_utf8("a\xC3\xA9", 2));
    EXPECT_TRUE(is_utf8("a\xC3\xA9", 1));
    EXPECT_TRUE(is_utf8("a\0\x80", 3)); // ends at the NUL
}

} // namespace
