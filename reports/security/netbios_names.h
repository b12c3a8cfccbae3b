#pragma once
// NetBIOS names in first-level encoding: two letters a character, 16 characters, the last a suffix.
#include "base/wire_types.h"

struct NetbiosName {
    char text[16];
};

// The first 15 characters without blanks; a pair that encodes no name character gives nothing.
NetbiosName netbios_name(const FixedText<31>& encoded);

// A part of a name that records are filtered by.
class NetbiosKey {
public:
    // False when the key has more than 15 characters or one that no name has; lower case counts as upper.
    bool encode(std::string_view typed);
    // Whether the encoded key stands anywhere in the encoded name.
    bool occurs_in(const FixedText<31>& encoded) const;

private:
    char pairs_[30] = {};
    size_t length_ = 0;
};
