// Doors that files stand before: vendors, the capture ring, the configuration.
#include "tests/fuzz/fuzz.h"

#include "common/address_descriptions.h"
#include "common/applevel.h"
#include "common/assets_store.h"
#include "common/custom_ranges.h"
#include "common/descriptions.h"
#include "common/english_only.h"
#include "common/intelligence.h"
#include "common/oui.h"
#include "reports/capture/capture_ring.h"

#include <algorithm>
#include <nettle/aes.h>
#include <string>
#include <sys/mman.h>

template <size_t n> static void expect_end(const char (&field)[n])
{
    expect(strnlen(field, n) < n, "a text without its NUL");
}

// The text is enciphered here, so that a change of it is one of the text.
void vendors(Input& input)
{
    constexpr OuiKey key{1};
    std::string text(input.number() % 16 != 0 ? std::string_view(oui_signature, sizeof oui_signature) : "");
    text += input.rest();
    aes128_ctx schedule;
    aes128_set_encrypt_key(&schedule, key.data());
    auto* bytes = reinterpret_cast<uint8_t*>(text.data());
    aes128_encrypt(&schedule, text.size() / AES_BLOCK_SIZE * AES_BLOCK_SIZE, bytes, bytes);
    if (oui_make_pool() != 0 || oui_read_file(put_file(text), key) != 0)
        return;
    for (const OuiEntry& entry : oui_entries()) {
        expect_end(entry.vendor);
        expect(oui_find(entry.prefix) == &entry, "a prefix that is not found");
    }
}

// Header and slots as they come; behind them as many blocks as the header says, when that is little. The lock is free:
// to wait for another process is the contract.
void ring(Input& input)
{
    const bool fitting = input.number() % 8 != 0;
    std::string content(input.rest());
    CaptureRingHeader header{};
    memcpy(&header, content.data(), std::min(content.size(), sizeof header));
    const size_t size = capture_ring_size(header.cnt, header.bs);
    if (fitting && size < 1 << 18)
        content.resize(size);
    if (content.size() >= offsetof(CaptureRingHeader, cnt))
        memset(content.data() + offsetof(CaptureRingHeader, lock), 0, sizeof header.lock);
    CaptureRing mapped;
    if (!open_ring(put_file(content), mapped))
        return;
    TakenBlock block;
    for (int taken = 0; taken < 20 && take_full_block(mapped, block); taken++) {
        std::string(block.bytes.begin(), block.bytes.end()); // every byte can be read
        expect(block.index < header.cnt && release_block(mapped, block) == 0, "a block that was not ours");
    }
    munmap(mapped.base, mapped.size);
}

// One text is every file: each reader takes the lines that it knows.
void configuration(Input& input)
{
    put_file(input.rest());
    english_only();
    applevel_load();
    char colour[colour_room];
    applevel_find_color(1, colour, [](uint32_t, uint32_t level) { return static_cast<int>(level % 2); });
    desc_init();
    for (uint32_t address : {0U, 0x01020304U, 0x04030201U, 0x0a000001U}) {
        char text[description_room];
        if (ipdesc_get(&address, 4, text, sizeof text) != nullptr)
            expect_end(text);
    }
    const uint8_t mac[6] = {0, 1, 2, 3, 4, 5};
    ipmacdesc_group_of(mac);
    char text[address_text_room];
    if (ipmacdesc_get_mac(mac, text) == 0)
        expect_end(text);
    assetsdesc_find_by_name("a", 1);
    for (uint32_t id = 0; id < itlgc_slots; id++) {
        assetsdesc_group_ancestor(id, 1);
        if (itlgc_pool != nullptr)
            expect_end(itlgc_pool[id].cname);
        if (const AssetGroup* group = assetsdesc_group(id))
            expect_end(group->name);
    }
}
