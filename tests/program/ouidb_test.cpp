#include "tests/support/program.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

// Runs the tool below `root`, "@" standing for it; its status and what it printed on both streams.
std::string ouidb(const PrivateRoot& root, std::string arguments)
{
    for (size_t at; (at = arguments.find('@')) != std::string::npos;)
        arguments.replace(at, 1, root.path());
    std::string output = root.path() + "/output";
    int status =
        system((VIGIL_BINARY_DIR "/tools/vigil-ouidb " + arguments + " >" + output + " 2>&1").c_str());
    return std::to_string(WEXITSTATUS(status)) + " " + read_file(output);
}

TEST(Ouidb, MakesWhatItLists)
{
    PrivateRoot root;
    const std::string key = " --key 000102030405060708090a0b0c0d0e0F";
    root.write("/list",
               "# comment\n\n00:1a:2b  Vendor\tname \r\n00-1A-2C other\n001A2D third\n00:1A:2E/28 bits\n");
    EXPECT_EQ(ouidb(root, "make @/list @/db" + key), "0 ");
    EXPECT_EQ(std::filesystem::file_size(root.path() + "/db") % 16, 0u);
    EXPECT_EQ(ouidb(root, "list @/db" + key), "0 00:1A:2B Vendor name\n00:1A:2C other\n00:1A:2D third\n");
    EXPECT_EQ(ouidb(root, "list @/db"), "255 invalid file\n");
    root.write("/bad", "00:1A:2B fine\n00:1A-2B not\n");
    EXPECT_EQ(ouidb(root, "make @/bad @/db"),
              "255 vigil-ouidb: " + root.path() + "/bad:2: not a prefix and a name: 00:1A-2B not\n");
    EXPECT_EQ(ouidb(root, "list @/none"), "255 file fstat error\n");
    EXPECT_EQ(ouidb(root, "list @/db --key 12"), "255 vigil-ouidb: --key takes 32 hexadecimal digits\n");
    EXPECT_EQ(ouidb(root, "").substr(0, 22), "255 usage: vigil-ouidb");
}

TEST(Ouidb, TheRealListIsReadBack)
{
    const std::string list = "/usr/share/ieee-data/oui.txt";
    if (!std::filesystem::exists(list))
        GTEST_SKIP() << "the package ieee-data is not installed";
    PrivateRoot root;
    ASSERT_EQ(ouidb(root, "make " + list + " @/db"), "0 ");
    std::string listed = ouidb(root, "list @/db");
    EXPECT_GT(std::count(listed.begin(), listed.end(), '\n'), 30000);
    EXPECT_NE(listed.find("\n00:D0:EF IGT\n"), std::string::npos);
}

} // namespace
