// Files the tool writes for others, and the one settings file of its texts.
#include "common/alert_log.h"
#include "common/english_only.h"
#include "common/export_file.h"
#include "tests/support/captured_output.h"
#include "tests/unit/private_files.h"

#include <ctime>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

class Places : public testing::Test {
protected:
    Places()
    {
        fs::create_directories(root / "usr/obslog");
        setenv("TZ", "CST-8", 1);
        tzset();
    }
    ~Places() override { unsetenv("RAMLOG"); }

    PrivateFiles files;
    fs::path root = files.path;
};

TEST_F(Places, ExportRowsBeginWithALineFeed)
{
    ExportFile file;
    char name[128];
    ASSERT_TRUE(open_export(file, name, sizeof name));
    EXPECT_TRUE(std::string(name).size() == 18 && std::string(name).substr(14) == ".csv") << name;
    unsigned cells = 0;
    std::string printed = captured_output([&] { export_header(file, cells, "\xD6\xD0"); });
    EXPECT_EQ(printed, "w=20013\nw=20013\nlen=3\nlen=3\n");
    export_text(file, cells, "b,c");
    cells = 0;
    export_number(file, cells, 18446744073709551615UL);
    export_record_text(file, cells, "\xE4\xB8\xAD");   // UTF-8
    export_record_text(file, cells, "\xD6\xD0,x");     // not UTF-8
    export_record_text(file, cells, "a\xE0\xA4\x85z"); // a character without a code ends the cell
    export_record_text(file, cells, std::string(100, 'x').c_str());
    EXPECT_EQ(cells, 5U);
    EXPECT_TRUE(close_export(file));
    EXPECT_EQ(files.read("/usr/obslog/"s + name), "\n\xE4\xB8\xAD,b,c\n18446744073709551615,\xD6\xD0,\xD6\xD0,x,a," + std::string(64, 'x'));
}

TEST_F(Places, ExportIsNamedAfterTheLocalSecondAndTruncatesItsTwin)
{
    char first[128] = "", second[128] = "-";
    while (strcmp(first, second) != 0) { // once more when a second has passed in between
        ExportFile file;
        unsigned cells = 0;
        ASSERT_TRUE(open_export(file, first, sizeof first));
        export_text(file, cells, "long text");
        close_export(file);
        ASSERT_TRUE(open_export(file, second, sizeof second));
        cells = 0;
        export_text(file, cells, "x");
        close_export(file);
    }
    EXPECT_EQ(files.read("/usr/obslog/"s + second), "\nx");
    tm local{};
    ASSERT_NE(strptime(second, "%Y%m%d%H%M%S", &local), nullptr);
    EXPECT_NEAR(static_cast<double>(timegm(&local) - 8 * 3600), static_cast<double>(time(nullptr)), 100);
}

TEST_F(Places, NothingIsExportedWithoutAFile)
{
    fs::remove_all(root / "usr/obslog");
    ExportFile file;
    char name[128];
    unsigned cells = 0;
    EXPECT_FALSE(open_export(file, name, sizeof name));
    export_text(file, cells, "x");
    export_number(file, cells, 1);
    EXPECT_EQ(cells, 0U);
    EXPECT_FALSE(close_export(file));
}

// At the close, or before it.
TEST_F(Places, AnExportKnowsWhetherItsBytesWentOut)
{
    for (size_t size : {10U, 1U << 20}) {
        ExportFile file{.stream = fopen("/dev/full", "w")};
        unsigned cells = 0;
        export_text(file, cells, std::string(size, 'x').c_str());
        EXPECT_FALSE(close_export(file)) << size;
    }
}

TEST_F(Places, EnglishOnlyIsALineOfTheSettings)
{
    EXPECT_FALSE(english_only());
    auto with = [&](const std::string& settings) {
        files.write("/usr/ramdisk/KS.conf", settings);
        return english_only();
    };
    for (const std::string& yes : {"ENONLY=1"s, "A=2\nENONLY=1x\n"s, std::string(900, 'a') + "\nENONLY=1\n"})
        EXPECT_TRUE(with(yes)) << yes;
    for (const char* no : {"", "ENONLY=", "ENONLY=0\n", " ENONLY=1\n#ENONLY=1\n"})
        EXPECT_FALSE(with(no)) << no;
}

TEST_F(Places, AlertsGoToTheFileOfTheUtcDayNamedAfterTheLocalDate)
{
    constexpr int64_t before_midnight = 1767283199; // 2026-01-01 15:59:59 UTC, 23:59:59 local
    constexpr int64_t next_utc_day = 1767312000;    // 2026-01-02 00:00:00 UTC, 08:00:00 local
    write_alert_at(before_midnight, "dropped: no directory");
    fs::create_directories(root / "usr/keslog");
    write_alert_at(before_midnight, "one");
    setenv("RAMLOG", root.c_str(), 1);
    write_alert_at(before_midnight + 2, "two");
    EXPECT_EQ(files.read("/usr/keslog/alert_2026.01.01.log"), "2026.01.01/23:59:59 one\n2026.01.02/00:00:01 two\n");
    write_alert_at(next_utc_day, "three");
    EXPECT_EQ(files.read("/alert_2026.01.02.log"), "2026.01.02/08:00:00 three\n");
    setenv("RAMLOG", std::string(5000, 'x').c_str(), 1);
    write_alert_at(next_utc_day + 86400, "dropped: no such path");
    setenv("RAMLOG", root.c_str(), 1);
    write_alert_at(next_utc_day, "four"); // appended
    EXPECT_EQ(files.read("/alert_2026.01.02.log"), "2026.01.02/08:00:00 three\n2026.01.02/08:00:00 four\n");
}

} // namespace
