#pragma once
// Colours of application levels, from the "applevel" lines of the configuration.
#include <cstdint>

constexpr unsigned colour_room = 8;

struct AppLevel {
    AppLevel* next;
    uint16_t level;
    char colour[colour_room];
    char extra[32];
};
static_assert(sizeof(AppLevel) == 56);

extern AppLevel* applevel_list; // the newest first

// Reads the list; says nothing unless memory fails. Costs one failed open when there is no file.
void applevel_load();

// The newest entry of a level, or null.
const AppLevel* applevel_find(uint32_t level);

// Whether an application belongs to a level; the dictionary's to answer.
using BelongsToLevel = int(uint32_t application, uint32_t level);

// Copies the colour of the first entry whose level the application belongs to and returns the entry's extra
// text; null when there is none, or nobody to ask.
const char* applevel_find_color(uint32_t application, char (&colour)[colour_room], BelongsToLevel* belongs);
