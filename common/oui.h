#pragma once
// Makers of network cards by the first three bytes of a MAC address, from the enciphered vendor database.
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

struct OuiEntry {
    OuiEntry* next; // of the same bucket
    uint8_t prefix[3];
    char vendor[53];
};
static_assert(sizeof(OuiEntry) == 64);
inline constexpr size_t oui_entries_max = 51200; // what comes later in the file is not read
inline constexpr size_t oui_vendor_max = sizeof OuiEntry::vendor - 1;

using OuiKey = std::array<uint8_t, 16>;

// Loads the appliance's database. 0, or -1 when the table cannot be had. A file that cannot be used is
// reported on standard output and leaves the table empty; that is 0 too. Loading again keeps the prefixes
// known already.
int oui_load();

// The entry of the address's first three bytes, or null; null before any load.
const OuiEntry* oui_find(const uint8_t* mac);

// The member of a row behind its MAC address: ,"oui_mac":"Vendor_3c:4d:5e" with the last three bytes. Reports
// differ in the separator of the bytes and in what stands there when the maker is not known.
enum class UnknownMaker {
    left_out, // nothing
    empty     // ,"oui_mac":""
};
void print_oui_mac(const uint8_t (&mac)[6], char separator, UnknownMaker unknown);

// The parts of oui_load, for those who have their own file and key.
int oui_make_pool();                                    // 0, or -1 with a message
int oui_read_file(const char* path, const OuiKey& key); // 0, or -1 with a message; needs a pool
const OuiKey& oui_build_key();                          // the key this build was given
std::span<const OuiEntry> oui_entries();                // of the newest pool, in the order of the file

// The database as text, deciphered.
inline constexpr char oui_signature[8] = "KESTREL";
