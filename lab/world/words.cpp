#include "lab/world/words.h"

const char* dns_type_word(uint16_t type)
{
    static constexpr struct {
        uint16_t type;
        const char* word;
    } words[] = {
        {1,   "A"    },
        {2,   "NS"   },
        {5,   "CNAME"},
        {6,   "SOA"  },
        {12,  "PTR"  },
        {15,  "MX"   },
        {16,  "TXT"  },
        {28,  "AAAA" },
        {33,  "SRV"  },
        {65,  "HTTPS"},
        {255, "ANY"  },
    };
    for (auto& row : words)
        if (row.type == type)
            return row.word;
    return "DNS";
}

const char* tls_version_word(uint16_t version)
{
    static constexpr const char* words[] = {"TLS1.0", "TLS1.1", "TLS1.2", "TLS1.3"};
    return version >= 0x0301 && version <= 0x0304 ? words[version - 0x0301] : "";
}

std::string_view name_of_host(std::string_view host)
{
    if (host.starts_with('['))
        return host.substr(1, host.find(']') - 1);
    return host.substr(0, host.find(':'));
}
