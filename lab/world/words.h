#pragma once
// The words in which sessions say what was asked.
#include <cstdint>
#include <string_view>

const char* dns_type_word(uint16_t type);       // "A", "AAAA", … or "DNS"
const char* tls_version_word(uint16_t version); // "TLS1.2", … or ""

// The name or address in the host of a request: without its port, and without an address's brackets.
std::string_view name_of_host(std::string_view host);
