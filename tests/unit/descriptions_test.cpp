#include "common/descriptions.h"

#include "base/output.h"
#include "common/address_descriptions.h"
#include "common/applevel.h"
#include "common/assets_store.h"
#include "common/custom_ranges.h"
#include "common/english_only.h"
#include "tests/unit/private_files.h"

#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <netinet/ether.h>

namespace {

// "-" when there is none.
std::string described(const char* address, size_t room = description_room)
{
    uint8_t bytes[6];
    bool mac = strchr(address, ':') != nullptr;
    if (mac)
        memcpy(bytes, ether_aton(address), 6);
    else
        inet_pton(AF_INET, address, bytes);
    std::string out(room, '?');
    const char* text = ipdesc_get(bytes, mac ? 6 : 4, out.data(), room);
    EXPECT_TRUE(text == nullptr || text == out.data());
    return text == nullptr ? "-" : text;
}

TEST(Descriptions, ComeFromTheExactTableThenTheRanges)
{
    PrivateFiles files;
    EXPECT_EQ(described("10.1.2.3"), "-") << "before anything is set up";
    files.write("/conf/kestrel.conf",
                "# names\n"
                "mac ip=10.1.2.3 d=gw\nmac ip=10.1.2.3 d=core\r\n"
                "mac m=300.0.0.1/24 d=\"low bytes\n"
                "mac m=00-11-22-33-44-55 d=\"switch\" pid=65537\n"
                "mac m=1:2:3:4:3:4 d=six\n" // in the bucket of 1.2.3.4
                "mac ip=10.1.2.4 d=" +
                    std::string(50, 'd') +
                    "\n"
                    "cusiprng iprng=10.1.0.0/16 info=office\n"
                    "cusiprng iprng=10.1.0.0/16 info=late\n"
                    "cusiprng iprng=20.0.0.1-20.0.0.5 info=short\n"
                    "cusiprng iprng=20.0.0.1-20.0.0.9 info=long\n"
                    "cusiprng iprng=172.16.0.0-172.31.255.255 info=wide\n"
                    "cusiprng iprng=172.17.0.1 info=one\n"
                    "cusiprng iprng=172.18.0.1 info=two\ncusiprng iprng=172.19.0.1 info=three\n"
                    "cusiprng iprng=173.0.0.1 info=four\ncusiprng iprng=174.0.0.1 info=five\n" +
                    std::string(1023, '#') +
                    "mac ip=9.9.9.9 d=rest\n"
                    "mac ip=9.9.9.8 d=unended");
    files.write("/conf/obs_assets.conf", "group name=g\nassets pid=1 name=any\n");
    ASSERT_EQ(desc_init(), 0);
    const struct {
        const char *address, *text;
    } cases[] = {{"10.1.2.3", "core"},
                 {"44.0.0.1", "low"},
                 {"0:11:22:33:44:55", "switch"},
                 {"0:11:22:33:44:56", "-"},
                 {"1:2:3:4:3:4", "six"},
                 {"1.2.3.4", "-"},
                 {"10.1.255.255", "office"},
                 {"20.0.0.5", "short"},
                 {"20.0.0.9", "long"},
                 {"10.2.0.0", "-"},
                 {"172.17.0.1", "one"},
                 {"172.17.0.2", "-"},
                 {"9.9.9.9", "rest"},
                 {"9.9.9.8", "unended"},
                 {"0.0.0.0", "-"},
                 {"10.1.2.4", "ddddddddddddddddddddddddddddddddd"}};
    // 172.17.0.2 is covered by the wide range, yet missed.
    for (const auto& c : cases)
        EXPECT_EQ(described(c.address), c.text) << c.address;
    EXPECT_EQ(described("10.1.2.3", 3), "co");
    EXPECT_STREQ(cusiprng_information(8192), "");
    for (uint32_t number : {0U, 8193U})
        EXPECT_EQ(cusiprng_information(number), nullptr);
    EXPECT_EQ(assetsdesc_totals().assets, 1u);

    const uint8_t mac[] = {0, 0x11, 0x22, 0x33, 0x44, 0x55};
    char text[address_text_room];
    EXPECT_EQ(ipmacdesc_group_of(mac), 1);
    EXPECT_EQ(ipmacdesc_add_mac(mac, "renamed"), 0);
    EXPECT_EQ(ipmacdesc_get_mac(mac, text), 0);
    EXPECT_STREQ(text, "renamed");
    EXPECT_EQ(ipmacdesc_group_of(mac), 0);

    Asset asset{};
    inet_pton(AF_INET, "10.2.0.1", asset.value);
    strcpy(asset.name, "printer");
    EXPECT_EQ(assetsdesc_add(asset), nullptr);
    inet_pton(AF_INET, "10.1.0.1", asset.value);
    EXPECT_EQ(assetsdesc_add(asset), nullptr);
    EXPECT_STREQ(assetsdesc_add(asset), "EXISTS\n");
    EXPECT_EQ(described("10.2.0.1"), "printer");
    EXPECT_EQ(described("10.1.0.1"), "office") << "ranges come first";
}

TEST(Descriptions, NeedTheFirstFileAlone)
{
    PrivateFiles files;
    testing::internal::CaptureStderr();
    EXPECT_EQ(desc_init(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "fopen: No such file or directory\n");
    files.write("/elsewhere/kestrel.conf", "mac ip=1.2.3.4 d=there\n");
    files.write("/elsewhere/obs_assets.conf", "group name=g\n");
    setenv("KSETC", (files.path + "/elsewhere").c_str(), 1);
    EXPECT_EQ(desc_init(), 0);
    EXPECT_EQ(described("1.2.3.4"), "there");
    EXPECT_EQ(assetsdesc_totals().groups, 0u) << "the assets' file does not move";
}

// Each says so once, and the others are read all the same.
TEST(Descriptions, FilesThatCannotBeReadSaySo)
{
    PrivateFiles files;
    std::string said;
    for (const char* place : {"/conf/kestrel.conf", "/conf/obs_assets.conf", "/conf/obscfg.conf", "/usr/ramdisk/KS.conf"}) {
        std::filesystem::create_directories(files.path + place);
        said += files.path + place + ": Is a directory\n";
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(desc_init(), 0);
    applevel_load();
    EXPECT_FALSE(english_only());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), said);
}

Asset text_asset(const char* value, uint32_t id = 0)
{
    Asset asset{};
    asset.type = asset_text;
    asset.id = id;
    strcpy(asset.value, value);
    return asset;
}

TEST(AssetsStore, FindsTextsThatBeginWithTheQuery)
{
    EXPECT_EQ(assetsdesc_find_by_name("a", 1), nullptr);
    ASSERT_EQ(assetsdesc_init(), 0);
    EXPECT_EQ(assetsdesc_add(text_asset("abc")), nullptr);
    EXPECT_EQ(assetsdesc_add(text_asset("0123456789abcdef-long")), nullptr);
    for (const char* query : {"ab", "abc", "0123456789abcdef", "0123456789abcdef-lo"})
        EXPECT_NE(assetsdesc_find_by_name(query, strlen(query)), nullptr) << query;
    for (const char* query : {"abcd", "b", "0123456789abcdef-x"})
        EXPECT_EQ(assetsdesc_find_by_name(query, strlen(query)), nullptr) << query;
    EXPECT_STREQ(assetsdesc_add(text_asset("0123456789abcdef")), "EXISTS\n");
    EXPECT_EQ(assetsdesc_add(text_asset("0123456789abcdef+", 2)), nullptr) << "slot 2 again, same bucket";
    EXPECT_EQ(assetsdesc_find_by_name("0123456789abcdef-", 17), nullptr);
    Asset high = text_asset("high", 4096);
    high.logical_id = 70;
    EXPECT_EQ(assetsdesc_add(high), nullptr);
    EXPECT_EQ(assetsdesc_totals().highest_slot, 4096u);
    EXPECT_EQ(assetsdesc_totals().highest_logical_id, 70u);
    EXPECT_EQ(assetsdesc_find_by_name("abc", 3)->logical_id, 1u);
    EXPECT_STREQ(assetsdesc_add(text_asset("beyond", 4097)), "INV_ID\n");
}

TEST(AssetsStore, ClimbsToAncestors)
{
    ASSERT_EQ(assetsdesc_init(), 0);
    for (AssetGroup group : {AssetGroup{1, 0, "top"}, AssetGroup{2, 1, "middle"}, AssetGroup{0, 2, "low"}, AssetGroup{8, 9, "circle"},
                             AssetGroup{9, 8, "circle"}})
        EXPECT_EQ(assetsdesc_add_group(group), nullptr);
    EXPECT_EQ(assetsdesc_add_group({1024, 0, "last"}), nullptr);
    EXPECT_STREQ(assetsdesc_add_group({1025, 0, "beyond"}), "INV_ID\n");
    const struct {
        uint32_t id, target, found;
    } cases[] = {{3, 1, 1}, {3, 3, 3}, {1, 3, 0}, {8, 1, 0}, {1023, 1023, 0}, {1024, 1024, 1024}, {1025, 1025, 0}, {0, 0, 0}};
    for (const auto& c : cases) {
        const AssetGroup* group = assetsdesc_group_ancestor(c.id, c.target);
        if (c.id == 1023)
            EXPECT_NE(group, nullptr) << "a free slot is a slot, too";
        else
            EXPECT_EQ(group != nullptr ? group->id : 0u, c.found) << c.id << " " << c.target;
    }
    EXPECT_STREQ(assetsdesc_group(3)->name, "low");
    EXPECT_EQ(assetsdesc_group(4), nullptr);
}

int even_levels(uint32_t application, uint32_t level)
{
    return level % 2 == 0 && application == 5;
}

TEST(AppLevel, KeepsAnEntryForEveryToken)
{
    PrivateFiles files;
    applevel_load();
    EXPECT_EQ(applevel_list, nullptr);
    files.write("/conf/obscfg.conf", "other id=1 color=no\n"
                                     "  applevel id=3 color=red extr=x\r\n"
                                     "applevels id=65534 color=lightgreen  extr=" +
                                         std::string(40, 'e') +
                                         "\n"
                                         "\tapplevel id=7\napplevel id=65535\napplevel id=-1\napplevel color=blue\n");
    applevel_load();
    std::string list;
    for (const AppLevel* entry = applevel_list; entry != nullptr; entry = entry->next)
        list += std::to_string(entry->level) + "," + entry->colour + "," + entry->extra + ";";
    EXPECT_EQ(list, "65534,lightgr," + std::string(31, 'e') + ";65534,lightgr,;65534,,;3,red,x;3,red,;3,,;");
    EXPECT_STREQ(applevel_find(3)->extra, "x");
    EXPECT_EQ(applevel_find(7), nullptr);
    char colour[colour_room] = "";
    EXPECT_EQ(applevel_find_color(5, colour, nullptr), nullptr);
    EXPECT_EQ(applevel_find_color(6, colour, even_levels), nullptr);
    EXPECT_EQ(applevel_find_color(5, colour, even_levels), std::string(31, 'e'));
    EXPECT_STREQ(colour, "lightgr");

    std::string many;
    for (int i = 0; i < 2000; i++)
        many += "applevel id=" + std::to_string(i) + "\n";
    files.write("/conf/obscfg.conf", many);
    applevel_load();
    EXPECT_EQ(applevel_list->level, 1023);
}

TEST(AppLevel, PathMustFit)
{
    PrivateFiles files;
    std::filesystem::current_path(files.path);
    for (size_t length : {19u, 20u}) {
        std::string directory(length, 'd');
        files.write("/" + directory + "/obscfg.conf", "applevel id=4\n");
        setenv("KSETC", directory.c_str(), 1);
        applevel_load();
        EXPECT_EQ(applevel_list != nullptr, length == 19);
    }
    std::filesystem::current_path("/");
}

} // namespace
