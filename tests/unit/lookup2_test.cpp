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

} // namespace
