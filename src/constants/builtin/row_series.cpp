#include "constants/builtin/row_series.h"

#include <cmath>

#include "arith/estimate/double_double.h"

namespace kalvor {
namespace {

// Where a double's last place of a size may be a tenth of a nat.
constexpr u64 kFar = u64(1) << 40;
// The estimates' own rounding, and the terms behind the first of a sum that does not alternate.
constexpr double kSlack = 1;

double ln_factorial(double x) {
    return (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}

BinarySplitting::Series::Parameters parameters(const BuiltInSeries& row, u64 precision_words) {
    return {built_in_terms(row.gain, precision_words), precision_words, row.leaf_threshold, row.growth_words,
            row.alternating};
}

}  // namespace

RowSeries::RowSeries(const BuiltInSeries& row, u64 precision_words)
    : Series(parameters(row, precision_words), {row.words_P, row.words_Q, row.words_R}),
      row_(row),
      degree_(static_cast<double>(row.degree)),
      gain_(DoubleDouble::parse(row.gain)),
      growth_(DoubleDouble::parse(row.growth)),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()),
      each_Q_(ln(DoubleDouble::from_u64(row.leading_Q))),
      each_R_(each_Q_ - gain_),
      fold_(row.fold_at_1 == 0 ? 0 : std::log(static_cast<double>(row.fold_at_1)) - gain_.high) {}

// d ln k! + k growth
double RowSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return degree_.high * ln_factorial(x) + x * growth_.high;
}

DoubleDouble RowSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    return degree_ * trel::ln_factorial(x) + x * growth_;
}

DoubleDouble RowSeries::log_remaining(u64 k) const {
    const DoubleDouble rest = full_ - DoubleDouble::from_u64(k) * gain_;
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

double RowSeries::factors(u64 a, u64 b, const DoubleDouble& each) const {
    if (b < kFar) {
        const double x = static_cast<double>(a), y = static_cast<double>(b);
        return degree_.high * (ln_factorial(y) - ln_factorial(x)) + (y - x) * each.high;
    }
    const DoubleDouble x = DoubleDouble::from_u64(a), y = DoubleDouble::from_u64(b);
    return (degree_ * (trel::ln_factorial(y) - trel::ln_factorial(x)) + (y - x) * each).high;
}

double RowSeries::log_size_Q(u64 a, u64 b) const {
    const double above = row_.shift < 0 ? 1 : 0.5;
    const double x = static_cast<double>(a) + above, y = static_cast<double>(b) + above;
    return factors(a, b, each_Q_) + row_.shift * std::log(y / x) + kSlack;
}

double RowSeries::log_size_P(u64 a, u64 b) const {
    return log_size_Q(a, b) + fold_ +
           static_cast<double>(row_.fold_degree) * std::log(static_cast<double>(a) + 1) + kSlack;
}

double RowSeries::log_size_R(u64 a, u64 b) const {
    return factors(a, b, each_R_) + kSlack;
}

u64 RowSeries::zero_bits_Q(u64 a, u64 b) const {
    return row_.zero_bits == nullptr ? 0 : row_.zero_bits(b) - row_.zero_bits(a);
}

void RowSeries::term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const {
    row_.term(k, P, Q, R);
}

}  // namespace kalvor
