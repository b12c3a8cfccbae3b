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
    int status = system(("'" VIGIL_BINARY_DIR "/tools/vigil-ouidb' " + arguments + " >" + output + " 2>&1").c_str());
    return std::to_string(WEXITSTATUS(status)) + " " + read_file(output);
}

TEST(Ouidb, MakesWhatItLists)
{
    PrivateRoot root;
    const std::string key = " --key 000102030405060708090a0b0c0d0e0F";
    auto said = [&](const std::vector<std::string>& lines) {
        std::string all;
        for (const std::string& line : lines)
            all += "vigil-ouidb: " + root.path() + "/list: " + line + "\n";
        return all;
    };
    // each line is judged by itself, whatever its neighbours look like
    root.write(
        "/list",
        "# A/B\n\n00:1a:2b  Vendor\tname (hex)\r\n00-1A-2C   (hex)\t\tother\n00-1A-2C (base 16)\tother\n"
        "\t\t\t\tStreet 1/2\n001A2D thirdthirdthirdthirdthirdthirdthirdthirdthirdthirdth\n00:1A:2E/28 bits\n00:1A:2F A/S\n00:1A-2B two signs\n"
        "00:1A:30 \n00:1A:2B again\n00:1A:31 " +
            std::string(53, 'v') + "\n00:1A:32 last");
    EXPECT_EQ(ouidb(root, "make @/list @/db" + key),
              "0 " +
                  said({"lines with a \"/\", which the appliance will not read: 2", "lines without a prefix: 1", "lines without a name: 1",
                        "lines whose prefix was seen before: 1", "lines whose name the appliance cuts at 52 characters: 1"}));
    const std::string listed =
        "0 00:1A:2B Vendor name (hex)\n00:1A:2C other\n00:1A:2D thirdthirdthirdthirdthirdthirdthirdthirdthirdthirdth\n00:1A:31 " +
        std::string(52, 'v') + "\n00:1A:32 last\n";
    EXPECT_EQ(std::filesystem::file_size(root.path() + "/db") % 16, 0u);
    EXPECT_EQ(ouidb(root, "list @/db" + key), listed);
    EXPECT_EQ(ouidb(root, "list @/db"), "255 invalid file\n");
    // what cannot be had leaves the database as it was
    EXPECT_EQ(ouidb(root, "make @/none @/db"), "255 vigil-ouidb: cannot read " + root.path() + "/none: No such file or directory\n");
    EXPECT_EQ(ouidb(root, "make @/log @/db"), "255 vigil-ouidb: cannot read " + root.path() + "/log: Is a directory\n");
    root.write("/list", "00:1A:2B\n");
    EXPECT_EQ(ouidb(root, "make @/list @/db"), "255 " + said({"lines without a name: 1", "no line that the appliance will read"}));
    root.write("/list", "00:1A:2B fine\n");
    EXPECT_EQ(ouidb(root, "make @/list @/none/db"),
              "255 vigil-ouidb: cannot write " + root.path() + "/none/db: No such file or directory\n");
    EXPECT_EQ(ouidb(root, "make @/list /dev/full"), "255 vigil-ouidb: cannot write /dev/full: No space left on device\n");
    EXPECT_EQ(ouidb(root, "list @/db" + key), listed);
    std::string many;
    for (int i = 0; i < 51201; i++) {
        char line[20];
        snprintf(line, sizeof line, "%06x v\n", i);
        many += line;
    }
    root.write("/list", many);
    EXPECT_EQ(ouidb(root, "make @/list @/db"), "0 " + said({"lines beyond the 51200 records that the appliance reads: 1"}));
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
    EXPECT_EQ(ouidb(root, "make " + list + " @/db").substr(0, 2), "0 ");
    std::string listed = ouidb(root, "list @/db");
    EXPECT_GT(std::count(listed.begin(), listed.end(), '\n'), 30000);
    EXPECT_NE(listed.find("\n00:D0:EF IGT\n"), std::string::npos);
}

} // namespace
