#include "constants/builtin/gamma_c_series.h"

#include <algorithm>
#include <cmath>

#include "arith/multiply/product_needs.h"
#include "arith/newton/newton_work.h"
#include "base/status/status_scope.h"
#include "constants/bsr/series_value.h"
#include "constants/builtin/leaf_words.h"
#include "constants/polynomials/log_products.h"

namespace kalvor {
namespace {

// Words of a term's numbers for j up to 2^51 and m up to 50.
constexpr BinarySplitting::CommonP2B3::Series::TermWords kTermWords = {3, 3, 3};
constexpr u64 kLeafThreshold = 8, kGrowthWords = 12;
constexpr const char* kLeaf = "Gamma_C_BSR_End()";

// ln(64 ln 2), the constant of the size of the denominators.
const DoubleDouble& ln_of_word() {
    static const DoubleDouble value = DoubleDouble::parse("3.792370162778007529490953570516389938999");
    return value;
}

// ln x!, 0 for x = 0.
DoubleDouble factorial(u64 x) {
    return x == 0 ? DoubleDouble(0.0) : ln_factorial(DoubleDouble::from_u64(x));
}

// ln of the term j.
DoubleDouble term_size(u64 m, u64 j) {
    return DoubleDouble(3.0) * factorial(2 * j) - DoubleDouble(4.0) * factorial(j) -
           DoubleDouble::from_u64(2 * j * (m + 4)) * dd::ln2();
}

// The same where doubles are right to less than a nat.
constexpr u64 kResolved = u64(1) << 44;
double factorial_double(u64 k) {
    const double x = static_cast<double>(k);
    return k == 0 ? 0 : (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}
double odd_factorial_double(u64 k) {
    return factorial_double(2 * k) - factorial_double(k) - static_cast<double>(k) * dd::ln2().high;
}

// ln(u (u + 1) ...) of n factors, never below the truth.
double log_product(double u, u64 n) {
    return Polynomials::near_ln_rising_product(u, 0, n) * (1 + 0x1p-45);
}

}  // namespace

u64 GammaCSeries::term_count(u64 m, u64 precision_words) {
    const u64 most = u64(2) << m;
    const DoubleDouble threshold =
        -(DoubleDouble::from_u64(precision_words) * dd::ln2_64() + DoubleDouble(1.0));
    if (threshold < term_size(m, most)) return most;
    u64 low = 0, high = most;
    while (high - low > 1) {
        const u64 middle = low + (high - low) / 2;
        (threshold < term_size(m, middle) ? low : high) = middle;
    }
    return std::min(high + 2, most);
}

GammaCSeries::GammaCSeries(u64 m, u64 precision_words)
    : Series({term_count(m, precision_words), precision_words, kLeafThreshold, kGrowthWords, false},
             kTermWords),
      m_(m) {}

// ln of the product of all denominators, plus a constant.
DoubleDouble GammaCSeries::log_size_to_dd(u64 k) const {
    return factorial(k) + DoubleDouble::from_u64(k * (2 * m_ + 5)) * dd::ln2() + ln_of_word();
}

double GammaCSeries::log_size_to(u64 k) const {
    if (k >= kResolved) return log_size_to_dd(k).high;
    return factorial_double(k) + static_cast<double>(k) * static_cast<double>(2 * m_ + 5) * dd::ln2().high +
           ln_of_word().high;
}

DoubleDouble GammaCSeries::log_remaining(u64 k) const {
    const DoubleDouble full = DoubleDouble::from_u64(precision()) * dd::ln2_64();
    if (k < kResolved) {
        const double term = 3 * factorial_double(2 * k) - 4 * factorial_double(k) -
                            static_cast<double>(2 * k) * static_cast<double>(m_ + 4) * dd::ln2().high;
        return DoubleDouble(std::max(0.0, full.high + std::min(term, 0.0)));
    }
    const DoubleDouble rest = full + term_size(m_, k);
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

double GammaCSeries::log_size_Q(u64 a, u64 b) const {
    if (b < kResolved) return log_size_to(b) - log_size_to(a) + 1;
    const double powers = static_cast<double>(b - a) * static_cast<double>(2 * m_ + 5) * dd::ln2().high;
    return log_product(static_cast<double>(a) + 1, b - a) + powers * (1 + 0x1p-45) + 1;
}

// Terms of a range are below 1, so P is below Q for each of them.
double GammaCSeries::log_size_P(u64 a, u64 b) const {
    return log_size_Q(a, b) + std::log(static_cast<double>(b - a) + 1) + 1;
}

double GammaCSeries::log_size_R(u64 a, u64 b) const {
    if (b < kResolved) return 3 * (odd_factorial_double(b) - odd_factorial_double(a)) + 4;
    // 2^n times (a + 1/2) ... (b - 1/2)
    const double ln2 = static_cast<double>(b - a) * dd::ln2().high;
    return 3 * (ln2 + log_product(static_cast<double>(a) + 0.5, b - a)) + 2;
}

void GammaCSeries::term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const {
    leaf::require(P, kTermWords.P, kLeaf);
    leaf::require(Q, kTermWords.Q, kLeaf);
    leaf::require(R, kTermWords.R, kLeaf);
    const Word odd = 2 * k - 1;
    leaf::set(R, u128(odd) * odd);
    R.mul_uW(odd);
    P.set_BasicInt(R);
    leaf::set(Q, k);
    Q.mul_uW(Word(1) << m_);
    Q.mul_uW(Word(32) << m_);
}

GammaCTerm::GammaCTerm(u64 m, const EvaluatorRequest& request)
    : m_(m),
      precision_(request.precision),
      series_(m, precision_),
      number_words_(round_up_8(precision_ + 8)),
      division_(DivisionPlan::make(precision_, request.tds)),
      sum_(series_, precision_, request.tds,
           division_.needs().above(series_.precision() + 6 + number_words_).bytes),
      banner_(sum_.banner("Series C...   ")) {
    needs_ = sum_.needs().maximum(division_.needs()
                                      .maximum(product_needs(2 * number_words_))
                                      .above(sum_.accumulator_words() + number_words_));
    needs_.result_words = std::max({sum_.needs().result_words, division_.result, number_words_});
}

std::vector<WorkPhase> GammaCTerm::work() const {
    const double sum = sum_.work(), division = newton::division_work(division_.p, division_.q);
    return {{"series", sum * kWorkSeconds, sum}, {"division", division * kWorkSeconds, division}};
}

// With the sum P / Q: C = (Q + P) / (Q 2^(m + 2)).
ErrorBound GammaCTerm::run(const MultiplyContext& context, Status& status, BigFloat& S, BigFloat& D,
                           BigFloat& x) const {
    // Products are a little longer than the value, so that only the sum and the division count as wrong.
    const u64 p = precision_ + 2;
    BinarySplitting::FloatRange<BinarySplitting::CommonP2B3::Family> sum;
    {
        status.work().enter("series");
        StatusSection section(status, banner_);
        sum = sum_.run(context, section.node(), x.buffer);
    }
    status.work().enter("division");
    BigFloat &P = sum[BinarySplitting::CommonP2B3::kP], &Q = sum[BinarySplitting::CommonP2B3::kQ];
    P.verify(context.parallel, "the sum's numerator");
    Q.verify(context.parallel, "the sum's denominator");
    S.verify(context.parallel, "a factor that waited for the sum");
    D.verify(context.parallel, "a factor that waited for the sum");
    AlignedBufferC memory = context.scratch;
    memory.spawn_words(sum_.accumulator_words());
    BigFloat N = carve<BigFloat>(memory, number_words_);
    const MultiplyContext rest = context.with_scratch(memory);
    {
        StatusSection section(status, "Finishing Series");
        {
            StatusFrame frame(section.node(), "Finishing: P + Q: ");
            N.set_add(p, context.parallel, Q, P);
        }
        StatusFrame frame(section.node(), "Finishing: Q * 2^(k+2): ");
        Q.mul_uW(context.parallel, Word(4) << m_);
    }
    // Each result takes the place of a number that is not needed any more. P stood in x's buffer.
    BigFloat square_S(x.buffer, x.buffer_size), square_D(S.buffer, S.buffer_size);
    {
        StatusSection section(status, "Squaring...");
        StatusFrame frame(section.node(), "Squaring: ");
        square_S.set_sqr(p, rest, S);
        square_D.set_sqr(p, rest, D);
    }
    BigFloat numerator(D.buffer, D.buffer_size), denominator(N.buffer, N.buffer_size);
    {
        StatusFrame frame(status, "Finalizing: P * S: ");
        numerator.set_mul(p, rest, N, square_S);
    }
    {
        StatusFrame frame(status, "Finalizing: Q * R: ");
        denominator.set_mul(p, rest, Q, square_D);
    }
    large_division(division_, rest, status, x, numerator, denominator);
    return ErrorBound::of_words(x, precision_, BinarySplitting::kValueErrorBits);
}

}  // namespace kalvor
