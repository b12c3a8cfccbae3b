// What the inner loops of a large report cost, each alone.
#include "base/address.h"
#include "base/clock.h"
#include "base/lookup2.h"
#include "common/pool.h"
#include "common/rows.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <vector>

namespace {

// A deterministic sequence that no branch predictor learns.
uint64_t scrambled(uint64_t i)
{
    i = (i ^ i >> 30) * 0xbf58476d1ce4e5b9ULL;
    i = (i ^ i >> 27) * 0x94d049bb133111ebULL;
    return i ^ i >> 31;
}

void lookup2_of_a_name(benchmark::State& state)
{
    const char name[] = "www.host1234.exa";
    for (auto _ : state)
        benchmark::DoNotOptimize(lookup2(name, 16, 0x20120303));
}
BENCHMARK(lookup2_of_a_name);

void address_as_text(benchmark::State& state)
{
    char text[Ipv4::most_bytes()];
    uint64_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(Ipv4{static_cast<uint32_t>(scrambled(i++))}.put(text));
}
BENCHMARK(address_as_text);

void time_as_text(benchmark::State& state)
{
    char text[LocalTime::most_bytes()];
    uint32_t i = 1700000000;
    for (auto _ : state)
        benchmark::DoNotOptimize(LocalTime{i++}.put(text));
}
BENCHMARK(time_as_text);

struct Record {
    uint64_t key;
    char rest[220];
};

// Keeping a page of state.range(1) out of state.range(0) records of a session's size.
void keep_a_page(benchmark::State& state)
{
    std::vector<Record> records(static_cast<size_t>(state.range(0)));
    for (size_t i = 0; i < records.size(); i++)
        records[i].key = scrambled(i);
    for (auto _ : state) {
        Rows<Record> rows({[](const Record& r) { return r.key; }});
        rows.want_until(state.range(1));
        for (const Record& record : records)
            rows.keep(record);
        rows.rank();
        benchmark::DoNotOptimize(rows[0]);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(keep_a_page)
    ->Args({100000, 100})
    ->Args({100000, 10000})
    ->Args({100000, 100000})
    ->Unit(benchmark::kMillisecond);

struct Counters {
    uint32_t flows, up_bytes, down_bytes;
};

// Folding a million records into state.range(0) addresses.
void fold_into_a_pool(benchmark::State& state)
{
    auto keys = static_cast<uint64_t>(state.range(0));
    for (auto _ : state) {
        Pool<Ipv4Key, Counters, 4096, 1024> pool;
        for (uint64_t i = 0; i < 1000000; i++)
            if (Counters* counters = pool.at(static_cast<uint32_t>(scrambled(scrambled(i) % keys))))
                counters->flows++;
        benchmark::DoNotOptimize(pool.size());
    }
    state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(fold_into_a_pool)->Arg(4000)->Arg(30000)->Arg(290000)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace
