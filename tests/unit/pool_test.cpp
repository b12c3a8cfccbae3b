#include "common/pool.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

namespace {

struct Count {
    uint32_t flows;
};
uint64_t by_flows(const Count& c)
{
    return c.flows;
}

// Whatever grows behind it, a pool holds every key once, in the order of arrival.
template <class Tested, class MakeKey> void fold_against_a_map(uint32_t keys, MakeKey&& key)
{
    Tested pool;
    std::map<std::string, uint32_t> seen;
    std::vector<uint32_t> arrival;
    for (uint32_t i = 0; i < keys * 3; i++) {
        uint32_t n = i * 7919 % keys;
        auto [at, is_new] = seen.try_emplace(std::to_string(n), 0);
        at->second++;
        if (is_new)
            arrival.push_back(n);
        Count* counters = pool.at(key(n));
        ASSERT_NE(counters, nullptr);
        ASSERT_EQ(counters->flows == 0, is_new) << n;
        counters->flows++;
    }
    ASSERT_EQ(pool.size(), arrival.size());
    for (uint32_t i = 0; i < pool.size(); i++) {
        EXPECT_TRUE(pool[i].key.is(key(arrival[i]))) << i;
        EXPECT_EQ(pool[i].counters.flows, seen[std::to_string(arrival[i])]) << i;
    }
}

TEST(Pool, HoldsEveryKeyOnceInTheOrderOfArrival)
{
    for (uint32_t keys : {1U, 8U, 9U, 1024U, 1025U, 20000U}) {
        fold_against_a_map<Pool<Ipv4Key, Count, 4096, 1024>>(keys, [](uint32_t n) { return n << 12 | n >> 20; });
        fold_against_a_map<Pool<ApplicationKey, Count, 16, 8>>(keys, [](uint32_t n) { return n; });
        fold_against_a_map<Pool<AddressKey, Count, 4096, 256>>(keys, [](uint32_t n) {
            AddressKey::Value value{};
            memcpy(value.bytes + 4, &n, sizeof n); // the two words that are not hashed at first
            return value;
        });
        std::string text;
        fold_against_a_map<Pool<TextKey<42>, Count, 2048, 1024>>(
            keys, [&](uint32_t n) -> std::string_view { return text = "the.same.sixteen." + std::to_string(n); });
    }
}

TEST(Pool, TextsAreComparedWholeAndCut)
{
    using Key = TextKey<42>;
    Pool<Key, Count, 32, 1024> pool;
    const std::string long_text(60, 'x');
    for (std::string_view text :
         {std::string_view("0123456789abcdef-1"), std::string_view("0123456789abcdef-2"), std::string_view("0123456789abcdef-"),
          std::string_view("0123456789abcdef-1"), std::string_view(long_text), std::string_view(long_text).substr(1)})
        pool.at(Key::cut(text))->flows++;
    ASSERT_EQ(pool.size(), 4U);
    EXPECT_EQ(pool[0].counters.flows, 2U);
    EXPECT_EQ(pool[3].key.text, std::string(42, 'x'));
    EXPECT_EQ(pool[3].counters.flows, 2U);
}

TEST(Pool, AddressesAreComparedWithoutTheirFamily)
{
    Pool<AddressKey, Count, 4096, 256> pool;
    const Count* first = pool.at({.bytes = {10}, .is_ipv6 = false});
    EXPECT_EQ(pool.at({.bytes = {10}, .is_ipv6 = true}), first);
    EXPECT_FALSE(pool[0].key.address.is_ipv6);
}

TEST(Pool, DelaysBeyondTheBoundAreNoMeasurement)
{
    DelayCounter<uint64_t> delay{};
    EXPECT_EQ(delay.average(), 0U);
    for (uint32_t us : {9999999U, 10000000U, 4U, UINT32_MAX})
        delay.add(us);
    EXPECT_EQ(delay.samples, 2U);
    EXPECT_EQ(delay.average(), 5000001U);
    DelayCounter<uint32_t> narrow{};
    for (int i = 0; i < 430; i++)
        narrow.add(9999999);
    EXPECT_EQ(narrow.sum, 4299999570U - 4294967296U); // wraps in 32 bits
}

// Equal keys keep the order of arrival, on every page.
TEST(Pool, PagesFollowTheOrder)
{
    Pool<Ipv4Key, Count, 4096, 1024> pool;
    for (uint32_t i = 0; i < 5000; i++)
        pool.at(i)->flows = i % 5;
    auto page = [&](Paging paging, uint64_t (*key)(const Count&)) {
        std::vector<std::pair<uint32_t, int64_t>> out;
        print_page(pool, paging, key, [&](const auto& entry, int64_t i) { out.emplace_back(entry.key.ip, i); });
        return out;
    };
    using Page = std::vector<std::pair<uint32_t, int64_t>>;
    EXPECT_EQ(page({2, 3}, nullptr), (Page{{3, 3}, {4, 4}, {5, 5}}));
    EXPECT_EQ(page({501, 2}, by_flows), (Page{{3, 1000}, {8, 1001}}));
    EXPECT_EQ(page({2501, 2}, by_flows), Page{});
    EXPECT_EQ(page({0, 3}, by_flows), Page{});
    EXPECT_EQ(page({INT32_MAX, INT32_MAX}, nullptr), Page{});
    EXPECT_EQ(page(everything, by_flows).size(), 5000U);
}

} // namespace
