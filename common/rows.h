#pragma once
// Collected records of a report, kept so that one page of them can be printed. Only what can still reach the
// page is held (its end is known before the first batch); what is held grows with what arrives, never from a
// typed limit. Ties keep the order of arrival.
#include "base/document.h"
#include "common/arguments.h"
#include "common/order.h"

#include <type_traits>

// An order of records: the larger key first; equal keys by `refine` (negative: a first); then arrival.
// Without a key: the order of arrival.
template <class Record> struct Order {
    uint64_t (*key)(const Record&) = nullptr;
    int (*refine)(const Record& a, const Record& b) = nullptr;
};

// A word of "sort=" and what it orders by.
template <class Record> struct SortWord {
    std::string_view word;
    Order<Record> order;
};

// The part that does not depend on the record's type.
class RowStore {
public:
    // An order's comparison of equal keys without its type, and the caller that knows the type.
    using AnyRefine = void (*)();
    using CallRefine = int (*)(AnyRefine refine, const void* a, const void* b);

    RowStore(size_t record_size, CallRefine call_refine, AnyRefine refine)
        : record_size_(record_size), call_refine_(call_refine), refine_(refine)
    {
    }
    RowStore(const RowStore&) = delete;

    // Positions [0, end) are wanted; before the first offer. Without it every row is held.
    void want_until(int64_t end) { wanted_ = end < 0 ? 0 : end; }
    // Room for so many rows in the ranking; false when memory is exhausted. Offers make room by themselves:
    // only a report that has words of its own for this failure asks before.
    bool reserve(size_t rows);
    bool make_room() // for one more
    {
        return held_ < entry_room_ || reserve(entry_room_ == 0 ? block_rows : entry_room_ * 2);
    }
    // Counts a row with this key and copies it if it can reach the page. False when memory is exhausted; the
    // row is not counted then.
    bool offer(uint64_t key, const void* record);
    void rank();

    int64_t total() const { return total_; }
    size_t held() const { return held_; }
    const void* ranked(size_t i) const { return at(entries_[i].slot); }

private:
    static constexpr size_t block_rows = 1024;
    void* at(uint32_t slot) const { return blocks_[slot / block_rows] + slot % block_rows * record_size_; }
    Refinement refinement() const;
    bool beats_the_worst(uint64_t key, const void* record) const;
    bool take_slot(uint32_t& slot);
    void drop_unreachable();

    const size_t record_size_;
    const CallRefine call_refine_;
    const AnyRefine refine_; // null: none
    int64_t wanted_ = INT64_MAX;
    int64_t total_ = 0;
    Ranked* entries_ = nullptr; // [0, held) in use; behind them, after a drop, the freed slots wait for reuse
    size_t held_ = 0, slots_ = 0, entry_room_ = 0;
    char** blocks_ = nullptr; // of block_rows records each, zero-filled
    size_t blocks_held_ = 0, block_room_ = 0;
    bool bounded_ = false; // `worst_` is known: rows that do not rank before it cannot reach the page
    Ranked worst_{};
};

template <class Record> class Rows {
    static_assert(std::is_trivially_copyable_v<Record>);

public:
    explicit Rows(Order<Record> order = {})
        : store_(sizeof(Record), call_refine, reinterpret_cast<RowStore::AnyRefine>(order.refine)),
          key_(order.key)
    {
    }

    void want_until(int64_t end) { store_.want_until(end); }
    bool reserve(size_t rows) { return store_.reserve(rows); }

    // Counts the record and holds a copy if it can reach the page. False only when memory is exhausted.
    bool keep(const Record& record) { return keep(record, key_ != nullptr ? key_(record) : 0); }
    // The same with a key that the order alone cannot give.
    bool keep(const Record& record, uint64_t key) { return store_.offer(key, &record); }

    // The same with a line for a lacking index (null: none) and one for a lacking block of records.
    bool keep_or_say(const Record& record, const char* no_index, const char* no_block)
    {
        const bool room = store_.make_room();
        if (room && keep(record))
            return true;
        if (const char* line = room ? no_block : no_index)
            refuse(line);
        return false;
    }

    // Brings the held rows into order; after the last batch.
    void rank() { store_.rank(); }

    int64_t total() const { return store_.total(); } // all records kept track of, held or not
    size_t held() const { return store_.held(); }
    const Record& operator[](size_t i) const { return *static_cast<const Record*>(store_.ranked(i)); }

    // Calls print_row(record, first) for the rows of the page, after rank(). `first` is true for the first
    // printed row.
    template <class PrintRow> void print_page(const Paging& paging, PrintRow&& print_row) const
    {
        int64_t start = paging.start(), end = paging.end();
        if (start < 0)
            return;
        if (end > static_cast<int64_t>(held()))
            end = static_cast<int64_t>(held());
        for (int64_t i = start; i < end; i++)
            print_row((*this)[static_cast<size_t>(i)], i == start);
    }

private:
    static int call_refine(RowStore::AnyRefine refine, const void* a, const void* b)
    {
        return reinterpret_cast<int (*)(const Record&, const Record&)>(refine)(
            *static_cast<const Record*>(a), *static_cast<const Record*>(b));
    }

    RowStore store_;
    uint64_t (*key_)(const Record&);
};
