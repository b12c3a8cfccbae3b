#pragma once
// The map of the program: every module, its verbs, what they do and how large a segment they need.
#include "common/handler.h"

#include <cstdint>

// A handler's address, a generic verb code or a raw command code; told apart by value alone.
union Action {
    constexpr Action(Handler* function) : handler(function) {}
    constexpr Action(uint64_t code) : word(code) {}
    Handler* handler;
    uint64_t word;
};
static_assert(sizeof(Action) == 8);

struct VerbEntry {
    const char* verb; // null ends a table
    Action action;
    int32_t segment_kib; // 0 or less: no session is opened; raised in place by the size rule
};

struct ModuleEntry {
    const char* name; // null ends a table
    VerbEntry* verbs;
};

extern ModuleEntry analysis_table[], management_table[];
extern VerbEntry chart_table[];

// The verbs that any other module name answers, in the order in which they are compared.
struct FallbackVerb {
    const char* verb;
    uint32_t code;
    int32_t segment_kib;
};
extern const FallbackVerb fallback_verbs[9];

// The entry of a module's verb, or null. The first match wins.
VerbEntry* find_entry(ModuleEntry* table, const char* module, const char* verb);
VerbEntry* find_verb(VerbEntry* verbs, const char* verb);
const FallbackVerb* find_fallback(const char* verb);
