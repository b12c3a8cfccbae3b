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
