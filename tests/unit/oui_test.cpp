#include "common/oui.h"

#include "base/output.h"
#include "tests/support/captured_output.h"
#include "tests/support/vendors.h"
#include "tests/unit/private_files.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace {

const std::string signature("KESTREL\0", 8);

// What loading prints.
std::string load()
{
    static auto& pools = *new std::vector<const OuiEntry*>; // of earlier loads: never freed
    pools.push_back(oui_entries().data());
    return captured_output([] { EXPECT_EQ(oui_load(), 0); });
}

std::string load(const PrivateFiles& files, const std::string& content)
{
    files.write("/usr/ramdisk/etc/oui.dat", content);
    return load();
}

std::string vendor_of(uint8_t a, uint8_t b, uint8_t c)
{
    const uint8_t mac[] = {a, b, c, 1, 2, 3};
    const OuiEntry* entry = oui_find(mac);
    return entry == nullptr ? "-" : entry->vendor;
}

TEST(Oui, ReadsRecords)
{
    PrivateFiles files;
    EXPECT_EQ(vendor_of(0, 0x1a, 0x2b), "-") << "before any load";
    const struct {
        std::string line;
        uint8_t prefix[3];
        std::string vendor;
    } cases[] = {
        {"00:1A:2B Vendor name", {0x00, 0x1a, 0x2b}, "Vendor name"},
        {"00:1a:2b second", {0x00, 0x1a, 0x2b}, "Vendor name"},
        {"80:9A:2B same bucket", {0x80, 0x9a, 0x2b}, "same bucket"},
        {"00:01:02/28 long", {0x00, 0x01, 0x02}, "-"},
        {"00:01:03 A/S", {0x00, 0x01, 0x03}, "-"},
        {"00:01:04", {0x00, 0x01, 0x04}, "-"},
        {"00:01:05 ", {0x00, 0x01, 0x05}, "-"},
        {"01:02 two pieces", {0x01, 0x02, 0x00}, "two pieces"},
        {"4:05x:z1:99 lax digits", {0x40, 0x05, 0x31}, "lax digits"},
        {":\xff-:gg  blanks ", {0x00, 0x00, 0x10}, " blanks "},
        {"00:01:06 " + std::string(60, 'v'), {0x00, 0x01, 0x06}, std::string(52, 'v')},
        {"00:01:07 " + std::string(5000, 'v'), {0x00, 0x01, 0x07}, std::string(52, 'v')},
    };
    std::string text = signature + "\n\r\n";
    for (const auto& c : cases)
        text += c.line + (text.size() % 2 == 0 ? "\r\n" : "\r");
    EXPECT_EQ(load(files, enciphered(text + "00:01:08 without an end")), "");
    for (const auto& c : cases)
        EXPECT_EQ(vendor_of(c.prefix[0], c.prefix[1], c.prefix[2]), c.vendor) << c.line;
    EXPECT_EQ(vendor_of(0, 1, 8), "-");
    EXPECT_EQ(oui_entries().size(), 7u);
    EXPECT_EQ(load(files, enciphered(signature + "00:1A:2B later\n02:00:01 new\n" + std::string(1, '\0') + "02:00:02 behind the end\n")),
              "");
    EXPECT_EQ(vendor_of(0, 0x1a, 0x2b), "Vendor name") << "loading again keeps what is known";
    EXPECT_EQ(vendor_of(2, 0, 1), "new");
    EXPECT_EQ(vendor_of(2, 0, 2), "-");
}

TEST(Oui, Member)
{
    PrivateFiles files;
    load(files, enciphered(signature + "06:05:04 Maker\n"));
    const uint8_t known[] = {6, 5, 4, 0x0a, 0, 0xff}, stranger[] = {6, 5, 3, 0x0a, 0, 0xff};
    const struct {
        char separator;
        UnknownMaker unknown;
        const char *of_known, *of_stranger;
    } cases[] = {
        {':', UnknownMaker::empty, R"(,"oui_mac":"Maker_0a:00:ff")", R"(,"oui_mac":"")"},
        {'-', UnknownMaker::left_out, R"(,"oui_mac":"Maker_0a-00-ff")", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(captured_output([&] { print_oui_mac(known, c.separator, c.unknown); }), c.of_known);
        EXPECT_EQ(captured_output([&] { print_oui_mac(stranger, c.separator, c.unknown); }), c.of_stranger);
    }
}

TEST(Oui, ReportsBadFiles)
{
    PrivateFiles files;
    EXPECT_EQ(load(), "file fstat error\n");
    const struct {
        std::string content, message;
    } cases[] = {
        {"", "file size is 0\n"},
        {"x", "invalid file\n"},
        {signature + "03:00:01 not enciphered\n", "invalid file\n"},
        {enciphered("KESTRELS03:00:01 wrong\n"), "invalid file\n"},
        {signature, ""}, // no whole block to decipher
        {enciphered(signature + "03:00:01"), ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(load(files, c.content), c.message);
        EXPECT_EQ(oui_entries().size(), 0u);
    }
    std::filesystem::remove(files.path + "/usr/ramdisk/etc/oui.dat");
    std::filesystem::create_directory(files.path + "/usr/ramdisk/etc/oui.dat");
    std::string printed = load();
    EXPECT_TRUE(printed == "not read complete!\n" || printed == "file size is 0\n") << printed;
    EXPECT_EQ(vendor_of(3, 0, 1), "-");
}

TEST(Oui, AFullPoolDropsWhatFollows)
{
    PrivateFiles files;
    std::string text = signature;
    char line[32];
    for (int i = 0; i < 51210; i++) {
        snprintf(line, sizeof line, "%02x:%02x:%02x v\n", 0x60 + (i >> 16), i >> 8 & 255, i & 255);
        text += line;
    }
    EXPECT_EQ(load(files, enciphered(text)), "");
    EXPECT_EQ(oui_entries().size(), 51200u);
    EXPECT_EQ(vendor_of(0x60, 51199 >> 8, 51199 & 255), "v");
    EXPECT_EQ(vendor_of(0x60, 51200 >> 8, 51200 & 255), "-");
}

} // namespace
