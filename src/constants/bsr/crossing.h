// Where a size that grows along the indices of a series reaches a limit, with few questions: sizes cost two
// logarithms each, of double-doubles far out, and plans ask for very many such places.
#pragma once

#include <algorithm>

#include "arith/estimate/double_double.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::BinarySplitting {

inline double nearly(double x) {
    return x;
}
inline double nearly(const DoubleDouble& x) {
    return x.high;
}

// The smallest m in (a, b) with size(m) >= limit; b where there is none. size never falls.
//
// The straight line through the ends of what is left tells where to look. The look after that goes twice as
// far from the end that has just moved, so that both ends come close. Where two looks leave more than half,
// the next one halves.
// The ends' sizes are given.
template <class Size, class F>
u64 first_reaching(u64 a, u64 b, const Size& limit, F&& size, const Size& at_a, const Size& at_b) {
    u64 lo = a, hi = b;
    if (hi - lo <= 1) return hi;
    double below = nearly(at_a - limit), above = nearly(at_b - limit);
    u64 before = 0;
    bool second = false, halve = false, from_below = false;
    while (hi - lo > 1) {
        const u64 width = hi - lo;
        u64 from_lo = width / 2;
        const bool line = !halve && below < 0 && above > 0;
        if (line) {
            const double step = -below / (above - below) * static_cast<double>(width);
            from_lo = std::clamp<u64>(static_cast<u64>(step), 1, width - 1);
            if (second && from_below) {
                from_lo = std::min(2 * from_lo + 1, width - 1);
            } else if (second) {
                const u64 from_hi = std::min(2 * (width - from_lo) + 1, width - 1);
                from_lo = width - from_hi;
            } else {
                before = width;
            }
        }
        const u64 m = lo + from_lo;
        const Size there = size(m);
        from_below = limit > there;
        (from_below ? lo : hi) = m;
        (from_below ? below : above) = nearly(there - limit);
        halve = line && second && hi - lo > before / 2;
        second = line && !second;
    }
    return hi;
}
template <class Size, class F>
u64 first_reaching(u64 a, u64 b, const Size& limit, F&& size) {
    if (b - a <= 1) return b;
    return first_reaching<Size>(a, b, limit, size, size(a), size(b));
}

}  // namespace kalvor::BinarySplitting
