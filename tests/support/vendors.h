#pragma once
// The vendor database as the appliance stores it.
#include "common/oui.h"

#include <nettle/aes.h>
#include <string>

// Every whole block under the key of this build; what follows stays as it is.
inline std::string enciphered(std::string text)
{
    aes128_ctx schedule;
    aes128_set_encrypt_key(&schedule, oui_build_key().data());
    auto* bytes = reinterpret_cast<uint8_t*>(text.data());
    aes128_encrypt(&schedule, text.size() / 16 * 16, bytes, bytes);
    return text;
}
