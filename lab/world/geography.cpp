#include "lab/world/geography.h"

#include "lab/dictionary/gbk.h"

namespace {

struct Place {
    const char *country, *region, *city, *carrier;
    bool domestic;
};
constexpr Place places[] = {
    {"",                 "",                    "",           "",              false},
    {"保留地址"_gbk, "",                    "",           "",              false},
    {"中国"_gbk,       "北京"_gbk,          "",           "联通"_gbk,    true },
    {"中国"_gbk,       "上海"_gbk,          "",           "电信"_gbk,    true },
    {"中国"_gbk,       "江苏"_gbk,          "南京"_gbk, "电信"_gbk,    true },
    {"中国"_gbk,       "江苏"_gbk,          "苏州"_gbk, "移动"_gbk,    true },
    {"中国"_gbk,       "浙江"_gbk,          "杭州"_gbk, "电信"_gbk,    true },
    {"中国"_gbk,       "广东"_gbk,          "深圳"_gbk, "电信"_gbk,    true },
    {"中国"_gbk,       "广东"_gbk,          "广州"_gbk, "移动"_gbk,    true },
    {"中国"_gbk,       "四川"_gbk,          "成都"_gbk, "电信"_gbk,    true },
    {"中国"_gbk,       "湖北"_gbk,          "武汉"_gbk, "联通"_gbk,    true },
    {"中国"_gbk,       "陕西"_gbk,          "西安"_gbk, "移动"_gbk,    true },
    {"中国"_gbk,       "山东"_gbk,          "济南"_gbk, "联通"_gbk,    true },
    {"中国"_gbk,       "辽宁"_gbk,          "沈阳"_gbk, "联通"_gbk,    true },
    {"中国"_gbk,       "福建"_gbk,          "厦门"_gbk, "移动"_gbk,    true },
    {"中国"_gbk,       "",                    "",           "教育网"_gbk, true },
    {"美国"_gbk,       "加利福尼亚"_gbk, "",           "",              false},
    {"美国"_gbk,       "弗吉尼亚"_gbk,    "",           "",              false},
    {"日本"_gbk,       "东京"_gbk,          "",           "",              false},
    {"韩国"_gbk,       "首尔"_gbk,          "",           "",              false},
    {"新加坡"_gbk,    "",                    "",           "",              false},
    {"德国"_gbk,       "法兰克福"_gbk,    "",           "",              false},
    {"英国"_gbk,       "伦敦"_gbk,          "",           "",              false},
    {"法国"_gbk,       "巴黎"_gbk,          "",           "",              false},
    {"荷兰"_gbk,       "阿姆斯特丹"_gbk, "",           "",              false},
    {"俄罗斯"_gbk,    "莫斯科"_gbk,       "",           "",              false},
    {"巴西"_gbk,       "圣保罗"_gbk,       "",           "",              false},
    {"澳大利亚"_gbk, "悉尼"_gbk,          "",           "",              false},
};

constexpr uint16_t reserved_place = 1, first_place = 2;

uint16_t place_by_hash(uint32_t network)
{
    uint32_t mixed = (network * 0x9e3779b1u) >> 16;
    auto candidates = static_cast<uint32_t>(std::size(places)) - first_place;
    return static_cast<uint16_t>(first_place + mixed % candidates);
}

// Shared address space and the networks for measurements.
bool is_reserved(uint32_t ip)
{
    return (ip & 0xffc00000) == 0x64400000 || (ip & 0xfffe0000) == 0xc6120000;
}

} // namespace

const std::vector<Location>& known_locations()
{
    static const std::vector<Location> locations = [] {
        std::vector<Location> made;
        for (const Place& place : places)
            made.push_back({place.country, place.region, place.city, place.carrier, place.domestic});
        return made;
    }();
    return locations;
}

uint16_t location_of(const Address& address)
{
    if (is_inside(address))
        return 0;
    if (!address.ipv6 && is_reserved(address.ipv4()))
        return reserved_place;
    return place_by_hash(address.ipv4() >> 16); // of either family: the first 16 bits
}
