#include "common/oui.h"

#include "base/address.h"
#include "base/document.h"
#include "link/places.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <nettle/aes.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t piece = 4096;
constexpr size_t slack = 1024;               // zero bytes behind the text
constexpr off_t file_max = off_t{256} << 20; // more than that cannot be a vendor list

// Entries are handed out from the lowest; those of earlier pools stay in the buckets.
struct Pool {
    OuiEntry* entries;
    size_t used;
};

Pool pool;
OuiEntry* buckets[32768];

constexpr uint8_t hex_digit(char c)
{
    return static_cast<uint8_t>(c >= '0' && c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
}

consteval OuiKey parse_key(std::string_view digits)
{
    OuiKey key{};
    for (size_t i = 0; i < key.size(); i++)
        key[i] = static_cast<uint8_t>(hex_digit(digits[2 * i]) << 4 | hex_digit(digits[2 * i + 1]));
    return key;
}

constexpr OuiKey build_key = parse_key(VIGIL_OUI_KEY);

OuiEntry*& bucket_of(const uint8_t* prefix)
{
    return buckets[(prefix[1] & 0x7F) << 8 | prefix[2]];
}

// Letters beyond f count on from 16, as the database's maker has them; anything else is 0.
consteval std::array<uint8_t, 256> lax_digits()
{
    std::array<uint8_t, 256> values{};
    for (uint8_t i = 0; i < 26; i++)
        values['a' + i] = values['A' + i] = static_cast<uint8_t>(10 + i);
    for (uint8_t i = 0; i < 10; i++)
        values['0' + i] = i;
    return values;
}

constexpr std::array<uint8_t, 256> lax_digit = lax_digits();

// The first two characters of each of the first three pieces between ":"; what is missing counts as 0.
void read_prefix(std::string_view text, uint8_t (&prefix)[3])
{
    size_t at = 0;
    for (uint8_t& byte : prefix) {
        size_t begin = at;
        while (at < text.size() && text[at] != ':')
            at++;
        unsigned first = at > begin ? lax_digit[static_cast<uint8_t>(text[begin])] : 0;
        unsigned second = at > begin + 1 ? lax_digit[static_cast<uint8_t>(text[begin + 1])] : 0;
        byte = static_cast<uint8_t>(first * 16 + second);
        at += at < text.size();
    }
}

// "00:1A:2B Vendor name". The first record of a prefix wins; a full pool drops the line.
void read_record(std::string_view line)
{
    size_t space = line.find(' ');
    if (space == line.npos || space + 1 == line.size() || pool.used == oui_entries_max)
        return;
    uint8_t prefix[3];
    read_prefix(line.substr(0, space), prefix);
    if (oui_find(prefix) != nullptr)
        return;
    std::string_view vendor = line;
    vendor.remove_prefix(space + 1);
    OuiEntry* entry = &pool.entries[pool.used++]; // zero-filled
    memcpy(entry->prefix, prefix, sizeof prefix);
    memcpy(entry->vendor, vendor.data(),
           vendor.size() < sizeof entry->vendor ? vendor.size() : sizeof entry->vendor - 1);
    OuiEntry*& head = bucket_of(prefix);
    entry->next = head;
    head = entry;
}

// Where `c` stands next; `end` when it does not.
const char* next_of(char c, const char* at, const char* end)
{
    const void* found = memchr(at, c, static_cast<size_t>(end - at));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

// Lines end at CR or LF, the text at a zero byte; a last line without an end is not a record, nor is one with
// a "/", which is a prefix with a bit length. Each mark is searched for only once what was found lies behind.
void read_records(const char* begin, const char* end)
{
    end = next_of('\0', begin, end);
    const char *feed = nullptr, *ret = nullptr, *slash = nullptr, *stop = nullptr;
    for (; begin < end; begin = stop + 1) {
        feed = feed < begin ? next_of('\n', begin, end) : feed;
        ret = ret < begin ? next_of('\r', begin, end) : ret;
        slash = slash < begin ? next_of('/', begin, end) : slash;
        stop = std::min(feed, ret);
        if (stop == end)
            return;
        if (slash > stop)
            read_record({begin, static_cast<size_t>(stop - begin)});
    }
}

bool read_whole(int file, char* text, size_t size)
{
    for (size_t used = 0; used < size;) {
        ssize_t got = read(file, text + used, size - used < piece ? size - used : piece);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        used += static_cast<size_t>(got);
    }
    return true;
}

// Bytes behind the last whole block are left as they are.
void decipher(char* text, size_t size, const OuiKey& key)
{
    aes128_ctx schedule;
    aes128_set_decrypt_key(&schedule, key.data());
    auto* bytes = reinterpret_cast<uint8_t*>(text);
    aes128_decrypt(&schedule, size / AES_BLOCK_SIZE * AES_BLOCK_SIZE, bytes, bytes);
}

const char* read_text(int file, char* text, size_t size, const OuiKey& key)
{
    if (!read_whole(file, text, size))
        return "not read complete!";
    decipher(text, size, key);
    if (memcmp(text, oui_signature, sizeof oui_signature) != 0)
        return "invalid file";
    if (size > sizeof oui_signature) // without its zero byte the signature can be all there is
        read_records(text + sizeof oui_signature, text + size);
    return nullptr;
}

int complain(const char* message)
{
    note(message);
    return -1;
}

} // namespace

int oui_make_pool()
{
    pool = {static_cast<OuiEntry*>(calloc(oui_entries_max, sizeof(OuiEntry))), 0};
    if (pool.entries != nullptr)
        return 0;
    note(FORMAT("fail to alloc oui buffer ({})"), oui_entries_max * sizeof(OuiEntry));
    return -1;
}

int oui_read_file(const char* path, const OuiKey& key)
{
    struct stat status;
    if (stat(path, &status) != 0)
        return complain("file fstat error");
    if (status.st_size <= 0)
        return complain("file size is 0");
    int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return complain("fail to open db");
    auto size = static_cast<size_t>(status.st_size);
    auto* text = status.st_size <= file_max ? static_cast<char*>(calloc(1, size + slack)) : nullptr;
    const char* failure = nullptr;
    if (text == nullptr)
        note(FORMAT("fail to alloc {} bytes"), static_cast<unsigned>(size)); // modulo 2^32
    else if ((failure = read_text(file, text, size, key)) != nullptr)
        note(failure);
    free(text);
    close(file);
    return text == nullptr || failure != nullptr ? -1 : 0;
}

int oui_load()
{
    if (oui_make_pool() < 0)
        return -1;
    oui_read_file(placed(place::vendor_database).text, build_key);
    return 0;
}

const OuiEntry* oui_find(const uint8_t* mac)
{
    const OuiEntry* entry = bucket_of(mac);
    while (entry != nullptr && memcmp(entry->prefix, mac, sizeof entry->prefix) != 0)
        entry = entry->next;
    return entry;
}

void print_oui_mac(const uint8_t (&mac)[6], char separator, UnknownMaker unknown)
{
    if (const OuiEntry* maker = oui_find(mac))
        print(FORMAT(R"(,"oui_mac":"{}_{}")"), text_of(maker->vendor), MacAddress{mac + 3, separator, 3});
    else if (unknown == UnknownMaker::empty)
        print(FORMAT(R"(,"oui_mac":"")"));
}

const OuiKey& oui_build_key()
{
    return build_key;
}

std::span<const OuiEntry> oui_entries()
{
    return {pool.entries, pool.used};
}
