// How the sanitizers behave in the tests and in what the tests start: memory of reports is not freed before
// the end of a run, and an exhausted machine is a case that is tested.
#include <cstdlib>

#define ASAN_DEFAULTS "detect_leaks=0:allocator_may_return_null=1"
#define UBSAN_DEFAULTS "print_stacktrace=1"

extern "C" const char* __asan_default_options();
extern "C" const char* __ubsan_default_options();
extern "C" const char* __asan_default_options()
{
    return ASAN_DEFAULTS;
}
extern "C" const char* __ubsan_default_options()
{
    return UBSAN_DEFAULTS;
}

// What is given from outside stays.
static const int inherited = setenv("ASAN_OPTIONS", ASAN_DEFAULTS, 0) + setenv("UBSAN_OPTIONS", UBSAN_DEFAULTS, 0);
