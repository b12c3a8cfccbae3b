// Name service messages: DNS and NetBIOS.
#include "lab/packets/names.h"

#include <algorithm>

namespace {

constexpr size_t header_size = 12;
constexpr int jumps_max = 32; // compression pointers in one name
constexpr size_t name_max = 255;
constexpr int answers_max = 256;
constexpr uint16_t type_a = 1, type_cname = 5, type_aaaa = 28;

// Reads the name at `at` and moves `at` behind it. A pointer only ever leads to an earlier place.
bool read_name(Bytes message, size_t& at, std::string& name)
{
    size_t here = at, after = 0, limit = message.size();
    name.clear();
    for (int jumps = 0; here < message.size();) {
        uint8_t length = message[here];
        if (length == 0) {
            at = after != 0 ? after : here + 1;
            if (name.empty())
                name = '.'; // the root
            return true;
        }
        if (length >= 0xc0) {
            if (message.size() - here < 2 || ++jumps > jumps_max)
                return false;
            size_t target = read16(message, here) & 0x3fff;
            if (target >= here || target >= limit)
                return false;
            after = after != 0 ? after : here + 2;
            limit = here = target;
            continue;
        }
        if (length >= 0x40 || message.size() - here - 1 < length || name.size() + length + 1 > name_max)
            return false;
        if (!name.empty())
            name += '.';
        name.append(reinterpret_cast<const char*>(&message[here + 1]), length);
        here += 1u + length;
    }
    return false;
}

bool read_answer(Bytes message, size_t& at, DnsAnswer& answer)
{
    if (!read_name(message, at, answer.name) || message.size() - at < 10)
        return false;
    uint16_t type = read16(message, at), length = read16(message, at + 8);
    size_t data = at + 10;
    if (message.size() - data < length)
        return false;
    at = data + length;
    answer.has_address = (type == type_a && length == 4) || (type == type_aaaa && length == 16);
    if (answer.has_address)
        answer.address = address_from(&message[data], type == type_aaaa);
    else if (type == type_cname && !read_name(message, data, answer.alias))
        return false;
    answer.name = clean_word(answer.name, 63);
    answer.alias = clean_word(answer.alias, 63);
    return true;
}

bool skip_record(Bytes message, size_t& at)
{
    std::string name;
    if (!read_name(message, at, name) || message.size() - at < 10)
        return false;
    size_t length = read16(message, at + 8);
    at += 10;
    if (message.size() - at < length)
        return false;
    at += length;
    return true;
}

// Whether the flags and counts are those of a standard query for one name, or of a response to one.
bool is_dns_header(Bytes header)
{
    bool response = (header[2] & 0x80) != 0;
    uint16_t records = read16(header, 6) | read16(header, 8);
    bool flags = (header[2] & 0x78) == 0 && (header[3] & 0x40) == 0 && (response || (header[3] & 0x8f) == 0);
    return flags && read16(header, 4) == 1 && (response || records == 0) && read16(header, 10) <= 64;
}

} // namespace

bool is_dns_message(Bytes payload)
{
    size_t at = header_size;
    std::string name;
    if (payload.size() < header_size || !is_dns_header(payload) || !read_name(payload, at, name) ||
        payload.size() - at < 4)
        return false;
    bool printable = std::ranges::all_of(name, [](char c) { return c > ' ' && c <= '~'; });
    uint16_t type = read16(payload, at), klass = read16(payload, at + 2);
    at += 4;
    int records = read16(payload, 6) + read16(payload, 8) + read16(payload, 10);
    for (int i = 0; i < records; i++)
        if (!skip_record(payload, at))
            return false;
    return printable && type != 0 && klass == 1 && at == payload.size();
}

Found find_dns_message(Bytes head, bool known, Bytes& message)
{
    constexpr size_t prefix = 2;
    if (head.size() < prefix + header_size)
        return Found::need_more;
    size_t length = read16(head, 0);
    head = head.subspan(prefix);
    message = head.first(std::min(head.size(), length));
    if (!known && (length < header_size || !is_dns_header(head)))
        return Found::no;
    if (head.size() < length)
        return Found::need_more;
    return known || is_dns_message(message) ? Found::yes : Found::no;
}

bool read_dns(Bytes payload, DnsMessage& message)
{
    if (payload.size() < header_size)
        return false;
    uint16_t questions = read16(payload, 4), answers = read16(payload, 6);
    message.is_response = (payload[2] & 0x80) != 0;
    size_t at = header_size;
    for (int i = 0; i < questions; i++) {
        std::string name;
        if (!read_name(payload, at, name) || payload.size() - at < 4)
            return false;
        if (i == 0) {
            message.question = clean_word(name, 63);
            message.question_type = read16(payload, at);
        }
        at += 4;
    }
    for (int i = 0; i < answers && i < answers_max; i++) {
        DnsAnswer answer;
        if (!read_answer(payload, at, answer))
            break; // what came before it stands
        message.answers.push_back(std::move(answer));
    }
    return questions > 0 || !message.answers.empty();
}

bool read_netbios(Bytes payload, uint16_t port, NetbiosPacket& packet)
{
    size_t at = port == 138 ? 14 : header_size; // the length byte of the first name
    if (payload.size() < at + 33 || payload[at] != 32)
        return false;
    packet.operation = port == 138 ? uint8_t{1} : static_cast<uint8_t>(payload[2] >> 3 & 15);
    packet.name = clean_word({reinterpret_cast<const char*>(&payload[at + 1]), 30}, 30);
    return true;
}
