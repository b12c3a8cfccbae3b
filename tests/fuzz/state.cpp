// Compiled twice and linked in front of the product and behind it: what lies between is its state.
#define NAME(what) NAME_OF(WHERE, what)
#define NAME_OF(where, what) JOINED(where, what)
#define JOINED(where, what) state_##where##_##what
extern char NAME(data)[64], NAME(bss)[64];
char NAME(data)[64] = {1}, NAME(bss)[64];
