#include "constants/polynomials/zero_place.h"

#include <algorithm>

namespace kalvor::Polynomials {
namespace {

constexpr u64 kBeyond = ~u64(0);
constexpr u64 kLargestBits = 63;
// Widths are 2^-110 of the distances to terms.
constexpr u64 kPrecision = 110;

SimpleInt nearest_integer(const Dyadic& x) {
    return (x + Dyadic{1, 1}).floor();
}
Dyadic magnitude(const Dyadic& x) {
    return {x.n.abs(), x.k};
}

}  // namespace

ZeroPlace::ZeroPlace(const Dyadic& low, const Dyadic& high) : nearest_(0), offset_{DoubleDouble(0.5), 1} {
    const Dyadic x = (low + high).half();
    const SimpleInt nearest = nearest_integer(x);
    if (nearest.sign() <= 0 || nearest.bit_length() > kLargestBits) {
        nearest_ = nearest.sign() <= 0 ? 0 : kBeyond;
        value_ = x.to_double_double().value();
        return;
    }
    nearest_ = nearest.words()[0];
    offset_ = (x - Dyadic{nearest, 0}).to_double_double();
}

bool ZeroPlace::is_precise(const Dyadic& low, const Dyadic& high, const Dyadic& y) {
    const Dyadic width = high - low;
    if (width.sign() == 0) return true;
    const Dyadic x = (low + high).half();
    const SimpleInt nearest = nearest_integer(x);
    // Without a term near x every distance is 1/2 at least.
    Dyadic distance{1, 1};
    if (nearest.sign() > 0) distance = std::max(magnitude(x - Dyadic{nearest, 0}), y);
    return Dyadic{width.n << kPrecision, width.k} <= distance;
}

template <class Number, class Of, class Product>
Number ZeroPlace::sum_of_logarithms(u64 a, u64 b, const Number& value, const Number& offset,
                                    const Number& at_nearest, Of&& of, Product&& product) const {
    if (a >= b) return Number();
    if (nearest_ == 0) return product(of(a + 1) - value, b - a);
    if (nearest_ == kBeyond) return product(value - of(b), b - a);
    Number sum = Number();
    // Below: x - k, downwards from k = min(b, nearest - 1).
    const u64 below = std::min(b, nearest_ - 1);
    if (below > a) sum = product(of(nearest_ - below) + offset, below - a);
    if (a < nearest_ && nearest_ <= b) sum = sum + at_nearest;
    const u64 above = std::max(a, nearest_);
    if (b > above) sum = sum + product(of(above + 1 - nearest_) - offset, b - above);
    return sum;
}

DoubleDouble ZeroPlace::log_size(u64 a, u64 b, const DoubleDouble& y, const DoubleDouble& at_nearest) const {
    return sum_of_logarithms<DoubleDouble>(
        a, b, value_, offset_.value(), at_nearest, [](u64 n) { return DoubleDouble::from_u64(n); },
        [&y](const DoubleDouble& u, u64 n) { return ln_rising_product(u, y, n); });
}

double ZeroPlace::near_log_size(u64 a, u64 b, double y, double at_nearest) const {
    return sum_of_logarithms<double>(
        a, b, value_.high, offset_.value().high, at_nearest, [](u64 n) { return static_cast<double>(n); },
        [y](double u, u64 n) { return near_ln_rising_product(u, y, n); });
}

}  // namespace kalvor::Polynomials
