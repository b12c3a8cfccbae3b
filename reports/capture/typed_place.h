#pragma once
// A path of obspcap: a typed one is taken as it is, the default one lies below the root in force.
#include "link/places.h"

#include <cstring>

struct TypedPlace {
    PlacePath fixed;
    const char* path = fixed.text;

    explicit TypedPlace(const char* place) : fixed(placed(place)) {}
    TypedPlace(const TypedPlace&) = delete;

    static constexpr size_t most = 511;
    bool too_long() const { return path != fixed.text && strlen(path) > most; }
};
