#include "reports/security/malicious_summary.h"

#include "base/address.h"
#include "base/document.h"
#include "reports/security/fixed_pool.h"

namespace {

constexpr uint32_t levels = 5; // 0 to 4; records of a higher one are in no count of levels
struct LevelCounts {
    uint32_t of[levels];
};

FixedPool<FixedPoolText<32>, uint32_t, 32, 32> type_pool;
// Sources and destinations together, kept so.
FixedPool<FixedPoolAddress, LevelCounts, 4096, 1024> address_pool;
FixedPool<FixedPoolText<48>, LevelCounts, 4096, 1024> domain_pool;
FixedPool<FixedPoolText<32>, uint32_t, 1024, 1024> area_pool;
LevelCounts level_totals;
static_assert(type_pool.bytes == 1536 && address_pool.bytes == 131072);
static_assert(domain_pool.bytes == 327680 && area_pool.bytes == 49152);

void count_level(LevelCounts& counts, uint32_t level)
{
    if (level < levels)
        counts.of[level]++;
}

void count_type(std::string_view type)
{
    if (!type_pool.tried() && !type_pool.prepare())
        note(FORMAT("fail to alloc malc pool {} bytes"), type_pool.bytes);
    if (auto* entry = type_pool.at(type))
        entry->counters++;
}

void count_address(const be32& address, uint32_t level)
{
    if (!address_pool.tried() && !address_pool.prepare())
        note(FORMAT("fail to alloc {} bytes for ippool"), address_pool.bytes);
    if (auto* entry = address_pool.at(address.raw()))
        count_level(entry->counters, level);
}

void count_domain(std::string_view name, uint32_t level)
{
    if (name.empty())
        return;
    if (!domain_pool.tried() && !domain_pool.prepare())
        note(FORMAT("fail to alloc {} bytes for dnspool"), domain_pool.bytes);
    if (auto* entry = domain_pool.at(name))
        count_level(entry->counters, level);
}

void count_area(std::string_view area)
{
    if (area.empty())
        return;
    if (!area_pool.tried() && !area_pool.prepare())
        note(FORMAT("fail to alloc {} bytes for areapool"), area_pool.bytes);
    if (area.find('|') != std::string_view::npos)
        area = "\xD6\xD0\xB9\xFA"; // China
    if (auto* entry = area_pool.at(area))
        entry->counters++;
}

template <class Pool, class PrintEntry> void print_entries(const Pool& pool, PrintEntry&& print_entry)
{
    bool first = true;
    for (const auto& entry : pool.entries()) {
        print_entry(comma_unless(first), entry);
        first = false;
    }
}

template <class Pool, class PrintEntry> void print_counted(const Pool& pool, PrintEntry&& print_entry)
{
    print_opening(FORMAT(R"({{"total":{}, "data":[)"), pool.entries().size());
    print_entries(pool, print_entry);
    print_closing(FORMAT("]}}"));
}

void print_areas()
{
    print_counted(area_pool, [](Separator separator, const auto& area) {
        print(FORMAT(R"({}{{"name":"{}","cnt":{}}})"), separator, Gbk{area.key.view()}, area.counters);
    });
}

void print_domains()
{
    print_counted(domain_pool, [](Separator separator, const auto& domain) {
        const auto& risc = domain.counters.of;
        print(FORMAT(R"({}{{"dns":"{}","risc":[{},{},{},{}]}})"), separator, domain.key.view(), risc[1],
              risc[2], risc[3], risc[4]);
    });
}

void print_addresses()
{
    print_counted(address_pool, [](Separator separator, const auto& address) {
        const auto& risc = address.counters.of;
        print(FORMAT(R"({}{{"ip":"{}","risc":[{},{},{},{}]}})"), separator,
              Ipv4{__builtin_bswap32(address.key.raw)}, risc[1], risc[2], risc[3], risc[4]);
    });
}

void print_levels()
{
    static constexpr std::string_view names[levels] = {"", "critical", "high", "mid", "low"};
    print_opening(FORMAT("["));
    for (uint32_t level = 1; level < levels; level++)
        print(FORMAT(R"({}{{"name":"{}", "cname":"{}", "cnt":{}}})"), comma_unless(level == 1), names[level],
              Gbk{level_word(level)}, level_totals.of[level]);
    print_closing(FORMAT("]"));
}

void print_types()
{
    print_opening(FORMAT("["));
    print_entries(type_pool, [](Separator separator, const auto& type) {
        print(FORMAT(R"({}{{"name":"{}", "cnt":{}}})"), separator, type.key.view(), type.counters);
    });
    print_closing(FORMAT("]"));
}

} // namespace

std::string_view level_word(uint32_t level)
{
    static constexpr const char* words[] = {nullptr, "\xD1\xCF\xD6\xD8", "\xB8\xDF", "\xD6\xD0", "\xB5\xCD"};
    return text_of(name_at(words, level, "\xCE\xB4\xD6\xAA"));
}

void summarise(const SummaryChoice& choice, const MaliciousRecord& record)
{
    if (choice.types != 0)
        count_type(record.type.view());
    if (choice.sources != 0)
        count_address(record.source, record.level);
    if (choice.destinations != 0)
        count_address(record.destination, record.level);
    if (choice.domains != 0)
        count_domain(record.indicator_name.view(), record.level);
    if (choice.areas != 0)
        count_area(record.area.view());
    if (choice.levels != 0)
        count_level(level_totals, record.level);
}

size_t words_in(const SummaryChoice& choice)
{
    return size_t{choice.areas != 0} + (choice.domains != 0) + (choice.sources != 0) +
           (choice.destinations != 0) + (choice.levels != 0) + (choice.types != 0);
}

void print_summaries(const SummaryChoice& choice)
{
    struct {
        int wanted;
        std::string_view word;
        void (*print)();
        bool again = false; // what the word before has printed, where both were typed
    } const summaries[] = {
        {choice.areas,        "show_area",  print_areas    },
        {choice.domains,      "show_dns",   print_domains  },
        {choice.sources,      "show_srcip", print_addresses},
        {choice.destinations, "show_dstip", print_addresses, choice.sources != 0},
        {choice.levels,                   "show_level",                   print_levels   },
        {choice.types,                   "show_malc",                    print_types  },
    };
    for (const auto& summary : summaries)
        if (summary.wanted != 0 && begin_document(summary.word, summary.again))
            summary.print();
}
