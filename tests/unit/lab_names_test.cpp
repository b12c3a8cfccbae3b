// The readers of foreign payloads.
#include "lab/packets/names.h"
#include "lab/world/words.h"

#include <gtest/gtest.h>

namespace {

using namespace std::literals;

Bytes bytes_of(std::string_view text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

// A response to A www.lab.example: an alias whose tail is a pointer, and the alias's address.
const std::string dns_response = "\x12\x34\x81\x80\0\1\0\2\0\0\0\0"
                                 "\3www\3lab\7example\0\0\1\0\1"
                                 "\xc0\x0c\0\5\0\1\0\0\0\x3c\0\6\3web\xc0\x10"
                                 "\xc0\x2d\0\1\0\1\0\0\0\x3c\0\4\xcb\0\x71\x0a"s;

TEST(LabNames, DnsPointersAreFollowedUnlessTheyLeadAstray)
{
    DnsMessage message;
    ASSERT_TRUE(read_dns(bytes_of(dns_response), message));
    EXPECT_EQ(message.question, "www.lab.example");
    EXPECT_EQ(message.answers.at(0).alias, "web.lab.example");
    EXPECT_EQ(message.answers.at(1).name, "web.lab.example");
    EXPECT_EQ(address_text(message.answers.at(1).address), "203.0.113.10");
    for (const std::string& tail : {
             "\xc0\x0c\0\1\0\1"s,            // to itself
             "\1a\xc0\x0c\0\1\0\1"s,         // round and round
             "\xc0\x40\0\1\0\1"s,            // forward, past the end
             "\xc0"s,                        // half a pointer
             "\77abc"s,                      // a label longer than what is there
             "\200a\0\0\1\0\1"s,             // a kind of label that does not exist
             "\3www\3lab\7example\0\0\1\0"s, // the class cut off
             std::string(300, '\1'),         // a name without end
         })
        EXPECT_FALSE(read_dns(bytes_of("\0\1\0\0\0\1\0\0\0\0\0\0"s + tail), message)) << tail;
}

// At ports that say nothing only what is DNS to its last byte is taken for it.
TEST(LabNames, DnsIsKnownByItsContent)
{
    const std::string root = "\0\1\1\0\0\1\0\0\0\0\0\0\0\0\2\0\1"s;
    auto with = [](std::string payload, size_t at, char value) {
        payload[at] = value;
        return payload;
    };
    const std::pair<std::string, bool> cases[] = {
        {root, true},
        {dns_response, true},
        {dns_response + "x", false},
        {dns_response.substr(0, dns_response.size() - 1), false},
        {with(root, 16, 3), false},         // another class
        {with(root, 2, 0x29), false},       // an update
        {with(root, 7, 1), false},          // a query with a record
        {with(dns_response, 13, 7), false}, // a name that cannot be printed
    };
    for (const auto& [payload, is_dns] : cases) {
        EXPECT_EQ(is_dns_message(bytes_of(payload)), is_dns) << testing::PrintToString(payload);
        std::string stream = std::string{'\0', static_cast<char>(payload.size())} + payload;
        Bytes found;
        EXPECT_EQ(find_dns_message(bytes_of(stream), false, found), is_dns ? Found::yes : Found::no);
        EXPECT_EQ(find_dns_message(bytes_of(stream).first(5), false, found), Found::need_more);
    }
    DnsMessage message;
    EXPECT_TRUE(read_dns(bytes_of(root), message) && message.question == "." && message.question_type == 2);
}

// A ClientHello that names old.lab.example and offers TLS 1.2 and 1.3, whole and in two records.
TEST(LabNames, AHelloIsReadOnceAllOfItIsThere)
{
    const std::string body = "\3\3" + std::string(32, 'r') +
                             "\0\0\2\x13\1\1\0"
                             "\0\x21\0\0\0\x14\0\x12\0\0\x0fold.lab.example\0\x2b\0\5\4\3\4\3\3"s;
    const std::string message = "\1\0\0"s + static_cast<char>(body.size()) + body;
    auto record = [](const std::string& part) { return "\x16\3\1\0"s + static_cast<char>(part.size()) + part; };
    for (const std::string& hello : {record(message), record(message.substr(0, 10)) + record(message.substr(10))}) {
        TlsHello read;
        for (size_t cut = 0; cut < hello.size(); cut++)
            EXPECT_EQ(read_tls_client_hello(bytes_of(hello).first(cut), read), Found::need_more) << cut;
        EXPECT_EQ(read_tls_client_hello(bytes_of(hello), read), Found::yes);
        EXPECT_EQ(read.server_name, "old.lab.example");
        EXPECT_EQ(read.version, 0x0304);
        EXPECT_EQ(read_tls_server_hello(bytes_of(hello), read), Found::no);
    }
}

TEST(LabNames, HeadsAndTextsAreReadAsFarAsTheyCount)
{
    HttpRequest request;
    EXPECT_EQ(read_http_request(bytes_of("GETTING"), request), Found::no);
    EXPECT_EQ(read_http_request(bytes_of("GET / HTTP/1.1\r\nHost: a\r\n"), request), Found::need_more);
    const char* post = "POST /x HTTP/1.1\r\nUser-agent:  tool/1 (x y)\r\nHOST:shop.example:8080\r\n\r\nHost: body";
    EXPECT_EQ(read_http_request(bytes_of(post), request), Found::yes);
    EXPECT_EQ(request.method + ' ' + request.host + ' ' + request.agent, "POST shop.example:8080 tool/1");
    std::string banner;
    EXPECT_EQ(read_ssh_banner(bytes_of("SSH-2.0-a_1"), banner), Found::need_more);
    EXPECT_EQ(read_ssh_banner(bytes_of("SSH-2.0-a_1 \"x\"\r\n"), banner), Found::yes);
    EXPECT_EQ(banner, "SSH-2.0-a_1__x_");
    EXPECT_EQ(name_of_host("shop.example:8080"), "shop.example");
    EXPECT_EQ(name_of_host("[fd00::1]:80"), "fd00::1");
    EXPECT_EQ(name_of_host("[fd00::1"), "fd00::1");
    EXPECT_EQ(clean_word("a b\"c\\\n\377cut", 8), "a_b_c___");
    EXPECT_EQ(clean_message("say \"hi\"\r\n\1", 255), "say \"hi\"\r\n_");
    EXPECT_EQ(read_syslog(bytes_of("<34>su: \"root\" failed")), "su: \"root\" failed");
    EXPECT_EQ(read_syslog(bytes_of("no priority > here")), "no priority > here");
}

} // namespace
