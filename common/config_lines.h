#pragma once
// The appliance's configuration files: where they are, and the syntax of their lines, a command word and
// key=value arguments.
#include "common/record_handler.h"
#include "link/places.h"

#include <cstdlib>
#include <span>

// The path of `name` ("/kestrel.conf") in the configuration directory. An empty path, which no open finds,
// when the directory is longer than `directory_max`.
PlacePath configuration_file(const char* name, size_t directory_max);

// Who takes the lines that begin with `word`.
struct LineHandler {
    std::string_view word;
    RecordHandler* handle;
};

enum class ConfigFile {
    whole,
    cut,    // it could not be read to its end; its lines up to there count
    missing // it could not be opened
};

// Hands every line whose word has a handler to it, in a carrier. What a handler refuses is not applied;
// nobody is told. errno says why a file is not whole.
ConfigFile load_config_lines(const char* path, std::span<const LineHandler> handlers);

// Prepares one line for its handler, changing it in place: 0, or -1 when it holds no word with arguments.
int carry_line(char* line, RequestRecord& carrier);

// The arguments that a carrier brings; they are cut in place.
class CarriedArguments {
public:
    explicit CarriedArguments(const RequestRecord& carrier)
        : rest_(reinterpret_cast<char*>(carrier.data_address))
    {
    }
    // The next key=value; a quoted value without its quotes. False at the end, and at an argument without
    // "=": what follows it is never looked at, deliberately.
    bool next(std::string_view& key, char*& value);

private:
    char* rest_;
};

// One key that a line knows.
template <class Line> struct LineKey {
    std::string_view word;
    bool (*read)(Line& line, char* value); // false: the line is refused
    const char* refusal = nullptr;
};

// Reads the carrier's arguments into `line`; unknown keys are skipped. False when an argument refused the
// line.
template <class Line, size_t N>
bool read_arguments(RequestRecord& carrier, const LineKey<Line> (&keys)[N], Line& line)
{
    CarriedArguments arguments(carrier);
    std::string_view word;
    for (char* value = nullptr; arguments.next(word, value);)
        for (const LineKey<Line>& key : keys)
            if (key.word == word && !key.read(line, value)) {
                reject(carrier, key.refusal);
                return false;
            }
    return true;
}

// Numbers are not checked; negative ones become large.
inline uint32_t number_of(const char* value)
{
    return static_cast<uint32_t>(atoi(value));
}

// Keeps what fits of `text`, always terminated.
template <size_t N> void keep_text(char (&field)[N], const char* text)
{
    size_t kept = strnlen(text, N - 1);
    memcpy(field, text, kept);
    memset(field + kept, 0, N - kept);
}
