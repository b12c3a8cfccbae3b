// The texts of this file are compiled to GBK.
#include "lab/world/geography.h"

namespace {

constexpr uint16_t reserved_place = 1, first_place = 2;

uint16_t place_by_hash(uint32_t network)
{
    uint32_t mixed = (network * 0x9e3779b1u) >> 16;
    auto places = static_cast<uint32_t>(known_locations().size()) - first_place;
    return static_cast<uint16_t>(first_place + mixed % places);
}

// Shared address space and the networks for measurements.
bool is_reserved(uint32_t ip)
{
    return (ip & 0xffc00000) == 0x64400000 || (ip & 0xfffe0000) == 0xc6120000;
}

} // namespace

const std::vector<Location>& known_locations()
{
    static const std::vector<Location> places = {
        {     },
        {  "保留地址", "",                "",       "", false},
        { "中国",       "北京",          "",       "联通", true},
        {  "中国",       "上海",          "",       "电信", true},
        {  "中国",       "江苏",          "南京", "电信", true},
        {  "中国",       "江苏",          "苏州", "移动", true},
        {  "中国",       "浙江",          "杭州", "电信", true},
        {  "中国",       "广东",          "深圳", "电信", true},
        {  "中国",       "广东",          "广州", "移动", true},
        {  "中国",       "四川",          "成都", "电信", true},
        {  "中国",       "湖北",          "武汉", "联通", true},
        {  "中国",       "陕西",          "西安", "移动", true},
        {  "中国",       "山东",          "济南", "联通", true},
        {  "中国",       "辽宁",          "沈阳", "联通", true},
        {  "中国",       "福建",          "厦门", "移动", true},
        {  "中国",       "",                "",       "教育网", true},
        {  "美国",       "加利福尼亚", "",       "", false},
        { "美国",       "弗吉尼亚",    "",       "", false},
        { "日本",       "东京",          "",       "", false},
        { "韩国",       "首尔",          "",       "", false},
        { "新加坡",    "",                "",       "", false},
        { "德国",       "法兰克福",    "",       "", false},
        { "英国",       "伦敦",          "",       "", false},
        { "法国",       "巴黎",          "",       "", false},
        { "荷兰",       "阿姆斯特丹", "",       "", false},
        { "俄罗斯",    "莫斯科",       "",       "", false},
        { "巴西",       "圣保罗",       "",       "", false},
        { "澳大利亚", "悉尼",          "",       "", false},
    };
    return places;
}

uint16_t location_of(const Address& address)
{
    if (is_inside(address))
        return 0;
    if (!address.ipv6 && is_reserved(address.ipv4()))
        return reserved_place;
    return place_by_hash(address.ipv4() >> 16); // of either family: the first 16 bits
}
