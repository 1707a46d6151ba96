#include "constants/builtin/arccoth.h"

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
constexpr u64 kLeafThreshold = 24;
constexpr u64 kGrowthWords = 8;

Word square_of(Word m) {
    if (m < 2) throw InvalidParametersException(kSeries, "Argument is too small.");
    if (m >> 32 != 0) throw InvalidParametersException(kSeries, "Argument is too large.");
    return m * m;
}

// ln(3 * 5 * ... * (2k + 1)) = ln(2^k Gamma(k + 3/2) / Gamma(3/2)), by Stirling without its constant: above
// by 0.04 at most, for a range as well.
double ln_odd_factorial(double k) {
    return (k + 1) * std::log(k + 1) - k + k * dd::ln2().high;
}

}  // namespace

ArcCothArgument::ArcCothArgument(Word argument)
    : m(argument), square(square_of(argument)), gain(ln(DoubleDouble::from_u64(square))) {}

u64 ArcCothSeries::term_count(const ArcCothArgument& argument, u64 precision_words) {
    const DoubleDouble per_word = dd::ln2_64() * reciprocal(argument.gain);
    return static_cast<u64>(
        round_parts(DoubleDouble::from_u64(precision_words) * per_word + DoubleDouble(1.5)));
}

ArcCothSeries::ArcCothSeries(const ArcCothArgument& argument, u64 precision_words)
    : Series({term_count(argument, precision_words), precision_words, kLeafThreshold, kGrowthWords, false},
             kTermWords),
      argument_(argument),
      growth_(argument.gain + dd::ln2()),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()) {}

double ArcCothSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return ln_odd_factorial(x) + x * argument_.gain.high;
}

DoubleDouble ArcCothSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    const DoubleDouble next = DoubleDouble::from_u64(k + 1);
    return next * ln(next) - x + x * growth_;
}

DoubleDouble ArcCothSeries::log_remaining(u64 k) const {
    const DoubleDouble rest = full_ - DoubleDouble::from_u64(k) * argument_.gain;
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

double ArcCothSeries::log_size_R(u64 a, u64 b) const {
    return ln_odd_factorial(static_cast<double>(b)) - ln_odd_factorial(static_cast<double>(a));
}

u64 ArcCothSeries::zero_bits_Q(u64 a, u64 b) const {
    return (b - a) * static_cast<u64>(std::countr_zero(argument_.square));
}

void ArcCothSeries::term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const {
    const char* const leaf = "ArcCoth_BSR_End_small()";
    leaf::require(P, kTermWords.P, leaf);
    leaf::require(Q, kTermWords.Q, leaf);
    leaf::require(R, kTermWords.R, leaf);
    leaf::set(P, Word(1));
    leaf::set(R, 2 * k + 1);
    leaf::set(Q, u128(2 * k + 1) * argument_.square);
}

ArcCoth::ArcCoth(Word coefficient, Word m) : coefficient_(coefficient), argument_(m) {
    if (coefficient == 0) throw InvalidParametersException(kSeries, "CoefficientP cannot be zero.");
}

// (c S + c) / m
std::unique_ptr<Evaluator> ArcCoth::make_evaluator(const EvaluatorRequest& request) const {
    return BinarySplitting::make_series_evaluator<BinarySplitting::CommonP2B3::Family>(
        std::make_shared<const ArcCothSeries>(argument_, request.precision),
        {coefficient_, coefficient_, argument_.m, 1, false}, request, BinarySplitting::SeriesMemory::full);
}

}  // namespace kalvor
