#include "constants/builtin/huvent_series.h"

#include <cmath>

#include "constants/bsr/merge_steps.h"
#include "constants/builtin/built_in_series.h"
#include "constants/builtin/huvent_terms.h"

namespace kalvor {
namespace {

constexpr u64 kPower = 6;
constexpr u64 kDegree = 18;
constexpr u64 kLeafThreshold = 2, kGrowthWords = 64;
// ln 64, and that with the logarithm of Q's leading coefficient.
constexpr const char* kGain = "4.158883083359671856503392728749059408453";
constexpr const char* kGrowth = "38.13664596417534743576329921556466490649";
// Q(k) is about C k^18 (1 + 9 / k): 9 is the sum of b / a over the factors ak + b.
constexpr double kShift = 9;
// ln(P(k) / Q(k)) at its largest, for k = 1, and of a sum of such terms.
constexpr double kLargestTerm = 8.27 + 0.7;
// The estimates' own rounding.
constexpr double kSlack = 1;
// Where a double's last place of a size may be a tenth of a nat.
constexpr u64 kFar = u64(1) << 40;

double ln_factorial(double x) {
    return (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}

}  // namespace

HuventSeries::HuventSeries(u64 precision_words)
    : Series({built_in_terms(kGain, precision_words), precision_words, kLeafThreshold, kGrowthWords, false},
             {18, 18}, kPower),
      gain_(DoubleDouble::parse(kGain)),
      growth_(DoubleDouble::parse(kGrowth)),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()) {}

// 18 ln k! + k growth
double HuventSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return kDegree * ln_factorial(x) + x * growth_.high;
}

DoubleDouble HuventSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    return DoubleDouble(kDegree) * trel::ln_factorial(x) + x * growth_;
}

DoubleDouble HuventSeries::log_remaining(u64 k) const {
    const DoubleDouble rest = full_ - DoubleDouble::from_u64(k) * gain_;
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

// The sum of 9 / k over a + 1 .. b is at most 9 ln((b + 1/2) / (a + 1/2)).
double HuventSeries::log_size_Q(u64 a, u64 b) const {
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    const double shift = kShift * std::log((y + 0.5) / (x + 0.5)) + kSlack;
    const DoubleDouble each = growth_ - gain_;
    if (b < kFar) return kDegree * (ln_factorial(y) - ln_factorial(x)) + (y - x) * each.high + shift;
    const DoubleDouble m = DoubleDouble::from_u64(a), n = DoubleDouble::from_u64(b);
    const DoubleDouble factorials = trel::ln_factorial(n) - trel::ln_factorial(m);
    return (DoubleDouble(kDegree) * factorials + (n - m) * each).high + shift;
}

// The first term has the highest power of two, the last one the unit.
double HuventSeries::log_size_P(u64 a, u64 b) const {
    return log_size_Q(a, b) + static_cast<double>(b - a - 1) * gain_.high + kLargestTerm;
}

void HuventSeries::leaf(u64, u64 b, ExactFloat& P, ExactFloat& Q, Word*) const {
    BasicIntR p(P.buffer, P.buffer_size), q(Q.buffer, Q.buffer_size);
    catalan_huvent_term(b, p, q);
    BinarySplitting::set_natural(P, p);
    BinarySplitting::set_natural(Q, q);
    BinarySplitting::BinaryBBP::set_power_and_sign(P, -static_cast<i64>(kPower * b),
                                                   catalan_huvent_negative(b));
}

}  // namespace kalvor
