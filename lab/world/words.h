#pragma once
// The words in which sessions say what was asked.
#include <cstdint>

const char* dns_type_word(uint16_t type);       // "A", "AAAA", … or "DNS"
const char* tls_version_word(uint16_t version); // "TLS1.2", … or ""
