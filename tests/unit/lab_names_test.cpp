// The readers of foreign payloads.
#include "lab/packets/names.h"
#include "lab/world/words.h"

#include <gtest/gtest.h>

namespace {

Bytes bytes_of(std::string_view text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

template <size_t N> std::string text(const char (&literal)[N])
{
    return {literal, N - 1};
}

// A response to A www.lab.example: an alias whose tail is a pointer, and the alias's address.
const std::string dns_response = text("\x12\x34\x81\x80\0\1\0\2\0\0\0\0"
                                      "\3www\3lab\7example\0\0\1\0\1"
                                      "\xc0\x0c\0\5\0\1\0\0\0\x3c\0\6\3web\xc0\x10"
                                      "\xc0\x2d\0\1\0\1\0\0\0\x3c\0\4\xcb\0\x71\x0a");

TEST(LabNames, DnsAnswersFollowTheirAliases)
{
    DnsMessage message;
    ASSERT_TRUE(read_dns(bytes_of(dns_response), message));
    EXPECT_TRUE(message.is_response);
    EXPECT_EQ(message.question, "www.lab.example");
    EXPECT_STREQ(dns_type_word(message.question_type), "A");
    ASSERT_EQ(message.answers.size(), 2u);
    EXPECT_EQ(message.answers[0].alias, "web.lab.example");
    EXPECT_EQ(message.answers[1].name, "web.lab.example");
    ASSERT_TRUE(message.answers[1].has_address);
    EXPECT_EQ(address_text(message.answers[1].address), "203.0.113.10");
}

TEST(LabNames, DnsPointersThatLeadAstrayAreRefused)
{
    const std::string head = text("\0\1\0\0\0\1\0\0\0\0\0\0");
    const std::string tails[] = {
        text("\xc0\x0c\0\1\0\1"),            // to itself
        text("\1a\xc0\x0c\0\1\0\1"),         // round and round
        text("\xc0\x40\0\1\0\1"),            // forward, past the end
        text("\xc0"),                        // half a pointer
        text("\77abc"),                      // a label longer than what is there
        text("\200a\0\0\1\0\1"),             // a kind of label that does not exist
        text("\3www\3lab\7example\0\0\1\0"), // the class cut off
        std::string(300, '\1'),              // a name without end
    };
    for (const std::string& tail : tails) {
        DnsMessage message;
        EXPECT_FALSE(read_dns(bytes_of(head + tail), message)) << tail;
    }
}

// At ports that say nothing only what is DNS to its last byte is taken for it.
TEST(LabNames, DnsIsKnownByItsContent)
{
    const std::string root = text("\0\1\1\0\0\1\0\0\0\0\0\0\0\0\2\0\1");
    DnsMessage message;
    ASSERT_TRUE(read_dns(bytes_of(root), message));
    EXPECT_EQ(message.question, ".");
    EXPECT_STREQ(dns_type_word(message.question_type), "NS");
    std::string other_class = root, update = root, answered = root, unprintable = dns_response;
    other_class[16] = 3;
    update[2] = 0x29;
    answered[7] = 1;
    unprintable[13] = 7;
    const struct {
        std::string payload;
        bool is_dns;
    } cases[] = {
        {root, true},
        {dns_response, true},
        {dns_response + "x", false},
        {dns_response.substr(0, dns_response.size() - 1), false},
        {std::string(40, '\0'), false},
        {other_class, false},
        {update, false},
        {answered, false}, // a query with a record
        {unprintable, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(is_dns_message(bytes_of(c.payload)), c.is_dns) << testing::PrintToString(c.payload);
        std::string stream = std::string{'\0', static_cast<char>(c.payload.size())} + c.payload;
        Bytes found;
        EXPECT_EQ(find_dns_message(bytes_of(stream), false, found), c.is_dns ? Found::yes : Found::no);
        EXPECT_EQ(find_dns_message(bytes_of(stream).first(5), false, found), Found::need_more);
    }
}

TEST(LabNames, ForeignTextIsMadePrintable)
{
    EXPECT_EQ(clean_word("a b\"c\\d\n\xff", 20), "a_b_c_d__");
    EXPECT_EQ(clean_word("abcdef", 3), "abc");
    EXPECT_EQ(clean_message("say \"hi\"\r\n\1", 255), "say \"hi\"\r\n_");
    EXPECT_EQ(read_syslog(bytes_of("<34>su: \"root\" failed")), "su: \"root\" failed");
    EXPECT_EQ(read_syslog(bytes_of("no priority > here")), "no priority > here");
}

// A ClientHello that names old.lab.example and offers TLS 1.2 and 1.3.
std::string client_hello()
{
    std::string extensions = text("\0\0\0\24\0\22\0\0\17old.lab.example\0\53\0\5\4\3\4\3\3");
    std::string body = text("\3\3") + std::string(32, 'r') + text("\0\0\2\x13\1\1\0") +
                       std::string{'\0', static_cast<char>(extensions.size())} + extensions;
    std::string message = text("\1\0\0") + static_cast<char>(body.size()) + body;
    return text("\x16\3\1\0") + static_cast<char>(message.size()) + message;
}

TEST(LabNames, AHelloIsReadOnceAllOfItIsThere)
{
    std::string hello = client_hello();
    for (size_t cut = 0; cut < hello.size(); cut++) {
        TlsHello part;
        EXPECT_EQ(read_tls_client_hello(bytes_of(hello).first(cut), part), Found::need_more) << cut;
    }
    TlsHello whole;
    ASSERT_EQ(read_tls_client_hello(bytes_of(hello), whole), Found::yes);
    EXPECT_EQ(whole.server_name, "old.lab.example");
    EXPECT_EQ(whole.version, 0x0304);
    TlsHello other;
    EXPECT_EQ(read_tls_server_hello(bytes_of(hello), other), Found::no);
    EXPECT_EQ(read_tls_client_hello(bytes_of("GET / HTTP/1.1\r\n"), other), Found::no);

    // The same message in two records.
    std::string message = hello.substr(5), split = text("\x16\3\1\0\x0a") + message.substr(0, 10) + text("\x16\3\1\0") +
                                                   static_cast<char>(message.size() - 10) + message.substr(10);
    TlsHello halves;
    ASSERT_EQ(read_tls_client_hello(bytes_of(split), halves), Found::yes);
    EXPECT_EQ(halves.server_name, "old.lab.example");
}

TEST(LabNames, HttpAndSshHeads)
{
    HttpRequest request;
    EXPECT_EQ(read_http_request(bytes_of("GE"), request), Found::need_more);
    EXPECT_EQ(read_http_request(bytes_of("GETTING"), request), Found::no);
    EXPECT_EQ(read_http_request(bytes_of("GET / HTTP/1.1\r\nHost: a\r\n"), request), Found::need_more);
    ASSERT_EQ(read_http_request(bytes_of("POST /x HTTP/1.1\r\nUser-agent:  tool/1 (x y)\r\n"
                                         "HOST:shop.example:8080\r\n\r\nHost: body"),
                                request),
              Found::yes);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.host, "shop.example:8080");
    EXPECT_EQ(request.agent, "tool/1");
    HttpResponse response;
    ASSERT_EQ(read_http_response(bytes_of("HTTP/1.0 404 Not Found\r\nServer: webd/2\r\n\r\n"), response), Found::yes);
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.server, "webd/2");
    std::string banner;
    EXPECT_EQ(read_ssh_banner(bytes_of("SSH-2.0-a_1"), banner), Found::need_more);
    ASSERT_EQ(read_ssh_banner(bytes_of("SSH-2.0-a_1 \"x\"\r\n"), banner), Found::yes);
    EXPECT_EQ(banner, "SSH-2.0-a_1__x_");
    for (auto [host, name] : {std::pair{"shop.example:8080", "shop.example"},
                              {"shop.example", "shop.example"},
                              {"[fd00::1]:80", "fd00::1"},
                              {"[fd00::1", "fd00::1"},
                              {"", ""}})
        EXPECT_EQ(name_of_host(host), name);
}

} // namespace
