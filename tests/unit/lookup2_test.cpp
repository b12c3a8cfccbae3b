#include "base/lookup2.h"

#include <gtest/gtest.h>
#include <string_view>

namespace {

// Known answers of the published function, every length of the last block among them; made with the
// lookup2 module of the Comprehensive Perl Archive Network (bytes above 127: with a second writing of the
// published text, as that module takes them for signed).
TEST(Lookup2, GivesThePublishedValues)
{
    const struct {
        std::string_view key;
        uint32_t hash;
    } cases[] = {
        {"", 0xbd49d10d},
        {"a", 0x29eec818},
        {"abc", 0x251e4793},
        {"abcdefg", 0xb9e6762c},
        {"abcdefgh", 0x053f775e},
        {"www.example", 0x8f3cc24d},
        {"www.example.", 0x168dcc99},
        {"www.example.com", 0x64cb0e7c},
        {"a.very.long.host.name.example.com", 0xa5bdfca1},
        {"\xff\xfe\x80\x81\x90\xff\xfe\x80\x81\x90\xff\xfe", 0x1a4c65c7},
    };
    for (const auto& c : cases)
        EXPECT_EQ(lookup2(c.key.data(), c.key.size(), 0), c.hash) << c.key;
}

TEST(Lookup2, OnlySixteenBytesOfATextKeyCount)
{
    EXPECT_EQ(text_hash("0123456789abcdefX", 17), text_hash("0123456789abcdefYZ", 18));
    EXPECT_NE(text_hash("0123456789abcdeX", 16), text_hash("0123456789abcdeY", 16));
    EXPECT_EQ(text_hash("short", 5), lookup2("short", 5, 0x20120303));
}

TEST(Lookup2, NumericKeysFoldAsStated)
{
    EXPECT_EQ(ipv4_hash(0x0a000001) & 4095, 0xa01U);
    EXPECT_EQ(ipv4_hash(0xffffffff) & 4095, 0xffeU); // 0xffff + 0xffff = 0x1fffe
    // Words 0x04030201 and 0x14131211 give 0x18161412, reversed 0x12141618; 0x1214 ^ 0x1618 is 0x040c.
    const unsigned char address[16] = {1, 2, 3, 4, 99, 99, 99, 99, 0x11, 0x12, 0x13, 0x14, 99, 99, 99, 99};
    EXPECT_EQ(address_hash(address), 0x040cU);
}

} // namespace
