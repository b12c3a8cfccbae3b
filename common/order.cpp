#include "common/order.h"

#include <algorithm>

bool ranks_before(const Ranked& a, const Ranked& b, const Refinement& refinement)
{
    if (a.key != b.key)
        return a.key > b.key;
    if (refinement.compare != nullptr) {
        int order = refinement.compare(refinement.context, a.slot, b.slot);
        if (order != 0)
            return order < 0;
    }
    return a.arrival < b.arrival;
}

void select_first(std::span<Ranked> rows, size_t wanted, const Refinement& refinement)
{
    if (wanted == 0 || wanted >= rows.size())
        return;
    std::nth_element(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(wanted), rows.end(),
                     [&](const Ranked& a, const Ranked& b) { return ranks_before(a, b, refinement); });
}

void rank_first(std::span<Ranked> rows, size_t wanted, const Refinement& refinement)
{
    select_first(rows, wanted, refinement);
    std::span<Ranked> front = rows.first(wanted < rows.size() ? wanted : rows.size());
    std::sort(front.begin(), front.end(),
              [&](const Ranked& a, const Ranked& b) { return ranks_before(a, b, refinement); });
}

Ranking::Ranking(std::span<Ranked> room, int64_t end)
    : room_(room), wanted_(static_cast<size_t>(std::clamp<int64_t>(end, 0, std::ssize(room)))),
      held_max_(wanted_ + std::max<size_t>(wanted_, 1024)), bounded_(wanted_ == 0)
{
}

// When twice what is wanted is held, the worse half can never be reached, nor can what is worse than the
// rest.
void Ranking::drop_unreachable()
{
    select_first(room_.first(held_), wanted_, {});
    held_ = wanted_;
    least_key_ = UINT64_MAX;
    for (const Ranked& row : room_.first(held_))
        least_key_ = std::min(least_key_, row.key);
    bounded_ = true;
}

void Ranking::rank()
{
    rank_first(room_.first(held_), wanted_, {});
    held_ = std::min(held_, wanted_);
}
