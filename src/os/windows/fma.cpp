// The library's fma() multiplies in 64 bits, a few too few. Here the product is made exact (Dekker, 1971) and
// the sum of three rounded once (Boldo and Melquiond, 2008).
#include "os/fma.h"

#include <bit>
#include <cmath>

#include "os/types.h"

namespace trel::os {
namespace {

struct Pair {
    double high, low;
};

Pair exact_sum(double a, double b) {
    const double s = a + b, t = s - a;
    return {s, (a - (s - t)) + (b - t)};
}

// Two halves of 26 bits.
Pair split(double a) {
    const double t = 134217729.0 * a;  // 2^27 + 1
    const double high = t - (t - a);
    return {high, a - high};
}

Pair exact_product(double a, double b) {
    const double p = a * b;
    const Pair x = split(a), y = split(b);
    return {p, ((x.high * y.high - p) + x.high * y.low + x.low * y.high) + x.low * y.low};
}

// The sum, where it is not exact rounded to the neighbour with an odd last bit: what is added to it rounds as
// if nothing had been lost.
double sum_to_odd(double a, double b) {
    const Pair s = exact_sum(a, b);
    if (s.low == 0) return s.high;
    const u64 bits = std::bit_cast<u64>(s.high);
    if (bits & 1) return s.high;
    // One step towards the part that was rounded away.
    const bool away_from_zero = (s.low > 0) == (s.high > 0);
    return std::bit_cast<double>(away_from_zero ? bits + 1 : bits - 1);
}

}  // namespace

double fma(double a, double b, double c) noexcept {
    if (!std::isfinite(a * b) || !std::isfinite(c)) return a * b + c;
    if (a == 0 || b == 0 || c == 0) return a * b + c;  // one rounding, and the right sign of zero
    // Room for the split.
    constexpr double kLarge = 0x1p900, kUp = 0x1p100, kDown = 0x1p-100;
    if (std::fabs(a) > kLarge) return fma(a * kDown, b * kUp, c);
    if (std::fabs(b) > kLarge) return fma(a * kUp, b * kDown, c);
    const Pair product = exact_product(a, b);
    const Pair lower = exact_sum(c, product.low);
    const Pair upper = exact_sum(product.high, lower.high);
    return upper.high + sum_to_odd(lower.low, upper.low);
}

}  // namespace trel::os
