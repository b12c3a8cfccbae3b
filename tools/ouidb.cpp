// Makes the enciphered vendor database of a vendor list, and lists one as the appliance reads it.
#include "base/output.h"
#include "common/oui.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <nettle/aes.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int bad_input = 255;
constexpr char usage[] = R"(usage: vigil-ouidb make LIST DATABASE [--key HEX]
       vigil-ouidb list DATABASE [--key HEX]

make  enciphers LIST: the text that the IEEE publishes (lines "00-1A-2B   (hex)  Name"), or one prefix and
      name a line ("00:1A:2B Name"; "-" or nothing between the bytes will do; "#" begins a comment)
list  prints the prefixes and names that the appliance reads from DATABASE
--key the AES-128 key, 32 hexadecimal digits; without it the key this program was built with
)";

struct Record {
    std::string prefix, name;
};

[[gnu::format(printf, 1, 2)]] int fail(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    fputs("vigil-ouidb: ", stderr);
    vfprintf(stderr, format, values);
    fputc('\n', stderr);
    va_end(values);
    return bad_input;
}

bool is_hex(std::string_view text)
{
    return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
}

// Without surrounding blanks, and on one line.
std::string cleaned(std::string_view text)
{
    std::string clean(text);
    std::replace_if(
        clean.begin(), clean.end(), [](char c) { return c < ' '; }, ' ');
    size_t begin = clean.find_first_not_of(' ');
    return begin == clean.npos ? "" : clean.substr(begin, clean.find_last_not_of(' ') + 1 - begin);
}

// "001A2B", "00-1A-2B" or "00:1A:2B" with colons; a prefix with a bit length as it is. Empty for anything
// else.
std::string normal_prefix(std::string_view text)
{
    if (text.find('/') != text.npos)
        return std::string(text);
    std::string digits;
    size_t step = text.size() == 8 ? 3 : 2;
    for (size_t i = 0; i + 2 <= text.size(); i += step)
        digits += text.substr(i, 2);
    bool separated = step == 2 || (text[2] == text[5] && (text[2] == '-' || text[2] == ':'));
    if ((text.size() != 8 && text.size() != 6) || !separated || !is_hex(digits))
        return "";
    return digits.substr(0, 2) + ":" + digits.substr(2, 2) + ":" + digits.substr(4, 2);
}

std::optional<Record> plain_record(std::string_view line)
{
    size_t blank = std::min(line.find_first_of(" \t"), line.size());
    Record record{normal_prefix(line.substr(0, blank)), cleaned(line.substr(blank))};
    return record.prefix.empty() || record.name.empty() ? std::nullopt : std::optional(record);
}

std::optional<Record> ieee_record(std::string_view line)
{
    constexpr std::string_view mark = "(hex)";
    size_t at = line.find(mark);
    if (at == line.npos)
        return std::nullopt;
    return plain_record(std::string(line.substr(0, at)) + " " + std::string(line.substr(at + mark.size())));
}

// The text of the IEEE has much around its "(hex)" lines; in a plain list every line must be understood.
int read_list(const std::string& path, std::vector<Record>& records)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    if (lines.empty())
        return fail("no text in %s", path.c_str());
    for (const std::string& line : lines)
        if (auto record = ieee_record(line))
            records.push_back(*record);
    for (size_t i = 0, marked = records.size(); marked == 0 && i < lines.size(); i++) {
        std::string line = cleaned(lines[i]);
        if (line.empty() || line[0] == '#')
            continue;
        auto record = plain_record(line);
        if (!record)
            return fail("%s:%zu: not a prefix and a name: %s", path.c_str(), i + 1, line.c_str());
        records.push_back(*record);
    }
    return records.empty() ? fail("no prefixes in %s", path.c_str()) : 0;
}

int make(const std::string& list, const std::string& database, const OuiKey& key)
{
    std::vector<Record> records;
    if (int status = read_list(list, records); status != 0)
        return status;
    std::string text(oui_signature, sizeof oui_signature);
    for (const Record& record : records)
        text += record.prefix + " " + record.name + "\n";
    text.resize((text.size() + AES_BLOCK_SIZE - 1) / AES_BLOCK_SIZE * AES_BLOCK_SIZE);
    aes128_ctx schedule;
    aes128_set_encrypt_key(&schedule, key.data());
    auto* bytes = reinterpret_cast<uint8_t*>(text.data());
    aes128_encrypt(&schedule, text.size(), bytes, bytes);
    std::ofstream file(database, std::ios::binary);
    file << text << std::flush;
    return file ? 0 : fail("cannot write %s", database.c_str());
}

int list(const std::string& database, const OuiKey& key)
{
    int status = oui_make_pool() == 0 ? oui_read_file(database.c_str(), key) : -1;
    for (const OuiEntry& entry : oui_entries())
        print("%02X:%02X:%02X %s\n", entry.prefix[0], entry.prefix[1], entry.prefix[2], entry.vendor);
    return flush_output() && status == 0 ? 0 : bad_input;
}

bool parse_key(const std::string& digits, OuiKey& key)
{
    if (digits.size() != 2 * key.size() || !is_hex(digits))
        return false;
    for (size_t i = 0; i < key.size(); i++)
        key[i] = static_cast<uint8_t>(std::stoul(digits.substr(2 * i, 2), nullptr, 16));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> words(argv + 1, argv + argc);
    OuiKey key = oui_build_key();
    if (auto option = std::find(words.begin(), words.end(), "--key"); option != words.end()) {
        if (words.end() - option < 2 || !parse_key(option[1], key))
            return fail("--key takes 32 hexadecimal digits");
        words.erase(option, option + 2);
    }
    if (words.size() == 3 && words[0] == "make")
        return make(words[1], words[2], key);
    if (words.size() == 2 && words[0] == "list")
        return list(words[1], key);
    fputs(usage, stderr);
    return bad_input;
}
