// The lab appliance's dictionary library: an operation table, the user arrays that a reply fills, and the
// names of the built-in applications.
#include "lab/dictionary/applications.h"
#include "lab/dictionary/user_tables.h"
#include "wire/dictionary.h"

namespace {

struct Entry {
    uint16_t id;
    uint16_t flags;
    char name[20];
    char second_name[20];
};
static_assert(offsetof(Entry, name) == 4 && offsetof(Entry, second_name) == 24);

constexpr uint32_t ids = 16384;
constexpr size_t entry_room = 256;
static_assert(sizeof lab_applications / sizeof lab_applications[0] + lab_user_protocols + lab_user_groups <
              entry_room);
Entry entries[entry_room];
size_t entries_held;
uint8_t entry_of_id[ids]; // position in `entries` plus 1

void put_entry(uint32_t id, std::string_view name, std::string_view second_name)
{
    if (id >= ids || name.empty() || (entry_of_id[id] == 0 && entries_held == entry_room - 1))
        return;
    if (entry_of_id[id] == 0)
        entry_of_id[id] = static_cast<uint8_t>(++entries_held);
    Entry& entry = entries[entry_of_id[id] - 1];
    entry = {};
    entry.id = static_cast<uint16_t>(id);
    name.copy(entry.name, sizeof entry.name - 1);
    second_name.copy(entry.second_name, sizeof entry.second_name - 1);
}

void initialise()
{
    for (const LabApplication& app : lab_applications)
        put_entry(app.id, app.name, app.second_name);
}

Entry* entry_by_id(uint32_t id)
{
    return id < ids && entry_of_id[id] != 0 ? &entries[entry_of_id[id] - 1] : nullptr;
}

Entry* entry_by_name(const char* name)
{
    for (size_t i = 0; i < entries_held; i++)
        if (strcmp(entries[i].name, name) == 0)
            return &entries[i];
    return nullptr;
}

const char* name_of(uint32_t id)
{
    const Entry* entry = entry_by_id(id);
    return entry != nullptr ? entry->name : "unknown";
}

const char* second_name_of(uint32_t id)
{
    const Entry* entry = entry_by_id(id);
    return entry != nullptr ? entry->second_name : "unknown";
}

int user_protocols()
{
    return lab_user_protocols;
}

int user_groups()
{
    return lab_user_groups;
}

// Users give one name; it serves for both.
void register_user(const UserDictionaryRecord* record)
{
    put_entry(record->id, record->name.view(), record->name.view());
}

void* operations[42];

[[gnu::constructor]] void fill_operations()
{
    operations[dictionary_slot::initialise] = reinterpret_cast<void*>(initialise);
    operations[dictionary_slot::name] = reinterpret_cast<void*>(name_of);
    operations[dictionary_slot::second_name] = reinterpret_cast<void*>(second_name_of);
    operations[dictionary_slot::entry_by_name] = reinterpret_cast<void*>(entry_by_name);
    operations[dictionary_slot::entry_by_id] = reinterpret_cast<void*>(entry_by_id);
    operations[dictionary_slot::user_protocols] = reinterpret_cast<void*>(user_protocols);
    operations[dictionary_slot::user_groups] = reinterpret_cast<void*>(user_groups);
    operations[dictionary_slot::register_user] = reinterpret_cast<void*>(register_user);
}

} // namespace

extern "C" {
extern void** _axpdict;
extern UserDictionaryRecord _usraxps[lab_user_protocols];
extern UserDictionaryRecord _usragps[lab_user_groups];

void** _axpdict = operations;
UserDictionaryRecord _usraxps[lab_user_protocols];
UserDictionaryRecord _usragps[lab_user_groups];
}
