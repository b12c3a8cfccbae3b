#include "lab/recording/sealed_text.h"

#include "lab/recording/files.h"

#include <charconv>

namespace {

constexpr char digits[] = "0123456789abcdef";
constexpr std::string_view program = "vigil-lab ", version = " 1", end_key = "end ";

int digit_of(char c)
{
    const char* found = std::char_traits<char>::find(digits, 16, c);
    return found != nullptr ? static_cast<int>(found - digits) : -1;
}

// Undoes in_quotes(); false when it is not such a text.
bool unquote(std::string_view value, std::string& out)
{
    if (value.size() < 2 || value.front() != '"' || value.back() != '"')
        return false;
    value = value.substr(1, value.size() - 2);
    for (size_t i = 0; i < value.size(); i++) {
        if (value[i] != '\\') {
            out += value[i];
            continue;
        }
        int high = i + 3 < value.size() && value[i + 1] == 'x' ? digit_of(value[i + 2]) : -1;
        int low = high >= 0 ? digit_of(value[i + 3]) : -1;
        if (low < 0)
            return false;
        out += static_cast<char>(high << 4 | low);
        i += 3;
    }
    return true;
}

template <class Number> bool parse(std::string_view text, Number& number)
{
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

} // namespace

std::string sha256_of(std::string_view bytes)
{
    Sha256 sha256;
    sha256.add(bytes);
    return sha256.hexadecimal();
}

std::string in_quotes(std::string_view bytes)
{
    std::string out = "\"";
    for (char c : bytes) {
        if (c >= ' ' && c <= '~' && c != '"' && c != '\\')
            out += c;
        else
            out.append("\\x").append({digits[static_cast<uint8_t>(c) >> 4], digits[c & 15]});
    }
    return out + '"';
}

SealedTextWriter::SealedTextWriter(std::string_view kind)
{
    text_.append(program).append(kind).append(version) += '\n';
}

void SealedTextWriter::line(std::string_view key, std::string_view value)
{
    text_.append(key) += ' ';
    text_.append(value) += '\n';
}

std::string SealedTextWriter::sealed() const
{
    return text_ + std::string(end_key) + sha256_of(text_) + '\n';
}

SealedTextReader::SealedTextReader(std::string text, std::string_view kind) : text_(std::move(text))
{
    std::string_view whole = text_;
    std::string first = std::string(program) + std::string(kind) + std::string(version) + '\n';
    size_t end = whole.size() < 2 ? whole.npos : whole.rfind('\n', whole.size() - 2);
    if (!whole.starts_with(first))
        fault_ = "does not begin with \"" + first.substr(0, first.size() - 1) + "\"";
    else if (end == whole.npos || !whole.ends_with('\n') || !whole.substr(end + 1).starts_with(end_key))
        fault_ = "is cut off: its last line is not \"end\"";
    else if (whole.substr(end + 1 + end_key.size()) != sha256_of(whole.substr(0, end + 1)) + '\n')
        fault_ = "is not as it was written: its SHA-256 differs";
    else
        rest_ = whole.substr(first.size(), end + 1 - first.size());
    line_ = 1;
}

bool SealedTextReader::next_is(std::string_view key) const
{
    return rest_.size() > key.size() && rest_.starts_with(key) && rest_[key.size()] == ' ';
}

std::string_view SealedTextReader::word(std::string_view key)
{
    line_++;
    if (!next_is(key)) {
        refuse("is not \"" + std::string(key) + " ...\"");
        return {};
    }
    size_t end = rest_.find('\n');
    std::string_view value = rest_.substr(key.size() + 1, end - key.size() - 1);
    rest_.remove_prefix(end + 1);
    return value;
}

uint64_t SealedTextReader::number(std::string_view key, uint64_t most)
{
    uint64_t value = 0;
    if (!parse(word(key), value) || value > most)
        refuse("is no number up to " + std::to_string(most));
    return fault_.empty() ? value : 0;
}

int64_t SealedTextReader::signed_number(std::string_view key, int64_t least, int64_t most)
{
    int64_t value = 0;
    if (!parse(word(key), value) || value < least || value > most)
        refuse("is no number from " + std::to_string(least) + " to " + std::to_string(most));
    return fault_.empty() ? value : 0;
}

std::string SealedTextReader::bytes(std::string_view key, size_t most)
{
    std::string out;
    if (!unquote(word(key), out) || out.size() > most)
        refuse("is no quoted text of up to " + std::to_string(most) + " bytes");
    return fault_.empty() ? out : "";
}

void SealedTextReader::refuse(const std::string& what)
{
    if (fault_.empty())
        fault_ = "line " + std::to_string(line_) + " " + what;
    rest_ = {};
}

std::string SealedTextReader::fault()
{
    if (!rest_.empty()) {
        line_++;
        refuse("does not belong here");
    }
    return fault_;
}
