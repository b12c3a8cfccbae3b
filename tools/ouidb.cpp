// Makes the enciphered vendor database of a vendor list, and lists one as the appliance reads it.
#include "base/address.h"
#include "base/output.h"
#include "common/oui.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <nettle/aes.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>
#include <vector>

namespace {

constexpr int bad_input = 255;
constexpr char usage[] = R"(usage: vigil-ouidb make LIST DATABASE [--key HEX]
       vigil-ouidb list DATABASE [--key HEX]

make  enciphers LIST, whose lines are those of the text that the IEEE publishes ("00-1A-2B   (hex)  Name") or
      a prefix and a name ("00:1A:2B Name"; "-" or nothing between the bytes will do; "#" begins a comment);
      says how many lines the appliance will not read, and why
list  prints the prefixes and names that the appliance reads from DATABASE
--key the AES-128 key, 32 hexadecimal digits; without it the key this program was built with
)";

[[gnu::format(printf, 1, 2)]] int complain(const char* format, ...)
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

// "001A2B", "00-1A-2B" or "00:1A:2B" with colons, a bit length behind it as it is. Empty for anything else.
std::string normal_prefix(std::string_view text)
{
    if (const size_t slash = text.find('/'); slash != text.npos) {
        const std::string prefix = normal_prefix(text.substr(0, slash));
        return prefix.empty() ? "" : prefix + std::string(text.substr(slash));
    }
    std::string digits;
    size_t step = text.size() == 8 ? 3 : 2;
    for (size_t i = 0; i + 2 <= text.size(); i += step)
        digits += text.substr(i, 2);
    bool separated = step == 2 || (text[2] == text[5] && (text[2] == '-' || text[2] == ':'));
    if ((text.size() != 8 && text.size() != 6) || !separated || !is_hex(digits))
        return "";
    return digits.substr(0, 2) + ":" + digits.substr(2, 2) + ":" + digits.substr(4, 2);
}

// What becomes of a line.
enum Fate { text_around, read, cut, with_slash, without_prefix, without_name, seen_before, too_many, fates };

struct FateText {
    Fate fate;
    const char* text;
};
constexpr FateText told[] = {
    {with_slash,     "lines with a \"/\", which the appliance will not read"  },
    {without_prefix, "lines without a prefix"                                 },
    {without_name,   "lines without a name"                                   },
    {seen_before,    "lines whose prefix was seen before"                     },
    {too_many,       "lines beyond the 51200 records that the appliance reads"},
    {cut,            "lines whose name the appliance cuts at 52 characters"   },
};
static_assert(oui_entries_max == 51200 && oui_vendor_max == 52);

// The database's text, and what the appliance will make of it.
struct Records {
    std::string text{oui_signature, sizeof oui_signature};
    std::unordered_set<std::string> prefixes; // in lower case
    size_t count[fates] = {};
};

// What stands around the prefixes and names: nothing, comments, and of the text of the IEEE the addresses and
// the second line of each prefix.
bool is_around(std::string_view line, std::string_view second_word)
{
    return cleaned(line).empty() || cleaned(line)[0] == '#' || line.starts_with("\t\t") ||
           second_word.starts_with("(base 16)");
}

std::string lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return text;
}

// Judges one line by itself, and appends it when it is a prefix and a name.
Fate add_line(std::string_view line, Records& records)
{
    constexpr std::string_view ieee_mark = "(hex)";
    const std::string clean = cleaned(line);
    const size_t blank = std::min(clean.find_first_of(' '), clean.size());
    const std::string prefix = normal_prefix(clean.substr(0, blank));
    std::string name = cleaned(clean.substr(blank));
    if (is_around(line, name))
        return text_around;
    if (name.starts_with(ieee_mark))
        name = cleaned(name.substr(ieee_mark.size()));
    const bool slash = clean.find('/') != clean.npos;
    if (prefix.empty() || name.empty())
        return slash ? with_slash : prefix.empty() ? without_prefix : without_name;
    records.text += prefix + " " + name + "\n";
    if (slash) // the appliance takes the "/" for that of a bit length
        return with_slash;
    if (!records.prefixes.insert(lower(prefix)).second)
        return seen_before;
    return records.prefixes.size() > oui_entries_max ? too_many : name.size() > oui_vendor_max ? cut : read;
}

