// The conversions against the C library's converter, code by code, and their limits.
#include "base/gb2312.h"
#include "tests/support/captured_output.h"

#include <cstring>
#include <iconv.h>

namespace {

std::string through_iconv(const char* to, const char* from, std::string text)
{
    iconv_t converter = iconv_open(to, from);
    char out[16], *in_at = text.data(), *out_at = out;
    size_t in_left = text.size(), out_left = sizeof out;
    bool converted = iconv(converter, &in_at, &in_left, &out_at, &out_left) == 0;
    iconv_close(converter);
    return converted ? std::string(out, out_at) : "";
}

using Conversion = bool(char*, int, const char*, int);

// Through a cleared buffer of `size` bytes, cut where the untouched rest begins.
std::string converted(Conversion convert, const std::string& text, int size = 4096)
{
    auto buffer = std::make_unique<char[]>(static_cast<size_t>(size)); // exact, for the sanitizer
    captured_output([&] { EXPECT_TRUE(convert(buffer.get(), size, text.data(), static_cast<int>(text.size()))); });
    std::string out(buffer.get(), static_cast<size_t>(size));
    out.resize(out.find_last_not_of('\0') + 1);
    return out;
}

TEST(Gb2312, EveryPairIsTheConvertersCharacter)
{
    int mapped = 0;
    for (int first = 0xA1; first <= 0xFF; first++) {
        for (int second = 0xA1; second <= 0xFF; second++) {
            std::string pair{static_cast<char>(first), static_cast<char>(second)};
            std::string expected = through_iconv("UTF-8", "EUC-CN", pair);
            ASSERT_EQ(converted(gb2312_to_utf8, pair + "z", 8), expected.empty() ? "" : expected + "z") << std::hex << first << second;
            mapped += !expected.empty();
        }
    }
    EXPECT_EQ(mapped, 7445);
}

TEST(Gb2312, EveryCharacterHasTheConvertersCode)
{
    for (unsigned c = 129; c < 0x10000; c++) {
        if (c >= 0xD800 && c < 0xE000)
            continue;
        std::string wide{static_cast<char>(c), static_cast<char>(c >> 8)};
        std::string utf8 = through_iconv("UTF-8", "UTF-16LE", wide);
        std::string code = through_iconv("EUC-CN", "UTF-16LE", wide);
        char out[4] = {'?', '?', '?', '?'};
        ASSERT_TRUE(utf8_to_gb2312(out, sizeof out, utf8.data(), static_cast<int>(utf8.size())));
        ASSERT_EQ(std::string(out, 4), code.empty() ? "????" : code + "??") << std::hex << c;
    }
}

TEST(Gb2312, BytesThatStandForThemselvesAndBytesThatEndTheText)
{
    for (int byte = 0; byte < 256; byte++) {
        std::string itself = byte == 128 ? "\xC2\x80" : std::string(1, static_cast<char>(byte));
        EXPECT_EQ(converted(gb2312_to_utf8, {static_cast<char>(byte)}), byte >= 32 && byte <= 128 ? itself : "");
    }
    EXPECT_EQ(converted(gb2312_to_utf8, "ab\tcd"), "ab");
    EXPECT_EQ(converted(gb2312_to_utf8, "ab\xD6"), "ab"); // half a pair
    EXPECT_EQ(converted(gb2312_to_utf8, "\xD6\x50z"), "\xE4\xB8\xAD"
                                                      "z"); // only seven bits of the second count
    EXPECT_EQ(converted(utf8_to_gb2312, "\x7F\xC2\x80\t"), "\x7F\x80\t");
    EXPECT_EQ(converted(utf8_to_gb2312, "a\xC2\x80"
                                        "b"),
              "a\x80"
              "b");
    EXPECT_EQ(converted(utf8_to_gb2312, "ab\xD6z"), "ab");
    EXPECT_EQ(converted(utf8_to_gb2312, "a\xF0\x94\xB8\x80"), "a\xD2\xBB"); // 16 bits of U+14E00
}

TEST(Gb2312, LimitsOfCharactersAndOutput)
{
    EXPECT_EQ(converted(gb2312_to_utf8, std::string(1000, 'a')), std::string(256, 'a'));
    EXPECT_EQ(converted(utf8_to_gb2312, std::string(1000, 'a')), std::string(511, 'a'));
    EXPECT_EQ(converted(gb2312_to_utf8, "a\xD6\xD0", 3), "a");
    EXPECT_EQ(converted(gb2312_to_utf8, "a\xD6\xD0", 4), "a\xE4\xB8\xAD");
    EXPECT_EQ(converted(utf8_to_gb2312, "a\xE4\xB8\xAD", 2), "a");
    EXPECT_EQ(converted(utf8_to_gb2312, "a\xE4\xB8\xAD", 3), "a\xD6\xD0");
    char out[4] = {};
    for (Conversion* convert : {gb2312_to_utf8, utf8_to_gb2312}) {
        EXPECT_FALSE(convert(nullptr, 4, "a", 1));
        EXPECT_FALSE(convert(out, 0, "a", 1));
        EXPECT_FALSE(convert(out, 4, nullptr, 1));
        EXPECT_FALSE(convert(out, 4, "a", -1));
    }
    EXPECT_EQ(out[0], '\0');
}

TEST(Gb2312, TheEncoderTracesAndSkipsWhatItCannotWrite)
{
    char out[16] = "...............";
    const uint32_t characters[] = {'a', 0x4E2D, 0x1F600, 0x200000, 0x4000000};
    size_t used = 0;
    EXPECT_EQ(captured_output([&] { used = encode_utf8(characters, out); }),
              "w=97\nw=97\nlen=1\nlen=1\nw=20013\nw=20013\nlen=3\nlen=3\nw=128512\nw=128512\nlen=4\nlen=4\n"
              "w=2097152\nw=2097152\nlen=5\nlen=5\nw=67108864\nw=67108864\nlen=6\nlen=6\n");
    EXPECT_EQ(used, 13U); // the last one does not fit
    EXPECT_EQ(std::string(out, 15), "a\xE4\xB8\xAD\xF0\x9F\x98\x80.......");
    std::vector<uint32_t> many(2000, 'a');
    std::vector<char> room(2000);
    captured_output([&] { used = encode_utf8(many, room); });
    EXPECT_EQ(used, 1024U);
}

} // namespace
