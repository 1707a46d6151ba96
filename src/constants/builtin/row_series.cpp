#include "constants/builtin/row_series.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "arith/estimate/double_double.h"
#include "constants/bsr/merge_steps.h"

namespace kalvor {
namespace {

// Where a double's last place of a size may be a tenth of a nat.
constexpr u64 kFar = u64(1) << 40;
// The estimates' own rounding, and the terms behind the first of a sum that does not alternate.
constexpr double kSlack = 1;

double ln_factorial(double x) {
    return (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}

// The shortest leaf of a range that is split into leaves.
constexpr u64 kShortestLeaf = 1638;
// Where F begins to count what is saved of the terms: before, terms grow by less.
constexpr double kSavingFrom = 1000;

std::shared_ptr<const FactoredLeaf> leaf_of(const BuiltInSeries& row, u64 precision_words) {
    const u64 terms = built_in_terms(row.gain, precision_words);
    if (terms < FactoredLeaf::kFewestTerms) return nullptr;
    using Words = BinarySplitting::CommonP2B3::Series::TermWords;
    return std::make_shared<const FactoredLeaf>(row.factored_Q, row.factored_R, terms,
                                                Words{row.words_P, row.words_Q, row.words_R});
}

BinarySplitting::Series::Parameters parameters(const BuiltInSeries& row, u64 precision_words,
                                               const FactoredLeaf* leaf) {
    const u64 terms = built_in_terms(row.gain, precision_words);
    // No leaf is longer than the series.
    const u64 threshold = leaf == nullptr ? row.leaf_threshold : std::min(terms + 1, FactoredLeaf::kTerms);
    return {terms, precision_words, threshold, row.growth_words, row.alternating};
}

}  // namespace

RowSeries::RowSeries(const BuiltInSeries& row, u64 precision_words)
    : RowSeries(row, precision_words, leaf_of(row, precision_words)) {}

RowSeries::RowSeries(const BuiltInSeries& row, u64 precision_words, std::shared_ptr<const FactoredLeaf> leaf)
    : Series(parameters(row, precision_words, leaf.get()), {row.words_P, row.words_Q, row.words_R}),
      row_(row),
      leaf_(std::move(leaf)),
      saved_each_(leaf_ == nullptr || terms() < FactoredLeaf::kTerms
                      ? 0
                      : static_cast<double>(row.degree) * FactoredLeaf::saved(kShortestLeaf) /
                            static_cast<double>(kShortestLeaf)),
      degree_(static_cast<double>(row.degree)),
      gain_(DoubleDouble::parse(row.gain)),
      growth_(DoubleDouble::parse(row.growth)),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()),
      each_Q_(ln(DoubleDouble::from_u64(row.leading_Q))),
      each_R_(each_Q_ - gain_),
      fold_(row.fold_at_1 == 0 ? 0 : std::log(static_cast<double>(row.fold_at_1)) - gain_.high) {}

double RowSeries::saved(u64 a, u64 b) const {
    if (leaf_ == nullptr) return 0;
    const u64 n = b - a;
    if (n < FactoredLeaf::kTerms) return degree_.high * FactoredLeaf::saved(n);
    return saved_each_ * static_cast<double>(n);
}

// It grows with k and by less than a term with each.
double RowSeries::saving_terms(double k) {
    return k - kSavingFrom * std::log1p(k / kSavingFrom);
}

// d ln k! + k growth
double RowSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return degree_.high * ln_factorial(x) + x * growth_.high - saved_each_ * saving_terms(x);
}

DoubleDouble RowSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    const DoubleDouble saving = x - DoubleDouble(kSavingFrom * std::log1p(x.high / kSavingFrom));
    return degree_ * trel::ln_factorial(x) + x * growth_ - DoubleDouble(saved_each_) * saving;
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
    return factors(a, b, each_Q_) + row_.shift * std::log(y / x) + kSlack - saved(a, b);
}

double RowSeries::log_size_P(u64 a, u64 b) const {
    return log_size_Q(a, b) + fold_ +
           static_cast<double>(row_.fold_degree) * std::log(static_cast<double>(a) + 1) + kSlack;
}

double RowSeries::log_size_R(u64 a, u64 b) const {
    return factors(a, b, each_R_) + kSlack - saved(a, b);
}

u64 RowSeries::zero_bits_Q(u64 a, u64 b) const {
    return row_.zero_bits == nullptr ? 0 : row_.zero_bits(b) - row_.zero_bits(a);
}

void RowSeries::term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const {
    row_.term(k, P, Q, R);
}

// Fewer terms than a factored leaf wants are summed as they are. Then Q still has the powers of two for which
// its buffer has no place.
u64 RowSeries::plain_leaf_words(u64 n) const {
    return round_up_8(n * row_.words_Q) + term_words().R + bsr_end_words(n);
}

u64 RowSeries::leaf_scratch_words(u64 a, u64 b) const {
    if (leaf_ == nullptr) return Series::leaf_scratch_words(a, b);
    return b - a < FactoredLeaf::kFewestTerms ? plain_leaf_words(b - a) : leaf_->scratch_words(b - a);
}

u64 RowSeries::most_leaf_words() const {
    if (leaf_ == nullptr) return Series::most_leaf_words();
    return std::max(plain_leaf_words(FactoredLeaf::kFewestTerms - 1), leaf_->most_scratch_words());
}

void RowSeries::leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
                     const ParallelContext& parallel) const {
    if (leaf_ == nullptr) return Series::leaf(a, b, P, Q, R, edge, scratch, parallel);
    if (b - a >= FactoredLeaf::kFewestTerms)
        return leaf_->run(*this, a, b, P, Q, R, edge, scratch, leaf_scratch_words(a, b), parallel);
    const u64 words = (b - a) * row_.words_Q;
    ExactFloat whole(scratch, words);
    Series::leaf(a, b, P, whole, R, edge, scratch + round_up_8(words), parallel);
    BinarySplitting::strip_zero_words(whole);
    Q.set_ExactFloat(whole, parallel);
}

}  // namespace kalvor
