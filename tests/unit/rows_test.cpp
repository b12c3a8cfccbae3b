#include "common/rows.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

struct Row {
    uint32_t key, refined, arrival;
};

uint64_t key_of(const Row& r)
{
    return r.key;
}
int refine(const Row& a, const Row& b)
{
    return static_cast<int>(a.refined) - static_cast<int>(b.refined);
}

// Whatever the page, it is the page of a stable sort of everything.
TEST(Rows, EveryPageIsThePageOfAStableSort)
{
    std::mt19937 random(7);
    std::vector<Row> all;
    for (uint32_t i = 0; i < 20000; i++)
        all.push_back({static_cast<uint32_t>(random() % 50), static_cast<uint32_t>(random() % 3), i});
    for (bool refined : {false, true}) {
        std::vector<Row> sorted = all;
        std::stable_sort(sorted.begin(), sorted.end(),
                         [&](const Row& a, const Row& b) { return a.key != b.key ? a.key > b.key : refined && a.refined < b.refined; });
        for (Paging paging :
             {Paging{1, 10}, Paging{3, 700}, Paging{20, 1000}, Paging{21, 1000}, Paging{1, 30000}, Paging{INT32_MAX, INT32_MAX},
              Paging{-1, 10}, Paging{0, 10}, Paging{1, -5}, Paging{INT32_MIN, INT32_MAX}, Paging{1, 0}}) {
            Rows<Row> rows({key_of, refined ? refine : nullptr});
            rows.want_until(paging.end());
            for (const Row& r : all)
                ASSERT_TRUE(rows.keep(r));
            rows.rank();
            std::vector<uint32_t> page, expected;
            rows.print_page(paging, [&](const Row& r, bool first) {
                EXPECT_EQ(first, page.empty());
                page.push_back(r.arrival);
            });
            for (int64_t i = paging.start(); i >= 0 && i < std::min<int64_t>(paging.end(), 20000); i++)
                expected.push_back(sorted[static_cast<size_t>(i)].arrival);
            EXPECT_EQ(page, expected) << paging.page << " " << paging.limit << " " << refined;
            EXPECT_EQ(rows.total(), 20000);
        }
    }
}

} // namespace
