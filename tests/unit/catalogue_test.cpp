#include "cli/catalogue.h"

#include "cli/not_supported.h"

#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

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
    auto expect_shown = [&](const std::string& module, const VerbEntry* entry) {
        for (; entry->verb != nullptr; entry++)
            EXPECT_EQ(entry->action.handler != not_supported, shown.contains(module + " " + entry->verb)) << module << " " << entry->verb;
    };
    for (const ModuleEntry* table : {analysis_table, management_table})
        for (; table->name != nullptr; table++)
            expect_shown(table->name, table->verbs);
    expect_shown("chart", chart_table);
}

} // namespace
