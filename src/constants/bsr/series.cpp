#include "constants/bsr/series.h"

#include <cmath>

#include "base/errors/exceptions.h"
#include "constants/bsr/crossing.h"

namespace kalvor::BinarySplitting {
namespace {

// Where doubles no longer resolve single terms, or their sizes.
constexpr u64 kExactIndex = u64(1) << 48;
constexpr double kExactSize = 4503599627370496.0;  // 2^52

template <class Size, class F>
u64 halfway(u64 a, u64 b, F&& size_to) {
    const Size at_a = size_to(a), at_b = size_to(b);
    return first_reaching<Size>(a, b, (at_a + at_b) * Size(0.5), size_to, at_a, at_b);
}

}  // namespace

Series::~Series() = default;

double words_of(double nats) {
    return nats * dd::inv_ln2_64().high;
}

u64 whole_words_of(double nats) {
    return static_cast<u64>(words_of(nats)) + 2;
}

DoubleDouble Series::log_remaining(u64) const {
    throw InvalidParametersException("Series::log_remaining()", "Not Implemented");
}

u64 Series::precision_words(u64 k) const {
    const DoubleDouble words = log_remaining(k) * dd::inv_ln2_64();
    const double floor = std::floor(words.high);
    u64 n = static_cast<u64>(floor);
    // A double-double's low part decides when the high part is an integer.
    if (words.high > floor || words.low > 0) n++;
    return n < precision() ? n : precision();
}

double Series::log_size_resolved(u64 a, u64 b) const {
    const double to = log_size_to(b);
    return b < kExactIndex && to < kExactSize ? to - log_size_to(a) : log_size_dd(a, b).high;
}

u64 Series::plan_words(u64 a, u64 b) const {
    return whole_words_of(log_largest(a, b));
}

u64 Series::output_words(u64 a, u64 b) const {
    return plan_words(a, b);
}

u64 Series::split_point(u64 a, u64 b) const {
    if (b >= kExactIndex || log_size_to(b) >= kExactSize) {
        return halfway<DoubleDouble>(a, b, [this](u64 k) { return log_size_to_dd(k); });
    }
    return halfway<double>(a, b, [this](u64 k) { return log_size_to(k); });
}

}  // namespace kalvor::BinarySplitting
