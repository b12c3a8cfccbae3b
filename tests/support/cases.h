#pragma once
// Small tables in one text: "input => result | input => result | ...".
#include <gtest/gtest.h>
#include <string>

template <class Run> void expect_cases(const std::string& table, Run run)
{
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + 3) {
        end = table.find(" | ", at);
        std::string row = table.substr(at, end - at);
        size_t arrow = row.find(" => ");
        ASSERT_NE(arrow, std::string::npos) << row;
        EXPECT_EQ(run(row.substr(0, arrow)), row.substr(arrow + 4)) << row;
    }
}
