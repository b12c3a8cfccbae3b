#include "lab/daemon/options.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <variant>

const char usage[] =
    R"(usage: vigil-lab [--root DIR] [--sessions N --seed S | --capture FILE | --live INTERFACE | --replay DIR]
                 [--now T] [--sessions-max N] [--age SECONDS] [--vendors FILE] [--record DIR]
       vigil-lab --version

Serves vigil's three control sockets below DIR until SIGTERM or SIGINT. Prints "ready DIR" once it serves.

--root DIR      where everything goes: a folder without files, or one of an earlier run; the default is VIGIL_ROOT.
                At most 79 bytes: sockets lie below it.
--capture FILE  the world is the traffic of this capture file; "-" is standard input
--live INTERFACE  the world grows with the traffic of this interface ("any": of all); "-" is a capture that is
                written into standard input
--sessions-max N  a live world holds so many sessions at most (default 65536): ended ones go first, then silent ones
--age SECONDS   a live world forgets a session so long after its last packet (default 86400)
--sessions N    the world is made up: so many sessions (default 1000) ...
--seed S        ... the same for the same seed (default 1)
--now T         the time at which a made-up world ends, seconds since the epoch (default: now)
--vendors FILE  list of vendor prefixes (default /usr/share/ieee-data/oui.txt)
--record DIR    writes every exchange into this new folder, as it happens: whatever was seen and asked is in it
--replay DIR    there is no world: answers come from what --record wrote
)";

namespace {

using Field = std::variant<std::string*, uint32_t*, uint64_t*>;

struct OptionRow {
    std::string_view key;
    uint64_t most; // of a number
    Field (*field)(Options& options);
};

constexpr OptionRow rows[] = {
    {"--root",         0,           [](Options& o) { return Field{&o.root}; }              },
    {"--live",         0,           [](Options& o) { return Field{&o.live}; }              },
    {"--sessions-max", 100'000'000, [](Options& o) { return Field{&o.bounds.sessions}; }   },
    {"--age",          UINT32_MAX,  [](Options& o) { return Field{&o.bounds.age}; }        },
    {"--capture",      0,           [](Options& o) { return Field{&o.capture}; }           },
    {"--sessions",     100'000'000, [](Options& o) { return Field{&o.generator.sessions}; }},
    {"--seed",         UINT64_MAX,  [](Options& o) { return Field{&o.generator.seed}; }    },
    {"--now",          UINT32_MAX,  [](Options& o) { return Field{&o.generator.now}; }     },
    {"--record",       0,           [](Options& o) { return Field{&o.record}; }            },
    {"--replay",       0,           [](Options& o) { return Field{&o.replay}; }            },
    {"--vendors",      0,           [](Options& o) { return Field{&o.vendors}; }           },
};

// False when the field takes a number and the text is none.
bool take(const char* text, uint64_t most, Field field)
{
    if (std::string** place = std::get_if<std::string*>(&field)) {
        **place = text;
        return true;
    }
    char* end = nullptr;
    uint64_t number = strtoull(text, &end, 10);
    if (*text < '0' || *text > '9' || *end != '\0' || number > most)
        return false;
    if (uint32_t** place = std::get_if<uint32_t*>(&field))
        **place = static_cast<uint32_t>(number);
    else
        *std::get<uint64_t*>(field) = number;
    return true;
}

} // namespace

std::string read_options(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; i += 2) {
        std::string key = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (key == "--help" || key == "-h")
            return options.help = true, "";
        if (key == "--version")
            return options.version = true, "";
        const auto* row = std::ranges::find(rows, key, &OptionRow::key);
        if (row == std::end(rows))
            return "unknown option " + key + "; try --help";
        if (value == nullptr || *value == '\0')
            return key + " needs a value";
        if (!take(value, row->most, row->field(options)))
            return key + " needs a number, not " + value;
    }
    if (int{!options.replay.empty()} + int{!options.capture.empty()} + int{!options.live.empty()} > 1)
        return "--capture, --live and --replay are different worlds: only one of them can be";
    return options.bounds.sessions == 0 ? "--sessions-max needs at least 1" : "";
}
