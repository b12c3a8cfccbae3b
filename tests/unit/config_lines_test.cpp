#include "common/config_lines.h"

#include "common/address_descriptions.h"
#include "common/asset_lines.h"
#include "common/assets_store.h"
#include "common/command_registry.h"
#include "common/custom_ranges.h"
#include "common/intelligence.h"
#include "tests/unit/private_files.h"

#include <gtest/gtest.h>

namespace {

TEST(ConfigLines, AreCutIntoWordAndArguments)
{
    const struct {
        std::string line;
        int status;
        std::string word = {}, text = {};
    } cases[] = {
        {"mac ip=1.2.3.4 d=x\n", 0, "mac", "ip=1.2.3.4 d=x"},
        {"   mac\t ip=1\td=x  \t\r\n more", 0, "mac", "ip=1 d=x"},
        {"\tmac d=x", 0, "", "mac d=x"},
        {"  # mac d=x", -1},
        {"mac", -1},
        {"mac  \n", -1},
        {"\n", -1},
        {std::string(130, 'w') + " a=b", 0, std::string(119, 'w'), "a=b"},
    };
    for (const auto& c : cases) {
        std::string line = c.line;
        RequestRecord carrier;
        ASSERT_EQ(carry_line(line.data(), carrier), c.status) << c.line;
        if (c.status == 0) {
            EXPECT_STREQ(carrier_text(carrier), c.word.c_str());
            EXPECT_STREQ(reinterpret_cast<char*>(carrier.data_address), c.text.c_str());
            EXPECT_EQ(carrier.carrier_kind, 2);
            EXPECT_EQ(carrier.error, 0);
        }
    }
}

TEST(ConfigLines, ArgumentsEndWithoutEqualsSign)
{
    const struct {
        std::string text, read;
    } cases[] = {{"a=1 b=2", "a:1;b:2;"},
                 {"a=\"x\" b=\"y c=z\"", "a:x;b:y;c:z\";"},
                 {"a=1 junk b=2", "a:1;"},
                 {"a=1  b=2", "a:1;"},
                 {"a=b=c =d e=", "a:b=c;:d;e:;"},
                 {"a=\" b=\"\"", "a:;b:;"},
                 {"junk", ""}};
    for (const auto& c : cases) {
        std::string text = c.text, read;
        RequestRecord carrier{};
        carrier.data_address = reinterpret_cast<uintptr_t>(text.data());
        CarriedArguments arguments(carrier);
        std::string_view key;
        for (char* value = nullptr; arguments.next(key, value);)
            read += std::string(key) + ":" + value + ";";
        EXPECT_EQ(read, c.read) << c.text;
    }
}

TEST(ConfigLines, FilesAreFoundInTheirDirectory)
{
    PrivateFiles files;
    EXPECT_EQ(configuration_file("/kestrel.conf", 127).text, files.path + "/conf/kestrel.conf");
    setenv("KSETC", std::string(127, 'x').c_str(), 1);
    EXPECT_EQ(configuration_file("/kestrel.conf", 127).text, std::string(127, 'x') + "/kestrel.conf");
    EXPECT_STREQ(configuration_file("/kestrel.conf", 126).text, "");
}

// What a handler leaves in the carrier: error and text, or nothing.
std::string refusal(RecordHandler* handler, const std::string& text)
{
    std::string line = "word " + text;
    RequestRecord carrier;
    EXPECT_EQ(carry_line(line.data(), carrier), 0) << text;
    handler(carrier);
    EXPECT_TRUE(carrier.error == 0 || carrier.error == 22);
    return carrier.error == 0 ? "" : carrier_text(carrier);
}

void fresh_tables()
{
    ASSERT_EQ(ipmacdesc_init() | cusiprng_init() | assetsdesc_init(), 0);
    itlgc_init();
}

TEST(ConfigLines, HandlersRefuse)
{
    fresh_tables();
    const struct {
        RecordHandler* handler;
        std::string text, refusal;
    } cases[] = {{ipmacdesc_line, "ip=10.1.2.3 d=gw", ""},
                 {ipmacdesc_line, "m=0:1:2:3:4:5 d=gw pid=7 other=x", ""},
                 {ipmacdesc_line, "ip=10.1.2 d=gw", "INV_IPMAC"},
                 {ipmacdesc_line, "ip=10.1.2.3", "NO_DESC"},
                 {ipmacdesc_line, "d=\"\"", "NO_DESC"},
                 {ipmacdesc_line, "d=x", "INV_LEN"},
                 {cusiprng_line, "iprng=10.0.0.0/8 info=office", ""},
                 {cusiprng_line, "iprng=1.2.3.256 info=x", "INV_IP"},
                 {cusiprng_line, "iprng=any info=x", "INV_IP"},
                 {cusiprng_line, "iprng=0.0.0.0/8 info=x", "INV_IP_INFO"},
                 {cusiprng_line, "iprng=1.2.3.4-0 info=x", "INV_IP_INFO"},
                 {cusiprng_line, "iprng=10.0.0.1", "INV_IP_INFO"},
                 {assetsdesc_group_line, "id=1024 name=a", "INV_ID\n"},
                 {assetsdesc_group_line, "id=-1 name=a", "INV_ID\n"},
                 {assetsdesc_group_line, "id=3 pid=1025 name=a", "INV_PID\n"},
                 {assetsdesc_group_line, "id=3", "INV_NAME\n"},
                 {assetsdesc_group_line, "id=3 pid=1024 name=a", ""},
                 {assetsdesc_group_line, "id=1023 name=a", ""},
                 {assetsdesc_line, "pid=3 name=a value=1.2.3.4", "INV_OBJECT\n"},
                 {assetsdesc_line, "pid=3 name=a value=text", "INV_OBJECT\n"},
                 {assetsdesc_line, "id=4097 pid=3 name=a value=text", ""},
                 {assetsdesc_line, "id=-1", ""},
                 {assetsdesc_line, "pid=3", "INV_NAME\n"},
                 {assetsdesc_line, "name=a", "INV_PID\n"},
                 {assetsdesc_line, "pid=4 name=a", "INV_PID\n"},
                 {assetsdesc_line, "pid=1025 name=a", "INV_PID\n"},
                 {assetsdesc_line, "pid=3 name=a", ""},
                 {assetsdesc_line, "pid=3 name=b value=0", ""},
                 {assetsdesc_line, "pid=3 name=c value=", ""},
                 {assetsdesc_line, "pid=3 name=d value=", "EXISTS\n"},
                 {assetsdesc_line, "id=4096 pid=3 name=e", ""},
                 {assetsdesc_line, "logicid=70 pid=3 name=f", ""}};
    for (const auto& c : cases)
        EXPECT_EQ(refusal(c.handler, c.text), c.refusal) << c.text;
    EXPECT_EQ(assetsdesc_totals().assets, 5u);
    EXPECT_EQ(assetsdesc_totals().highest_slot, 4096u);
    EXPECT_EQ(assetsdesc_totals().highest_logical_id, 70u);
    EXPECT_EQ(assetsdesc_totals().groups, 2u);
}

TEST(ConfigLines, FullTablesTakeNoMore)
{
    fresh_tables();
    auto fill = [](RecordHandler* handler, int count, const std::string& before, const std::string& after) {
        for (int i = 0; i < count; i++)
            ASSERT_EQ(refusal(handler, before + std::to_string(i) + after), "");
    };
    fill(cusiprng_line, 8192, "info=x iprng=100000", "");
    EXPECT_EQ(refusal(cusiprng_line, "iprng=1.2.3.4 info=x"), "POOL_FULL");
    fill(ipmacdesc_line, 4097, "d=x ip=1.2.3.4.", ""); // the same address again and again
    for (uint8_t i = 0; i < 16; i++)
        fill(ipmacdesc_line, 256, "d=x ip=9.9." + std::to_string(i) + ".", "");
    char text[address_text_room];
    const uint8_t stored[] = {9, 9, 15, 254}, dropped[] = {9, 9, 15, 255}, mac[6] = {};
    EXPECT_EQ(ipmacdesc_get(stored, 4, text), 0);
    EXPECT_EQ(ipmacdesc_get(dropped, 4, text), -1);
    EXPECT_EQ(ipmacdesc_add_mac(mac, "late"), -1);
    fill(assetsdesc_group_line, 1024, "id=0 name=", "");
    EXPECT_EQ(refusal(assetsdesc_group_line, "name=x"), "GRPPOOL_FULL\n");
    fill(assetsdesc_line, 4096, "pid=1024 name=", "");
    EXPECT_EQ(refusal(assetsdesc_line, "pid=1 name=x"), "ASSETS_POOL_FULL\n");
    EXPECT_EQ(refusal(assetsdesc_line, "id=5 pid=1 name=x"), "") << "overwrites";
    EXPECT_EQ(assetsdesc_totals().highest_logical_id, 4097u);
}

TEST(ConfigLines, IntelligenceSourcesNeedBothNames)
{
    itlgc_init();
    refusal(itlgc_line, "id=31 name=" + std::string(40, 'n') + " cname=" + std::string(40, 'c'));
    refusal(itlgc_line, "id=0 name=a cname=b vendor=258");
    refusal(itlgc_line, "id=1 name=a");
    refusal(itlgc_line, "name=a cname=b");
    refusal(itlgc_line, "id=32 name=a cname=b"); // beyond the pool
    EXPECT_EQ(itlgc_pool[31].name, std::string(30, 'n'));
    EXPECT_EQ(itlgc_pool[31].cname, std::string(31, 'c'));
    EXPECT_EQ(itlgc_pool[31].vendor, 255);
    EXPECT_EQ(itlgc_pool[0].vendor, 2);
    EXPECT_STREQ(itlgc_pool[1].name, "");
}

int runs;
void refuse(RequestRecord& record)
{
    runs++;
    reject(record, std::string(200, 'm'));
}

TEST(CommandRegistry, DispatchesByCode)
{
    auto dispatched = [](uint32_t code) {
        RequestRecord record{};
        record.code = code;
        record.segment_size = 9;
        command_dispatch(record);
        return std::string(carrier_text(record)) + "," + std::to_string(record.segment_size);
    };
    EXPECT_EQ(dispatched(7), ",9") << "no table";
    EXPECT_EQ(command_register(0, refuse), -1);
    EXPECT_EQ(command_register(513, refuse), -1);
    EXPECT_EQ(command_register(512, refuse), 0);
    EXPECT_EQ(command_register(511, refuse), 0);
    EXPECT_EQ(dispatched(0), "INV_CMD,9");
    EXPECT_EQ(dispatched(513), "INV_CMD,9");
    EXPECT_EQ(dispatched(511), ",9");
    EXPECT_EQ(dispatched(7), "NO_CMD,9");
    EXPECT_EQ(dispatched(512), std::string(119, 'm') + ",0");
    EXPECT_EQ(command_unregister(512), 0);
    EXPECT_EQ(dispatched(512), "NO_CMD,9");
    EXPECT_EQ(runs, 1);
}

} // namespace
