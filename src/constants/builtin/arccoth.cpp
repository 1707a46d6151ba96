#include "constants/builtin/arccoth.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/errors/exceptions.h"
#include "constants/bsr/series_value.h"
#include "constants/builtin/leaf_words.h"

namespace kalvor {
namespace {

const char kSeries[] = "Series_ArcCoth_Base()";

// Most words of a term's numbers, below 2^52 terms.
constexpr BinarySplitting::CommonP2B3::Series::TermWords kTermWords = {1, 2, 1};
constexpr u64 kGrowthWords = ArcCothLeaf::kScratchWordsPerTerm / 4;

// No leaf is longer than the series.
u64 leaf_threshold(u64 terms) {
    return std::clamp<u64>(terms + 1, 2, ArcCothLeaf::kTerms);
}
BinarySplitting::Series::Parameters parameters(const ArcCothArgument& argument, u64 precision_words) {
    const u64 terms = ArcCothSeries::term_count(argument, precision_words);
    return {terms, precision_words, leaf_threshold(terms), kGrowthWords, false};
}

Word square_of(Word m) {
    if (m < 2) throw InvalidParametersException(kSeries, "Argument is too small.");
    if (m >> 32 != 0) throw InvalidParametersException(kSeries, "Argument is too large.");
    return m * m;
}

// From here on the terms of a long series are ln(2k + 1) - saved and more, which is positive.
constexpr double kSlowTerms = 200;

// ln(3 * 5 * ... * (2k + 1)) = ln(2^k Gamma(k + 3/2) / Gamma(3/2)), by Stirling without its constant: above
// by 0.04 at most, for a range as well.
double ln_odd_factorial(double k) {
    return (k + 1) * std::log(k + 1) - k + k * dd::ln2().high;
}

}  // namespace

ArcCothArgument::ArcCothArgument(Word argument)
    : m(argument),
      square(square_of(argument)),
      leaf(std::make_shared<const ArcCothLeaf>(square)),
      gain(ln(DoubleDouble::from_u64(square))) {}

u64 ArcCothSeries::term_count(const ArcCothArgument& argument, u64 precision_words) {
    const DoubleDouble per_word = dd::ln2_64() * reciprocal(argument.gain);
    return static_cast<u64>(
        round_parts(DoubleDouble::from_u64(precision_words) * per_word + DoubleDouble(1.5)));
}

ArcCothSeries::ArcCothSeries(const ArcCothArgument& argument, u64 precision_words)
    : Series(parameters(argument, precision_words), kTermWords),
      argument_(argument),
      saved_(terms() < ArcCothLeaf::kTerms ? 0 : ArcCothLeaf::usually_saved_per_term()),
      growth_(argument.gain + dd::ln2()),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()) {}

// The sizes of long ranges, without the first terms: where 2k + 1 is less than what a term saves, the sizes
// would fall.
double ArcCothSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k), slow = std::min(x, kSlowTerms);
    return ln_odd_factorial(x) + x * argument_.gain.high - (x - slow) * saved_;
}

DoubleDouble ArcCothSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    const DoubleDouble next = DoubleDouble::from_u64(k + 1);
    const DoubleDouble slow = static_cast<double>(k) < kSlowTerms ? x : DoubleDouble(kSlowTerms);
    return next * ln(next) - x + x * growth_ - (x - slow) * DoubleDouble(saved_);
}

DoubleDouble ArcCothSeries::log_remaining(u64 k) const {
    const DoubleDouble rest = full_ - DoubleDouble::from_u64(k) * argument_.gain;
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

// By Stirling's formula a range may be above by 0.04.
double ArcCothSeries::log_size_R(u64 a, u64 b) const {
    const auto beyond = [](u64 k) { return std::max(static_cast<double>(k) - kSlowTerms, 0.0); };
    const double n = static_cast<double>(b - a);
    const double product =
        log_size_resolved(a, b) + (beyond(b) - beyond(a)) * saved_ - n * argument_.gain.high;
    return product - ArcCothLeaf::saved(b - a) + 0.04;
}

double ArcCothSeries::log_size_Q(u64 a, u64 b) const {
    return log_size_R(a, b) + static_cast<double>(b - a) * argument_.gain.high;
}

u64 ArcCothSeries::zero_bits_Q(u64 a, u64 b) const {
    return (b - a) * static_cast<u64>(std::countr_zero(argument_.square));
}

void ArcCothSeries::leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
                         const ParallelContext& parallel) const {
    argument_.leaf->run(a, b, P, Q, R, edge, scratch, leaf_scratch_words(a, b), parallel);
}

ArcCoth::ArcCoth(i64 coefficient, Word m, i64 power)
    : coefficient_(coefficient), argument_(m), power_(power == 1 ? 1 : -1) {
    if (power != 1 && power != -1) throw InvalidParametersException("ArcCoth(x)", "Power must be 1 or -1.");
    if (coefficient == 0) throw InvalidParametersException(kSeries, "CoefficientP cannot be zero.");
}

std::string ArcCoth::label() const {
    std::string argument = "ArcCoth( " + std::to_string(argument_.m) + " ):";
    if (coefficient_ == 1) return argument;
    return (coefficient_ == -1 ? "-" : std::to_string(coefficient_)) + " " + argument;
}

// (c S + c) / m
std::unique_ptr<Evaluator> ArcCoth::make_evaluator(const EvaluatorRequest& request) const {
    return BinarySplitting::make_series_evaluator<BinarySplitting::CommonP2B3::Family>(
        std::make_shared<const ArcCothSeries>(argument_, request.precision),
        {coefficient_, coefficient_, argument_.m, power_, false}, request,
        BinarySplitting::SeriesMemory::full);
}

}  // namespace kalvor
