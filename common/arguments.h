#pragma once
// key=value arguments of a report.
#include "base/form.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

inline std::span<char*> arguments(int argc, char** argv)
{
    return {argv, argc > 0 ? static_cast<size_t>(argc) : 0};
}

// The text after `key` ('=' included) when the argument begins with it, otherwise null.
inline const char* value_of(const char* argument, std::string_view key)
{
    return strncmp(argument, key.data(), key.size()) == 0 ? argument + key.size() : nullptr;
}

// True when the argument is this key; the value is then read with atoi (anything unreadable is 0).
inline bool take_number(const char* argument, std::string_view key, int& number)
{
    const char* value = value_of(argument, key);
    if (value != nullptr)
        number = atoi(value);
    return value != nullptr;
}

inline bool take_text(const char* argument, std::string_view key, const char*& text)
{
    const char* value = value_of(argument, key);
    if (value != nullptr)
        text = value;
    return value != nullptr;
}

// True when the argument is this key; the row whose word is the value is chosen. An unknown word leaves the
// choice as it was.
template <class Row, size_t N>
bool take_word(const char* argument, std::string_view key, const Row (&rows)[N], const Row*& chosen)
{
    const char* value = value_of(argument, key);
    for (const Row& row : rows)
        if (value != nullptr && row.word == value)
            chosen = &row;
    return value != nullptr;
}

// Whether a report prints JSON: when its word was typed, or always, where the whole output is JSON; the word
// then changes nothing.
struct JsonChoice {
    bool chosen = form::always_json();
    explicit operator bool() const { return chosen; }
};

// The word as a number, non-zero for JSON.
inline bool take_json(const char* argument, std::string_view key, JsonChoice& json)
{
    const char* value = value_of(argument, key);
    if (value != nullptr && !form::always_json())
        json.chosen = atoi(value) != 0;
    return value != nullptr;
}

// Whether an argument that goes to the daemon with all others is such a word, and stays here.
inline bool withholds_json(const char* argument, std::string_view key)
{
    return form::always_json() && value_of(argument, key) != nullptr;
}

// The exact word "json=1"; any other is an argument like the rest, except where it changes nothing.
inline bool take_exact_json(const char* argument, JsonChoice& json)
{
    const bool exact = strcmp(argument, "json=1") == 0;
    json.chosen |= exact;
    return exact || (form::always_json() && value_of(argument, "json=") != nullptr);
}

// The page that was asked for: rows [start, end) of the listing, 64 bits wide so that nothing typed
// overflows.
struct Paging {
    int page = 1;
    int limit = 0;
    int64_t start() const { return (int64_t{page} - 1) * limit; }
    int64_t end() const { return start() + limit; }
    bool holds(int64_t row) const { return row >= start() && row < end(); }
};

// page= and limit=
inline bool take_paging(const char* argument, Paging& paging)
{
    return take_number(argument, "page=", paging.page) || take_number(argument, "limit=", paging.limit);
}
