#pragma once
// Short forms for the commands of one daemon.
#include "tests/support/program.h"

#include <iterator>
#include <sstream>

inline std::vector<std::string> words_of(const std::string& line)
{
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), {}};
}

// The code of a generic verb.
inline uint32_t code_of(const std::string& verb)
{
    static const std::map<std::string, uint32_t> codes = {
        {"disable", 2049}, {"stat", 2050},   {"add", 2051},  {"addip", 2051}, {"remove", 2052},   {"clear", 2052},  {"set", 2053},
        {"get", 2054},     {"getcmp", 2054}, {"list", 2055}, {"load", 2056},  {"loadfile", 2056}, {"config", 2057}, {"debug", 2064}};
    return codes.at(verb);
}

// `command`, its words divided by blanks, asks the management daemon the same for each of its replies.
inline Case listing(const std::string& command, Request request, const std::vector<Reply>& replies, const std::string& output,
                    int status = 0)
{
    Case one{.name = command, .arguments = words_of(command), .daemon = Daemon::management, .output = output, .status = status};
    for (const Reply& reply : replies) {
        one.exchanges.push_back({request, reply});
        request.cursor = reply.cursor;
    }
    return one;
}

// Every argument of `command` with a blank before it, as most of them are sent.
inline Data leading_of(const std::string& command)
{
    std::string text;
    std::vector<std::string> words = words_of(command);
    for (size_t i = 2; i < words.size(); i++)
        text += " " + words[i];
    return leading(text);
}

inline std::string joined(const std::vector<std::string>& rows)
{
    std::string text;
    for (const std::string& row : rows)
        text += (text.empty() ? "" : ",") + row;
    return text;
}

inline std::string data_of(const std::vector<std::string>& rows, size_t total)
{
    return R"({"data":[)" + joined(rows) + R"(], "total":)" + std::to_string(total) + "}";
}

// A reply after which others follow.
inline Reply more(const std::string& answer, int32_t count, int32_t cursor = 0)
{
    return {.answer = answer, .count = count, .last = false, .cursor = cursor};
}
