// A stand-in for the daemons' dictionary library: few names, two kinds of user records, and a diary. When
// DICT_DIARY names a file, each call that changes something adds a line to it, the unloading too.
// DICT_LACKS_SLOT leaves that operation out. Built several times; LACKS_... leaves a symbol out.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Entry {
    uint16_t id;
    char filler[2];
    char name[20];        //  4
    char second_name[20]; // 24
};

Entry entries[16] = {
    {1, {}, "DNS", "names"}, {2, {}, "HTTP", "web"},  {3, {}, "TLS", "secure web"},
    {4, {}, "SSH", "shell"}, {7, {}, "SMTP", "mail"}, {9, {}, "QUIC\"", "a\\b"}, // a name that needs care in JSON
};
int used = 6;

void diary(const char* event, const char* text)
{
    const char* path = getenv("DICT_DIARY");
    FILE* file = path != nullptr ? fopen(path, "a") : nullptr;
    if (file == nullptr)
        return;
    fprintf(file, "%s%s\n", event, text);
    fclose(file);
}

const Entry* by_id(uint32_t id)
{
    for (int i = 0; i < used; i++)
        if (entries[i].id == id)
            return &entries[i];
    return nullptr;
}
void initialise()
{
#ifdef FAULTY
    *reinterpret_cast<volatile char*>(diary) = 0; // a real fault, at a place that a run can reach
#endif
    diary("initialise", "");
}
const char* name_of(uint32_t id)
{
    const Entry* entry = by_id(id);
    return entry != nullptr ? entry->name : "other";
}
const char* second_name_of(uint32_t id)
{
    const Entry* entry = by_id(id);
    return entry != nullptr ? entry->second_name : "second";
}
const Entry* by_name(const char* name)
{
    for (int i = 0; i < used; i++)
        if (strcmp(entries[i].name, name) == 0)
            return &entries[i];
    return nullptr;
}
int user_protocol_count()
{
    return 3;
}
int user_group_count()
{
    return 2;
}
void register_user(const char* record)
{
    diary("register ", record + 4);
    if (used < 16) {
        Entry& entry = entries[used++];
        memcpy(&entry.id, record, sizeof entry.id);
        memcpy(entry.name, record + 4, sizeof entry.name - 1);
        memcpy(entry.second_name, "user", 5);
    }
}

using Operation = void (*)();
struct Operations {
    Operation slot[44];
    Operations() : slot()
    {
        slot[0] = initialise;
        slot[5] = reinterpret_cast<Operation>(name_of);
        slot[6] = reinterpret_cast<Operation>(second_name_of);
        slot[8] = reinterpret_cast<Operation>(by_name);
        slot[10] = reinterpret_cast<Operation>(by_id);
        slot[39] = reinterpret_cast<Operation>(user_protocol_count);
        slot[40] = reinterpret_cast<Operation>(user_group_count);
        slot[41] = reinterpret_cast<Operation>(register_user);
        if (const char* lacking = getenv("DICT_LACKS_SLOT"))
            slot[atoi(lacking)] = nullptr;
    }
} operations;

} // namespace

extern "C" {
extern char _usraxps[3 * 56], _usragps[2 * 56];
extern Operations* _axpdict;
#ifndef LACKS_AXPDICT
Operations* _axpdict = &operations;
#endif
#ifndef LACKS_USRAXPS
char _usraxps[3 * 56];
#endif
#ifndef LACKS_USRAGPS
char _usragps[2 * 56];
#endif
}

#if !defined LACKS_AXPDICT && !defined LACKS_USRAXPS && !defined LACKS_USRAGPS
// The library keeps a pointer of its own in the last 8 bytes of a group; what came over the wire must be
// gone.
[[gnu::destructor]] static void unloaded()
{
    const char zero[8] = {};
    for (int i = 0; i < 2; i++)
        diary("group link ", memcmp(_usragps + i * 56 + 48, zero, 8) == 0 ? "cleared" : "left");
    diary("protocol ", _usraxps + 4);
    diary("unload", "");
}
#endif
