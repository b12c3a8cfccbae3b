#include "cli/catalogue.h"

#include "cli/not_supported.h"
#include "wire/request.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Calls each(module, entry) for every row of the three tables.
template <class Each> void for_each_row(Each each)
{
    for (ModuleEntry* table : {analysis_table, management_table})
        for (ModuleEntry* module = table; module->name != nullptr; module++)
            for (VerbEntry* entry = module->verbs; entry->verb != nullptr; entry++)
                each(std::string(module->name), *entry);
    for (VerbEntry* entry = chart_table; entry->verb != nullptr; entry++)
        each(std::string("chart"), *entry);
}

// Every row leads somewhere, and apart from the run-on no module has a verb twice.
TEST(Catalogue, HoldsNoRowByAccident)
{
    std::map<std::string, int> rows;
    for_each_row([&](const std::string& module, const VerbEntry& entry) {
        std::string name = module + " " + entry.verb;
        rows[name]++;
        EXPECT_NE(0U, entry.action.word) << name;
        EXPECT_TRUE(entry.segment_kib > 0 || module == "obspcap") << name;
    });
    std::vector<std::string> doubled;
    for (const auto& [name, times] : rows)
        for (int i = 1; i < times; i++)
            doubled.push_back(name);
    EXPECT_EQ((std::vector<std::string>{"obsreasslog list", "obsreasslog remove", "obsreasslog stat"}), doubled);
    EXPECT_EQ(188U, rows.size());
}

// The verbs of obsreasslog run on into those of obsreasspkt, in the same array.
TEST(Catalogue, KeepsTheRunOn)
{
    std::vector<std::string> verbs;
    for (const VerbEntry* entry = management_table[0].verbs; entry->verb != nullptr; entry++)
        verbs.emplace_back(entry->verb);
    EXPECT_EQ(
        (std::vector<std::string>{"list", "remove", "config", "stat", "stat", "set", "get", "add", "remove", "list", "disable", "debug"}),
        verbs);
    EXPECT_EQ(management_table[0].verbs + 4, management_table[1].verbs);
    EXPECT_EQ(find_entry(management_table, "obsreasslog", "set"), find_entry(management_table, "obsreasspkt", "set"));
    EXPECT_EQ(management_table[0].verbs + 3, find_entry(management_table, "obsreasslog", "stat"));
}

// The demo runs every verb that is built; its loops stand for several modules.
TEST(Catalogue, IsInTheDemoWhole)
{
    static const std::pair<std::string, std::vector<std::string>> loops[] = {
        {"$two", {"", "2"}},
        {"$log", {"obssyslog", "obssshlog", "obstlslog", "obsnetbios"}},
        {"$list", {"tunwltable", "dnstunwltable"}},
    };
    std::ifstream script(VIGIL_SOURCE_DIR "/scripts/demo_verbs.sh");
    std::set<std::string> shown;
    for (std::string line; std::getline(script, line);) {
        std::istringstream words(line);
        std::string word, module, verb;
        while (words >> word && word != "shows" && word != "takes" && word != "counts" && word != "prints" && word != "hides") {
        }
        if (word == "prints" || word == "hides") // and what
            words >> word;
        words >> module >> verb;
        shown.insert(module + " " + verb);
        for (const auto& [variable, values] : loops)
            if (size_t at = module.find(variable); at != std::string::npos)
                for (const std::string& value : values)
                    shown.insert(std::string(module).replace(at, variable.size(), value) + " " + verb);
    }
    for_each_row([&](const std::string& module, const VerbEntry& entry) {
        std::string name = module + " " + entry.verb;
        if (entry.action.handler == not_supported)
            EXPECT_EQ(0U, shown.count(name)) << name;
        else
            EXPECT_EQ(1U, shown.count(name)) << name;
    });
}

} // namespace
