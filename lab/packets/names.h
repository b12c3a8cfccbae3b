#pragma once
// Names and versions that payloads reveal. Every reader takes the bytes that are there so far, trusts none of
// them, and gives texts that are printable ASCII without blanks, quotes or backslashes.
#include "lab/packets/packet.h"

#include <string>
#include <string_view>
#include <vector>

// What a reader of the head of a byte stream can say.
enum class Found { yes, no, need_more };

// The printable form of foreign text: other bytes become '_'. Messages keep blanks, quotes and backslashes.
std::string clean_word(std::string_view text, size_t most);
std::string clean_message(std::string_view text, size_t most);

struct DnsAnswer {
    std::string name;
    std::string alias; // of a CNAME record
    Address address;   // of an A or AAAA record
    bool has_address = false;
};
struct DnsMessage {
    bool is_response = false;
    std::string question; // "." is the root; empty: there is none
    uint16_t question_type = 0;
    std::vector<DnsAnswer> answers;
};
bool read_dns(Bytes payload, DnsMessage& message);
// Whether a payload at any port is one DNS message and nothing else: a question of the internet class in
// printable letters, flags as queries and responses have them, and records to the last byte.
bool is_dns_message(Bytes payload);
// The message at the head of a stream, whose length precedes it. `known`: the port says that it is DNS.
Found find_dns_message(Bytes head, bool known, Bytes& message);

struct NetbiosPacket {
    uint8_t operation = 0; // of the name service; 1 for a datagram
    std::string name;      // first-level encoding, 30 characters
};
bool read_netbios(Bytes payload, uint16_t port, NetbiosPacket& packet); // ports 137 and 138

struct TlsHello {
    uint16_t version = 0;
    std::string server_name;
};
Found read_tls_client_hello(Bytes head, TlsHello& hello);
Found read_tls_server_hello(Bytes head, TlsHello& hello);

struct HttpRequest {
    std::string method, agent;
    std::string host; // as it came: with its port, if it has one
};
struct HttpResponse {
    uint16_t status = 0;
    std::string server;
};
Found read_http_request(Bytes head, HttpRequest& request);
Found read_http_response(Bytes head, HttpResponse& response);

Found read_ssh_banner(Bytes head, std::string& banner);

// Without the priority in angle brackets.
std::string read_syslog(Bytes payload);
