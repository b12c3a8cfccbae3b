// Prints every verb that can be reached, a line each: "daemon module verb", in the order of the search.
#include "cli/catalogue.h"

#include <cstdio>

static void print_table(ModuleEntry* table, const char* daemon, ModuleEntry* earlier)
{
    for (ModuleEntry* module = table; module->name != nullptr; module++)
        for (VerbEntry* entry = module->verbs; entry->verb != nullptr; entry++)
            if (find_entry(table, module->name, entry->verb) == entry &&
                (earlier == nullptr || find_entry(earlier, module->name, entry->verb) == nullptr))
                printf("%s %s %s\n", daemon, module->name, entry->verb);
}

int main()
{
    print_table(analysis_table, "analysis", nullptr);
    print_table(management_table, "management", analysis_table);
    for (VerbEntry* entry = chart_table; entry->verb != nullptr; entry++)
        printf("chart chart %s\n", entry->verb);
    for (const FallbackVerb& row : fallback_verbs)
        printf("analysis MODULE %s\n", row.verb);
}
