#include "common/applevel.h"

#include "base/document.h"
#include "base/line_reader.h"
#include "base/text.h"
#include "common/config_lines.h"

#include <cstdio>

AppLevel* applevel_list;

namespace {

constexpr size_t path_room = 32; // of the composed path, its NUL included
constexpr size_t pool_size = 1024;
constexpr char file_name[] = "/obscfg.conf";
constexpr char word[] = "applevel";

// Entries are handed out from the lowest.
struct Pool {
    AppLevel* entries;
    size_t used;
};

Pool pool;

struct LevelLine {
    int level = -1;
    char colour[colour_room] = "";
    char extra[32] = "";
};

void read_token(LevelLine& line, char* token)
{
    char* value = strchr(token, '=');
    if (value == nullptr)
        return;
    *value++ = '\0';
    cut_line_end(value);
    if (strcmp(token, "id") == 0)
        line.level = atoi(value);
    else if (strcmp(token, "color") == 0)
        keep_text(line.colour, value);
    else if (strcmp(token, "extr") == 0)
        keep_text(line.extra, value);
}

void push(const LevelLine& line)
{
    if (line.level < 0 || line.level > 65534 || pool.used == pool_size)
        return;
    AppLevel* entry = &pool.entries[pool.used++];
    entry->level = static_cast<uint16_t>(line.level);
    memcpy(entry->colour, line.colour, sizeof entry->colour);
    memcpy(entry->extra, line.extra, sizeof entry->extra);
    entry->next = applevel_list;
    applevel_list = entry;
}

// Every token adds an entry with what is known by then, deliberately; the last, complete one is found first.
void read_line(char* text)
{
    LevelLine line;
    while (char* token = strsep(&text, " ")) {
        if (*token == '\0')
            continue;
        read_token(line, token);
        push(line);
    }
}

} // namespace

void applevel_load()
{
    LineReader reader;
    free(pool.entries);
    pool = {};
    applevel_list = nullptr;
    const PlacePath path = configuration_file(file_name, path_room - sizeof file_name);
    if (!reader.open(path.text))
        return;
    pool.entries = static_cast<AppLevel*>(calloc(pool_size, sizeof(AppLevel)));
    if (pool.entries == nullptr) {
        note(FORMAT("fail to alloc applevel buffer ({} bytes)"), pool_size * sizeof(AppLevel));
        return;
    }
    char line[1025];
    while (reader.next(line)) {
        char* text = skip_blanks(line);
        if (strncmp(text, word, sizeof word - 1) == 0)
            read_line(text);
    }
    if (reader.failed())
        perror(path.text);
}

const AppLevel* applevel_find(uint32_t level)
{
    const AppLevel* entry = applevel_list;
    while (entry != nullptr && entry->level != level)
        entry = entry->next;
    return entry;
}

const char* applevel_find_color(uint32_t application, char (&colour)[colour_room], BelongsToLevel* belongs)
{
    for (const AppLevel* entry = applevel_list; entry != nullptr && belongs != nullptr; entry = entry->next)
        if (belongs(application, entry->level) != 0) {
            memcpy(colour, entry->colour, sizeof colour);
            return entry->extra;
        }
    return nullptr;
}
