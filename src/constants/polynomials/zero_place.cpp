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

DoubleDouble ZeroPlace::log_size(u64 a, u64 b, const DoubleDouble& y, const DoubleDouble& at_nearest) const {
    if (a >= b) return {};
    if (nearest_ == 0) return ln_rising_product(DoubleDouble::from_u64(a + 1) - value_, y, b - a);
    if (nearest_ == kBeyond) return ln_rising_product(value_ - DoubleDouble::from_u64(b), y, b - a);
    const DoubleDouble offset = offset_.value();
    DoubleDouble sum;
    // Below: x - k, downwards from k = min(b, nearest - 1).
    const u64 below = std::min(b, nearest_ - 1);
    if (below > a) sum = ln_rising_product(DoubleDouble::from_u64(nearest_ - below) + offset, y, below - a);
    if (a < nearest_ && nearest_ <= b) sum = sum + at_nearest;
    const u64 above = std::max(a, nearest_);
    if (b > above) {
        sum = sum + ln_rising_product(DoubleDouble::from_u64(above + 1 - nearest_) - offset, y, b - above);
    }
    return sum;
}

}  // namespace kalvor::Polynomials
