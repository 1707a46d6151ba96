#include "constants/builtin/arcsinlemn.h"

#include <bit>
#include <cmath>

#include "base/errors/exceptions.h"
#include "constants/bsr/series_value.h"
#include "constants/builtin/leaf_words.h"

namespace kalvor {
namespace {

// The magnitude of a number that is a word with a sign.
Word magnitude_of_word(i128 c) {
    return static_cast<Word>(c < 0 ? -c : c);
}

const char kSeries[] = "ArcSinlemn_Series_BigFloatR()";
const char kLeaf[] = "ArcSinlemn_BSR_End()";

// Most words of a term's numbers, below 2^52 terms.
constexpr BinarySplitting::CommonP2B3::Series::TermWords kTermWords = {3, 3, 3};
constexpr u64 kLeafThreshold = 12;
constexpr u64 kGrowthWords = 16;
constexpr const char* kLn8 = "2.079441541679835928251696364374529704227";

Word fourth_power(Word w, const char* message) {
    const u128 square = u128(w) * w;
    if (square >> 32 != 0) throw InvalidParametersException(kSeries, message);
    return static_cast<Word>(square) * static_cast<Word>(square);
}

double ln_factorial(double x) {
    return (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}

}  // namespace

ArcSinlemnArgument::ArcSinlemnArgument(Word numerator, Word denominator)
    : x(numerator),
      y(denominator),
      x4(fourth_power(x, "x^4 does not fit into a machine word.")),
      y4(fourth_power(y, "y^4 does not fit into a machine word.")) {
    if (x == 0) throw InvalidParametersException(kSeries, "Invalid Parameters");
    // Both are below 2^16.
    if (4 * x > 3 * y) throw InvalidParametersException(kSeries, "Convergence is too slow: N / D < 0.75");
    ln_x4 = ln(DoubleDouble::from_u64(x4));
    ln_y4 = ln(DoubleDouble::from_u64(y4));
    gain = ln_y4 - ln_x4;
}

u64 ArcSinlemnSeries::term_count(const ArcSinlemnArgument& argument, u64 precision_words) {
    const DoubleDouble per_word = dd::ln2_64() * reciprocal(argument.gain);
    return static_cast<u64>(
        round_parts(DoubleDouble::from_u64(precision_words) * per_word + DoubleDouble(1.5)));
}

ArcSinlemnSeries::ArcSinlemnSeries(const ArcSinlemnArgument& argument, u64 precision_words)
    : Series({term_count(argument, precision_words), precision_words, kLeafThreshold, kGrowthWords, false},
             kTermWords),
      argument_(argument),
      growth_(DoubleDouble::parse(kLn8) + argument.ln_y4),
      full_(DoubleDouble::from_u64(precision_words) * dd::ln2_64()) {}

// 2 ln k! + k ln(8 y^4). Q(k) = 8 k^2 y^4 (1 + 1/4k) is above by ln(b/a) / 4 at most for a range, which is
// less than the spare words of the plans.
double ArcSinlemnSeries::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return 2 * ln_factorial(x) + x * growth_.high;
}

DoubleDouble ArcSinlemnSeries::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    return DoubleDouble(2.0) * ln_factorial(x) + x * growth_;
}

DoubleDouble ArcSinlemnSeries::log_remaining(u64 k) const {
    const DoubleDouble rest = full_ - DoubleDouble::from_u64(k) * argument_.gain;
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

// (2k - 1)(4k - 3) < 8 k^2
double ArcSinlemnSeries::log_size_R(u64 a, u64 b) const {
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    return 2 * (ln_factorial(y) - ln_factorial(x)) + (y - x) * (std::log(8.0) + argument_.ln_x4.high);
}

// n! has n - popcount(n) factors of two.
u64 ArcSinlemnSeries::zero_bits_Q(u64 a, u64 b) const {
    const auto in_factorial = [](u64 n) { return n - static_cast<u64>(std::popcount(n)); };
    const u64 in_term = 1 + static_cast<u64>(std::countr_zero(argument_.y4));
    return (b - a) * in_term + in_factorial(b) - in_factorial(a);
}

void ArcSinlemnSeries::term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const {
    leaf::require(R, kTermWords.R, kLeaf);
    leaf::set(R, 2 * k - 1);
    leaf::multiply(R, 4 * k - 3);
    leaf::multiply(R, argument_.x4);
    leaf::require(P, kTermWords.P, kLeaf);
    P.set_BasicInt(R);
    leaf::require(Q, kTermWords.Q, kLeaf);
    leaf::set(Q, 2 * k);
    leaf::multiply(Q, 4 * k + 1);
    leaf::multiply(Q, argument_.y4);
}

ArcSinlemn::ArcSinlemn(i128 coefficient, Word x, Word y, i64 power)
    : coefficient_(coefficient), argument_(x, y), power_(power == 1 ? 1 : -1) {
    if (power != 1 && power != -1) throw InvalidParametersException(kSeries, "Power must be 1 or -1.");
    if (coefficient == 0) throw InvalidParametersException(kSeries, "CoefficientP cannot be zero.");
    if (u128(magnitude_of_word(coefficient)) * x >> 64 != 0) {
        throw InvalidParametersException(kSeries, "x * coef does not fit into a machine word.");
    }
}

// A coefficient of 1 has two blanks behind the bracket.
std::string ArcSinlemn::label() const {
    const std::string argument = std::to_string(argument_.x) + "/" + std::to_string(argument_.y) + " ):";
    if (coefficient_ == 1) return "ArcSinlemn(  " + argument;
    if (coefficient_ == -1) return "- ArcSinlemn(  " + argument;
    return (coefficient_ < 0 ? "-" : "") + std::to_string(magnitude_of_word(coefficient_)) + " ArcSinlemn( " +
           argument;
}

// (c x S + c x) / y
std::unique_ptr<Evaluator> ArcSinlemn::make_evaluator(const EvaluatorRequest& request) const {
    const i128 numerator = coefficient_ * static_cast<i128>(argument_.x);
    return BinarySplitting::make_series_evaluator<BinarySplitting::CommonP2B3::Family>(
        std::make_shared<const ArcSinlemnSeries>(argument_, request.precision),
        {numerator, numerator, argument_.y, power_, false}, request, BinarySplitting::SeriesMemory::full);
}

}  // namespace kalvor
