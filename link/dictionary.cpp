#include "link/dictionary.h"

#include "link/places.h"
#include "link/rpc_session.h"
#include "wire/dictionary.h"

#include <cstring>
#include <dlfcn.h>

namespace {

// The library's operations, by slot. The table is the library's own; only these slots are called.
using Operation = void (*)();

struct Dictionary {
    void* library = nullptr;
    Operation* operations = nullptr;
    UserDictionaryRecord* protocols = nullptr; // the library's arrays
    UserDictionaryRecord* groups = nullptr;
    bool synced = false;
} dictionary;

template <class Signature> Signature* operation(int slot)
{
    return reinterpret_cast<Signature*>(dictionary.operations[slot]);
}

int fail(RequestRecord& reply, const char* text)
{
    reply.error = error_code::dictionary;
    reply.text.assign(text != nullptr ? text : "", decltype(reply.text)::width - 1);
    return -1;
}

int fail_and_unload(RequestRecord& reply, const char* text)
{
    dictionary_unload();
    return fail(reply, text);
}

int load(RequestRecord& reply)
{
    dictionary.library = dlopen(placed(place::dictionary_library).text, RTLD_NOW);
    if (dictionary.library == nullptr)
        return fail(reply, dlerror());
    // The symbol is a pointer variable: what is stored at it is the address of the table.
    void* table = dlsym(dictionary.library, "_axpdict");
    if (table != nullptr)
        dictionary.operations = *static_cast<Operation**>(table);
    if (dictionary.operations == nullptr)
        return fail_and_unload(reply, "AXPDICT_NOT_FOUND");
    dictionary.protocols = static_cast<UserDictionaryRecord*>(dlsym(dictionary.library, "_usraxps"));
    if (dictionary.protocols == nullptr)
        return fail_and_unload(reply, "USRAXPS_NOT_FOUND");
    dictionary.groups = static_cast<UserDictionaryRecord*>(dlsym(dictionary.library, "_usragps"));
    if (dictionary.groups == nullptr)
        return fail_and_unload(reply, "USRAGPS_NOT_FOUND");
    for (int slot : dictionary_slot::needed)
        if (dictionary.operations[slot] == nullptr)
            return fail_and_unload(reply, "AXPDICT_SLOT_NOT_FOUND");
    dictionary_initialise();
    return 0;
}

// A count of the library's is trusted no further than the segment holds records.
bool take_array(UserDictionaryRecord* array, int count, const char*& at, size_t& left)
{
    if (count < 0 || static_cast<size_t>(count) > left / sizeof *array)
        return false;
    size_t bytes = static_cast<size_t>(count) * sizeof *array;
    memcpy(array, at, bytes);
    at += bytes;
    left -= bytes;
    return true;
}

void register_records(int protocols, int groups)
{
    auto* register_user = operation<void(UserDictionaryRecord*)>(dictionary_slot::register_user);
    for (int i = 0; i < protocols; i++)
        if (!dictionary.protocols[i].name.empty())
            register_user(&dictionary.protocols[i]);
    for (int i = 0; i < groups; i++) {
        if (!dictionary.groups[i].name.empty())
            register_user(&dictionary.groups[i]);
        // A pointer of the sending process; cleared in unused records too.
        dictionary.groups[i].library_link = 0;
    }
}

bool sync_on_demand()
{
    if (!dictionary.synced)
        rpc_syncdesc();
    return dictionary.synced && dictionary_loaded();
}

const char* name_in_slot(int slot, uint32_t id)
{
    const char* name = dictionary_loaded() ? operation<const char*(uint32_t)>(slot)(id) : nullptr;
    return name != nullptr ? name : "undname";
}

// The names inside an entry of the library.
constexpr size_t entry_name_offset = 4, entry_second_name_offset = 24;

const char* entry_text(uint32_t id, size_t offset)
{
    if (!sync_on_demand())
        return nullptr;
    auto* entry_of = operation<const char*(uint32_t)>(dictionary_slot::entry_by_id);
    const char* entry = entry_of != nullptr ? entry_of(id) : nullptr;
    return entry != nullptr ? entry + offset : nullptr;
}

} // namespace

int dictionary_take(RequestRecord& reply, const char* base, uint32_t size)
{
    if (!dictionary_loaded() && load(reply) != 0)
        return -1;
    int protocols = operation<int()>(dictionary_slot::user_protocols)();
    int groups = operation<int()>(dictionary_slot::user_groups)();
    const char* at = base;
    size_t left = size;
    if (!take_array(dictionary.protocols, protocols, at, left) ||
        !take_array(dictionary.groups, groups, at, left))
        return fail(reply, "INV_REPLY");
    dictionary.synced = true;
    reply.answer_address = reinterpret_cast<uintptr_t>(at);
    register_records(protocols, groups);
    return 0;
}

bool dictionary_loaded()
{
    return dictionary.operations != nullptr;
}

void dictionary_initialise()
{
    if (dictionary_loaded())
        operation<void()>(dictionary_slot::initialise)();
}

void dictionary_unload()
{
    void* library = dictionary.library;
    dictionary = {};
    if (library != nullptr)
        dlclose(library);
}

void dictionary_mark_synced()
{
    dictionary.synced = true;
}

const char* application_name(uint32_t id)
{
    return name_in_slot(dictionary_slot::name, id);
}

const char* application_second_name(uint32_t id)
{
    return name_in_slot(dictionary_slot::second_name, id);
}

int application_id_of(const char* name)
{
    if (name == nullptr || *name == '\0' || !sync_on_demand())
        return -1;
    auto* entry_of = operation<const void*(const char*)>(dictionary_slot::entry_by_name);
    const void* entry = entry_of != nullptr ? entry_of(name) : nullptr;
    if (entry == nullptr)
        return -1;
    uint16_t id;
    memcpy(&id, entry, sizeof id);
    return id;
}

const char* application_entry_name(uint32_t id)
{
    return entry_text(id, entry_name_offset);
}

const char* application_entry_second_name(uint32_t id)
{
    return entry_text(id, entry_second_name_offset);
}
