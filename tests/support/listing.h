#pragma once
// Short forms for the commands of one daemon.
#include "tests/support/program.h"

// The command asks the management daemon the same for each of its replies.
inline Case listing(const std::string& line, Request request, const std::vector<Reply>& replies, const std::string& output, int status = 0)
{
    std::vector<Exchange> exchanges;
    for (const Reply& reply : replies) {
        exchanges.push_back({request, reply});
        request.cursor = reply.cursor;
    }
    return command(line, Daemon::management, exchanges, output, status);
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
