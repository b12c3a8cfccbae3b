#include "lab/packets/names.h"

#include <algorithm>

namespace {

constexpr size_t head_max = 16384; // a head that says nothing within so many bytes says nothing

std::string_view text_of_bytes(Bytes bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Found not_yet(Bytes head)
{
    return head.size() < head_max ? Found::need_more : Found::no;
}

// Whether `head` starts with `word`, as far as it goes.
Found starts_with(Bytes head, std::string_view word)
{
    size_t compared = std::min(head.size(), word.size());
    if (text_of_bytes(head).substr(0, compared) != word.substr(0, compared))
        return Found::no;
    return compared == word.size() ? Found::yes : Found::need_more;
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool equal_ignoring_case(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

// The value of one header of an HTTP head, or an empty text.
std::string_view header_value(std::string_view head, std::string_view name)
{
    while (!head.empty()) {
        size_t end = head.find('\n');
        std::string_view line = head.substr(0, end);
        size_t colon = line.find(':');
        if (colon != line.npos && equal_ignoring_case(line.substr(0, colon), name)) {
            line.remove_prefix(colon + 1);
            while (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
                line.remove_prefix(1);
            return line.substr(0, line.find('\r'));
        }
        head.remove_prefix(end == head.npos ? head.size() : end + 1);
    }
    return {};
}

// The lines before the empty one that ends an HTTP head; false when it has not come yet.
bool take_head(Bytes bytes, std::string_view& head)
{
    std::string_view text = text_of_bytes(bytes);
    size_t end = text.find("\r\n\r\n");
    head = text.substr(0, end);
    return end != text.npos;
}

// The first word of a text.
std::string_view first_word(std::string_view text)
{
    return text.substr(0, text.find_first_of(" \r\n"));
}

} // namespace

std::string clean_word(std::string_view text, size_t most)
{
    std::string out{text.substr(0, most)};
    for (char& c : out)
        if (c <= ' ' || c > '~' || c == '"' || c == '\\')
            c = '_';
    return out;
}

std::string clean_message(std::string_view text, size_t most)
{
    std::string out{text.substr(0, std::min(most, text.find('\0')))};
    for (char& c : out)
        if ((c < ' ' && c != '\n' && c != '\r' && c != '\t') || c > '~')
            c = '_';
    return out;
}

Found read_http_request(Bytes head, HttpRequest& request)
{
    static constexpr std::string_view methods[] = {"GET",     "POST",  "HEAD",    "PUT",  "DELETE",
                                                   "OPTIONS", "PATCH", "CONNECT", "TRACE"};
    Found seen = Found::no;
    for (std::string_view method : methods) {
        Found match = starts_with(head, std::string{method} + ' ');
        if (match == Found::yes)
            request.method = method;
        if (match != Found::no)
            seen = match;
    }
    if (seen != Found::yes)
        return seen;
    std::string_view text;
    if (!take_head(head, text))
        return not_yet(head);
    request.host = clean_word(header_value(text, "Host"), 63);
    request.agent = clean_word(first_word(header_value(text, "User-Agent")), 20);
    return Found::yes;
}

Found read_http_response(Bytes head, HttpResponse& response)
{
    Found seen = starts_with(head, "HTTP/1.");
    if (seen != Found::yes)
        return seen;
    std::string_view text;
    if (!take_head(head, text))
        return not_yet(head);
    size_t blank = text.find(' ');
    std::string_view digits = blank == text.npos ? "" : text.substr(blank + 1, 3);
    for (char c : digits)
        if (c >= '0' && c <= '9')
            response.status = static_cast<uint16_t>(response.status * 10 + c - '0');
    response.server = clean_word(first_word(header_value(text, "Server")), 20);
    return Found::yes;
}

Found read_ssh_banner(Bytes head, std::string& banner)
{
    Found seen = starts_with(head, "SSH-");
    if (seen != Found::yes)
        return seen;
    std::string_view text = text_of_bytes(head);
    size_t end = text.find_first_of("\r\n");
    if (end == text.npos)
        return head.size() < 256 ? Found::need_more : Found::no;
    banner = clean_word(text.substr(0, end), 31);
    return Found::yes;
}

std::string read_syslog(Bytes payload)
{
    std::string_view text = text_of_bytes(payload);
    size_t end = text.starts_with('<') ? text.substr(0, 6).find('>') : text.npos;
    if (end != text.npos)
        text.remove_prefix(end + 1);
    return clean_message(text, 255);
}
