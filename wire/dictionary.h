#pragma once
// User-defined application protocols and groups as the analysis daemon keeps them; both kinds have this size.
#include "base/wire_types.h"

struct [[gnu::packed]] UserDictionaryRecord {
    uint16_t      id;           //  0  the library's business
    uint16_t      flags;        //  2  the library's business
    FixedText<44> name;         //  4  in use when its first byte is not zero
    uint64_t      library_link; // 48  groups: a pointer of the library's, meaningless when received
};                              // 56
static_assert(sizeof(UserDictionaryRecord) == 56 && offsetof(UserDictionaryRecord, name) == 4);
static_assert(offsetof(UserDictionaryRecord, library_link) == 48);

// Slots of the library's operation table.
namespace dictionary_slot {
constexpr int initialise = 0, name = 5, second_name = 6, entry_by_name = 8, entry_by_id = 10,
              user_protocols = 39, user_groups = 40, register_user = 41;
// What every run that loads the library calls; a library may do without the entries.
constexpr int needed[] = {initialise, name, second_name, user_protocols, user_groups, register_user};
} // namespace dictionary_slot
