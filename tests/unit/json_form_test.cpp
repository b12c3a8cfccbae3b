// What the JSON form makes of texts, and which texts it takes for objects.
#include "base/form/json_object.h"
#include "base/form/json_text.h"
#include "base/wire_types.h"

#include <gtest/gtest.h>
#include <string>

namespace {

std::string decoded(std::string_view text, Source source, Escapes escapes = Escapes::json)
{
    std::string out(text_growth * text.size(), '\0');
    out.resize(static_cast<size_t>(put_decoded(out.data(), text, source, escapes) - out.data()));
    return out;
}

TEST(JsonForm, TextsBecomeUtf8)
{
    using namespace std::literals;
    constexpr auto unknown = Source::unknown, gbk = Source::gbk;
    const struct {
        Source source;
        std::string_view text, expected;
    } cases[] = {
        {unknown, "plain /\x7f", "plain /\x7f"},
        {unknown, "\"\\\b\f\n\r\t\x01\x1f\0"sv, R"(\"\\\b\f\n\r\t\u0001\u001f\u0000)"},
        {unknown, "\xe4\xb8\xad\xf0\x9f\x98\x80", "\xe4\xb8\xad\xf0\x9f\x98\x80"},
        {unknown, "\xe2\x80\xa8\xe2\x80\xa9", R"(\u2028\u2029)"},
        {unknown, "\xd6\xd0\xb9\xfa", "\xe4\xb8\xad\xe5\x9b\xbd"},                 // not UTF-8: GBK
        {unknown, "\xd6\xd0\xe4\xb8\xad", "\xe4\xb8\xad\xe6\xb6\x93\xef\xbf\xbd"}, // as a whole
        {gbk, "\xe4\xb8\xad", "\xe6\xb6\x93\xef\xbf\xbd"},                         // GBK, even if it is UTF-8
        {gbk, "\xd6\xd0\xd6", "\xe4\xb8\xad\xef\xbf\xbd"},                         // half a pair
        {gbk, "\xd6\"}", R"(�\"})"},
        {gbk, "\x80\xff", "\xef\xbf\xbd\xef\xbf\xbd"},             // nothing is swallowed
        {gbk, "\xd6\x22\xd6\xd0", "\xef\xbf\xbd\\\"\xe4\xb8\xad"}, //
        {gbk, "\xfe\xfe", "\xef\xbf\xbd\xef\xbf\xbd"},             // a pair without a character
        {unknown, "\xc0\xaf", "\xe8\x9c\xa1"},
        {unknown, "\xed\xa0\x80", "\xe9\xa0\x8e\xef\xbf\xbd"}, // no UTF-8
    };
    for (const auto& c : cases)
        EXPECT_EQ(decoded(c.text, c.source), c.expected) << c.text;
    EXPECT_EQ(decoded("\"\xd6\xd0\n", gbk, Escapes::none), "\"\xe4\xb8\xad\n");
}

TEST(JsonForm, OneObjectAndNothingElse)
{
    for (const char* object : {"{}", " {\"a\" : [1, -0.5e+10, true, null, \"\\u00e9\\\"\\ud83d\\ude00\", {}]}\n", R"({"":0,"a":{"":0}})",
                               R"({"a":0,"A":0,"a ":0,"\u0061b":0})", R"({"n":123456789012345678901234567890})"})
        EXPECT_TRUE(is_json_object(object)) << object;
    for (const char* other : {"",
                              "[]",
                              "1",
                              "{",
                              "{}}",
                              "{} {}",
                              R"({"a"})",
                              R"({"a":})",
                              R"({"a":1,})",
                              R"({,"a":1})",
                              R"({'a':1})",
                              R"({"a":01})",
                              R"({"a":1.})",
                              R"({"a":.5})",
                              R"({"a":+1})",
                              R"({"a":-})",
                              R"({"a":1e})",
                              R"({"a":NaN})",
                              R"({"a":tru})",
                              "{\"a\":\"\n\"}",
                              R"({"a":"\x41"})",
                              R"({"a":"\u12"})",
                              R"({"a":"\ud800"})",
                              R"({"a":"\ud800\u0041"})",
                              R"({"a":"\udc00"})",
                              R"({"a":")",
                              R"({"a":"\)",
                              "{\"a\":\"\xff\"}",
                              R"({"a":[1,]})",
                              R"({"a":[1 2]})",
                              R"({"a":1,"a":2})",
                              R"({"a":1,"\u0061":2})",
                              R"({"b":{"x":1,"y":2,"x":3}})",
                              "{\"\xc3\xa9\":1,\"\\u00e9\":2}",
                              R"({"😀":1,"\ud83d\ude00":2})"})
        EXPECT_FALSE(is_json_object(other)) << other;
    auto nested = [](size_t levels) { return R"({"a":)" + std::string(levels - 1, '[') + std::string(levels - 1, ']') + "}"; };
    EXPECT_TRUE(is_json_object(nested(100)));
    EXPECT_FALSE(is_json_object(nested(101)));
}

} // namespace