// False with errno when the list cannot be read to its end.
bool read_list(const char* path, Records& records)
{
    FILE* file = fopen(path, "re");
    if (file == nullptr)
        return false;
    char* line = nullptr;
    size_t room = 0;
    for (ssize_t length; (length = getline(&line, &room, file)) >= 0;)
        records.count[add_line({line, static_cast<size_t>(length)}, records)]++;
    const bool whole = feof(file) != 0;
    const int error = errno;
    free(line);
    fclose(file);
    errno = error;
    return whole;
}

void tell(const char* list, const Records& records)
{
    for (const auto& [fate, text] : told)
        if (records.count[fate] != 0)
            complain("%s: %s: %zu", list, text, records.count[fate]);
}

void encipher(std::string& text, const OuiKey& key)
{
    text.resize((text.size() + AES_BLOCK_SIZE - 1) / AES_BLOCK_SIZE * AES_BLOCK_SIZE);
    aes128_ctx schedule;
    aes128_set_encrypt_key(&schedule, key.data());
    auto* bytes = reinterpret_cast<uint8_t*>(text.data());
    aes128_encrypt(&schedule, text.size(), bytes, bytes);
}

bool write_file(int file, std::string_view text)
{
    while (!text.empty()) {
        ssize_t n = write(file, text.data(), text.size());
        if (n < 0 && errno != EINTR)
            return false;
        text.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
    }
    return true;
}

// Writes the text aside and renames it, so that the old database stays whole until the new one is. What is
// there and no file (a device, a pipe) is written as it is. False with errno.
bool replace_file(const std::string& path, std::string_view text)
{
    struct stat old {};
    const bool exists = stat(path.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode)) {
        int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        return file >= 0 && write_file(file, text) && close(file) == 0;
    }
    std::error_code fresh;
    std::string target = std::filesystem::canonical(path, fresh).string(); // behind links
    if (fresh)
        target = path;
    std::string aside = target + ".XXXXXX";
    int file = mkostemp(aside.data(), O_CLOEXEC);
    if (file < 0)
        return false;
    const mode_t mask = umask(0);
    umask(mask);
    bool written = fchmod(file, exists ? old.st_mode & 0777 : 0666 & ~mask) == 0 && write_file(file, text);
    written = close(file) == 0 && written;
    if (written && rename(aside.c_str(), target.c_str()) == 0)
        return true;
    const int error = errno;
    unlink(aside.c_str());
    errno = error;
    return false;
}

int make(const char* list, const std::string& database, const OuiKey& key)
{
    Records records;
    if (!read_list(list, records))
        return complain("cannot read %s: %s", list, strerror(errno));
    tell(list, records);
    if (records.prefixes.empty())
        return complain("%s: no line that the appliance will read", list);
    encipher(records.text, key);
    if (!replace_file(database, records.text))
        return complain("cannot write %s: %s", database.c_str(), strerror(errno));
    return 0;
}

// As lists of vendors have it.
struct Prefix {
    const uint8_t* bytes;
    char* put(char* at) const
    {
        char* const end = MacAddress{bytes, ':', 3}.put(at);
        std::transform(at, end, at, [](char c) { return static_cast<char>(toupper(c)); });
        return end;
    }
    static constexpr size_t most_bytes() { return sizeof "00:00:00"; }
};

int list(const std::string& database, const OuiKey& key)
{
    int status = oui_make_pool() == 0 ? oui_read_file(database.c_str(), key) : -1;
    for (const OuiEntry& entry : oui_entries())
        print(FORMAT("{} {}\n"), Prefix{entry.prefix}, text_of(entry.vendor));
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
    signal(SIGXFSZ, SIG_IGN); // a limit on file sizes fails the write
    std::vector<std::string> words(argv + 1, argv + argc);
    OuiKey key = oui_build_key();
    if (auto option = std::find(words.begin(), words.end(), "--key"); option != words.end()) {
        if (words.end() - option < 2 || !parse_key(option[1], key))
            return complain("--key takes 32 hexadecimal digits");
        words.erase(option, option + 2);
    }
    if (words.size() == 3 && words[0] == "make")
        return make(words[1].c_str(), words[2], key);
    if (words.size() == 2 && words[0] == "list")
        return list(words[1], key);
    fputs(usage, stderr);
    return bad_input;
}
