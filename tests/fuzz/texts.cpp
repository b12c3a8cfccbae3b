// Doors that texts stand before: what is typed, and what comes in one encoding and goes out in another.
#include "tests/fuzz/fuzz.h"

#include "base/address.h"
#include "base/form/json_object.h"
#include "base/form/json_text.h"
#include "base/gb2312.h"
#include "base/text.h"
#include "base/units.h"
#include "link/control_socket.h"
#include "link/places.h"

#include <cstdlib>
#include <string>

void addresses(Input& input)
{
    const size_t room = 1 + input.number();
    const std::string original(input.text());
    auto text = exactly(original), cut = exactly(original), whole = exactly(original), socket = exactly(original);
    uint32_t address = 0, low = 1, high = 0;
    uint8_t bytes[16], mac[6];
    const bool parsed = parse_ipv4(text.get(), address);
    expect(!parsed || original.find_first_not_of("0123456789.") == original.npos, "an IPv4 address of other characters");
    expect(parse_address(text.get(), bytes) != family_ipv4 || parsed, "parsers that differ");
    parse_mac(text.get(), mac);
    parse_size(text.get());
    is_utf8(text.get(), original.size());
    std::unique_ptr<char[]> token(new char[room]);
    const size_t length = escape_token(original, {token.get(), room});
    expect(strnlen(token.get(), room) == length && strpbrk(token.get(), "\t\n\f\r\x18 ()") == nullptr, "an argument of two words");
    const bool ordered = parse_ipv4_range(text.get(), low, high) && original.find('-') == original.npos;
    expect(!ordered || low <= high, "a range without addresses");
    AddressPrefix prefix;
    const bool ipv6 = parse_address_prefix(cut.get(), prefix) && prefix.family == family_ipv6;
    expect(!ipv6 || (prefix.prefix >= 1 && prefix.prefix <= 128), "a prefix of no length");
    const std::string_view clean = clean_text(whole.get());
    expect(clean.find_first_of("\t\r\n") == clean.npos, "a text that is not clean");
    expect(clean.empty() || (clean.front() != ' ' && clean.back() != ' '), "a text with blanks around it");
    printable_text(whole.get());
    int port = 0;
    classify_address(socket.get(), port);
    setenv("VIGIL_ROOT", original.c_str(), 1);
    if (root_fault() == nullptr)
        placed(place::capture_ring);
    unsetenv("VIGIL_ROOT");
}

void texts(Input& input)
{
    const int room = input.number();
    const std::string_view bytes = input.rest();
    const auto text = exactly(bytes);
    const auto size = static_cast<int>(bytes.size());
    for (auto* convert : {gb2312_to_utf8, utf8_to_gb2312}) {
        std::unique_ptr<char[]> out(new char[static_cast<size_t>(room)]);
        expect(convert(out.get(), room, text.get(), size) == (room > 0 && size > 0), "a conversion that is none");
    }
    for (Source source : {Source::gbk, Source::unknown})
        for (Escapes escapes : {Escapes::json, Escapes::none}) {
            std::unique_ptr<char[]> out(new char[text_growth * bytes.size()]);
            const char* end = put_decoded(out.get(), bytes, source, escapes);
            const std::string decoded(out.get(), static_cast<size_t>(end - out.get()));
            expect(is_strict_utf8(decoded), "what is decoded is not UTF-8");
            expect(escapes == Escapes::none || is_json_object("{\"\":\"" + decoded + "\"}"), "no string of JSON");
        }
    is_json_object(bytes);
}
