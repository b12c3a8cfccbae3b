// The two hello messages that open a TLS handshake.
#include "lab/packets/names.h"

#include <algorithm>

namespace {

constexpr size_t record_header = 5;
constexpr uint8_t record_of_handshake = 22;
constexpr uint16_t extension_server_name = 0, extension_versions = 43;

// Takes fields off the front of a message; once something is missing everything is, and `whole` is false.
struct Reader {
    Bytes rest;
    bool whole = true;

    Bytes take(size_t length)
    {
        if (length > rest.size()) {
            whole = false;
            rest = {};
            return {};
        }
        Bytes taken = rest.first(length);
        rest = rest.subspan(length);
        return taken;
    }
    uint8_t number8()
    {
        Bytes taken = take(1);
        return whole ? taken[0] : uint8_t{0};
    }
    uint16_t number16()
    {
        Bytes taken = take(2);
        return whole ? read16(taken, 0) : uint16_t{0};
    }
    Bytes take_counted8() { return take(number8()); }
    Bytes take_counted16() { return take(number16()); }
};

// The body of the handshake message of `type` at the head of the stream. It may span several records.
Found read_handshake(Bytes head, uint8_t type, std::vector<uint8_t>& body)
{
    body.clear();
    while (true) {
        if ((!head.empty() && head[0] != record_of_handshake) || (head.size() > 1 && head[1] != 3))
            return Found::no;
        if (head.size() < record_header)
            return Found::need_more;
        size_t length = read16(head, 3), there = std::min(length, head.size() - record_header);
        Bytes part = head.subspan(record_header, there);
        body.insert(body.end(), part.begin(), part.end());
        if (!body.empty() && body[0] != type)
            return Found::no;
        if (body.size() >= 4) {
            size_t wanted = static_cast<size_t>(body[1]) << 16 | read16(body, 2);
            if (wanted > 16384)
                return Found::no;
            if (body.size() - 4 >= wanted) {
                body = {body.begin() + 4, body.begin() + 4 + static_cast<ptrdiff_t>(wanted)};
                return Found::yes;
            }
        }
        if (there < length || length == 0)
            return length == 0 ? Found::no : Found::need_more;
        head = head.subspan(record_header + length);
        if (head.empty())
            return Found::need_more;
    }
}

void read_server_name(Bytes extension, TlsHello& hello)
{
    Reader names{extension};
    Reader list{names.take_counted16()};
    uint8_t kind = list.number8();
    Bytes name = list.take_counted16();
    if (list.whole && kind == 0)
        hello.server_name = clean_word({reinterpret_cast<const char*>(name.data()), name.size()}, 63);
}

// A client lists what it offers, a server names the one it chose; the highest counts.
void read_versions(Bytes extension, bool from_client, TlsHello& hello)
{
    Reader reader{extension};
    Reader versions{from_client ? reader.take_counted8() : reader.rest};
    while (versions.rest.size() >= 2) {
        uint16_t version = versions.number16();
        if (version >= 0x0301 && version <= 0x0304)
            hello.version = std::max(hello.version, version);
    }
}

void read_hello(Bytes body, bool from_client, TlsHello& hello)
{
    Reader reader{body};
    hello.version = reader.number16();
    reader.take(32);        // random
    reader.take_counted8(); // session
    if (from_client) {
        reader.take_counted16(); // ciphers
        reader.take_counted8();  // compressions
    } else {
        reader.take(3);
    }
    Reader extensions{reader.take_counted16()};
    while (extensions.whole && !extensions.rest.empty()) {
        uint16_t type = extensions.number16();
        Bytes extension = extensions.take_counted16();
        if (extensions.whole && type == extension_server_name && from_client)
            read_server_name(extension, hello);
        else if (extensions.whole && type == extension_versions)
            read_versions(extension, from_client, hello);
    }
}

Found read_tls_hello(Bytes head, bool from_client, TlsHello& hello)
{
    std::vector<uint8_t> body;
    Found found = read_handshake(head, from_client ? 1 : 2, body);
    if (found == Found::yes)
        read_hello(body, from_client, hello);
    return found;
}

} // namespace

Found read_tls_client_hello(Bytes head, TlsHello& hello)
{
    return read_tls_hello(head, true, hello);
}

Found read_tls_server_hello(Bytes head, TlsHello& hello)
{
    return read_tls_hello(head, false, hello);
}
