#include "common/address_descriptions.h"

#include "base/address.h"
#include "base/document.h"
#include "common/config_lines.h"
#include "common/spin_lock.h"

#include <cstdio>

namespace {

constexpr size_t pool_size = 4096;

struct AddressDescription {
    AddressDescription* next; // of the same bucket
    uint16_t length;          // 4 or 6
    uint16_t group;
    uint8_t address[6]; // in wire order
    char text[address_text_room];
};

struct AddressTable {
    AddressDescription* buckets[pool_size];
    AddressDescription entries[pool_size]; // handed out from the lowest
};
static_assert(sizeof(AddressDescription) == 56 && sizeof(AddressTable) == 262144);

AddressTable* ipmacdesc;
uint32_t used;
uint32_t lock_word;

AddressDescription*& bucket_of(const uint8_t* address, size_t length)
{
    return ipmacdesc->buckets[(address[length - 2] << 8 | address[length - 1]) & 0xfff];
}

// Under the lock.
AddressDescription* find(const uint8_t* address, size_t length)
{
    AddressDescription* entry = bucket_of(address, length);
    while (entry != nullptr && (entry->length != length || memcmp(entry->address, address, length) != 0))
        entry = entry->next;
    return entry;
}

bool searchable(size_t length)
{
    return ipmacdesc != nullptr && used > 0 && (length == 4 || length == 6);
}

// 0, or -1 when the pool is exhausted.
int insert(const AddressDescription& wanted)
{
    if (ipmacdesc == nullptr)
        return -1;
    SpinLock lock(lock_word);
    if (AddressDescription* known = find(wanted.address, wanted.length); known != nullptr) {
        memcpy(known->text, wanted.text, sizeof known->text);
        known->group = wanted.group;
        return 0;
    }
    if (used == pool_size)
        return -1;
    AddressDescription* entry = &ipmacdesc->entries[used++];
    *entry = wanted;
    AddressDescription*& head = bucket_of(entry->address, entry->length);
    entry->next = head;
    head = entry;
    return 0;
}

// Four numbers make an IPv4 address whatever they are and whatever follows them; each keeps its low byte.
bool read_address(AddressDescription& entry, char* value)
{
    int part[4];
    if (sscanf(value, "%d.%d.%d.%d", &part[0], &part[1], &part[2], &part[3]) == 4) {
        for (size_t i = 0; i < 4; i++)
            entry.address[i] = static_cast<uint8_t>(part[i]);
        entry.length = 4;
        return true;
    }
    entry.length = 6;
    return parse_mac(value, entry.address);
}

bool read_text(AddressDescription& entry, char* value)
{
    keep_text(entry.text, value);
    return true;
}

bool read_group(AddressDescription& entry, char* value)
{
    entry.group = static_cast<uint16_t>(number_of(value));
    return true;
}

constexpr LineKey<AddressDescription> keys[] = {
    {"m",          read_address, "INV_IPMAC"},
    {"ip",            read_address,                     "INV_IPMAC"},
    {"d", read_text},
    {"pid",   read_group                      },
};

} // namespace

int ipmacdesc_init()
{
    ipmacdesc_release();
    ipmacdesc = static_cast<AddressTable*>(calloc(1, sizeof *ipmacdesc));
    if (ipmacdesc != nullptr)
        return 0;
    note("fail to init ipmacdesc pool");
    return -1;
}

void ipmacdesc_release()
{
    free(ipmacdesc);
    ipmacdesc = nullptr;
    used = 0;
}

bool ipmacdesc_ready()
{
    return ipmacdesc != nullptr;
}

void ipmacdesc_line(RequestRecord& carrier)
{
    AddressDescription entry{};
    if (!read_arguments(carrier, keys, entry))
        return;
    if (entry.text[0] == '\0')
        return reject(carrier, "NO_DESC");
    if (entry.length != 4 && entry.length != 6)
        return reject(carrier, "INV_LEN");
    insert(entry); // a full pool drops the line, and says nothing
}

int ipmacdesc_get(const void* address, size_t length, char (&out)[address_text_room])
{
    if (!searchable(length))
        return -1;
    SpinLock lock(lock_word);
    const AddressDescription* entry = find(static_cast<const uint8_t*>(address), length);
    if (entry == nullptr)
        return -1;
    memcpy(out, entry->text, sizeof out);
    return 0;
}

int ipmacdesc_get_mac(const uint8_t* mac, char (&out)[address_text_room])
{
    return ipmacdesc_get(mac, 6, out);
}

uint16_t ipmacdesc_group_of(const uint8_t* mac)
{
    if (!searchable(6))
        return 0;
    SpinLock lock(lock_word);
    const AddressDescription* entry = find(mac, 6);
    return entry != nullptr ? entry->group : uint16_t{0};
}

int ipmacdesc_add_mac(const uint8_t* mac, const char* text)
{
    AddressDescription entry{};
    entry.length = 6;
    memcpy(entry.address, mac, 6);
    keep_text(entry.text, text);
    return insert(entry);
}
