#include "constants/bsr/polynomial_scale.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "constants/bsr/signed_terms.h"

namespace kalvor::BinarySplitting {
namespace {

using Polynomials::IntegerPolynomial;
using Polynomials::ScaledDoubleDouble;
using Polynomials::SimpleInt;

// Terms that are taken one by one, and those of them for which P is evaluated where its degree is high.
constexpr u64 kSingleTerms = 512;
constexpr u64 kExactValues = 32;
constexpr u64 kHighDegree = 62;
// No sum has an index as large as that.
const double kLogLastIndex = 52 * std::log(2.0);
const double kLog2 = std::log(2.0);
// What the logarithms lose, and sums of terms that are about equal.
constexpr double kSlack = 2;

constexpr double kNothing = -1e300;

double ln(const SimpleInt& n) {
    if (n.is_zero()) return kNothing;
    const ScaledDoubleDouble x = n.abs().to_double_double();
    return std::log(x.mantissa.high) + static_cast<double>(x.exponent) * kLog2;
}

// ln of the sum of |c| k^i, which does not leave the range of a double on the way.
double ln_of_magnitudes(const std::vector<i64>& c, u64 k) {
    double value = 0, exponent = 0;
    for (u64 i = c.size(); i-- > 0;) {
        value = value * static_cast<double>(k) + std::ldexp(std::fabs(static_cast<double>(c[i])),
                                                            static_cast<int>(std::max(-exponent, -1000.0)));
        int e = 0;
        value = std::frexp(value, &e);
        if (value == 0) e = 0;
        exponent += e;
    }
    return value == 0 ? kNothing : std::log(value) + exponent * kLog2 + 1e-6;
}

// Whether |p| grows from `from` on, because p(x + from) has coefficients of one sign.
bool grows_from(const IntegerPolynomial& p, u64 from) {
    std::vector<SimpleInt> c = p.coefficients();
    const SimpleInt step = SimpleInt::from_u64(from);
    for (u64 i = 0; i < c.size(); i++) {
        for (u64 j = c.size() - 1; j-- > i;) c[j] += c[j + 1] * step;
    }
    return std::all_of(c.begin(), c.end(),
                       [&](const SimpleInt& x) { return x.sign() * c.back().sign() >= 0; });
}

// The largest of d ln k - decay (k - from) for k >= from.
double largest_power(double d, double decay, double from) {
    if (decay * std::exp(kLogLastIndex) <= d) return d * kLogLastIndex;
    const double k = std::max(from, d / decay);
    return d * std::log(k) - decay * (k - from);
}

}  // namespace

double log_scale_of(const ScaledTerms& terms) {
    const IntegerPolynomial P = IntegerPolynomial::of(terms.P), Q = IntegerPolynomial::of(terms.Q);
    const std::optional<IntegerPolynomial> R =
        terms.R ? std::optional(IntegerPolynomial::of(*terms.R)) : std::nullopt;
    const double d = static_cast<double>(terms.P.size() - 1);
    const double degree_Q = static_cast<double>(terms.Q.size() - 1);
    const double degree_R = terms.R ? static_cast<double>(terms.R->size() - 1) : 0;
    const double power = static_cast<double>(terms.power) * kLog2;
    const bool fractions = terms.power != 0;

    // ln of the factors of term k beside P(k) / Q(k), and of what the precision of the place before it leaves
    // out.
    double factors = 0, scale = kNothing;
    for (u64 k = 1; k <= kSingleTerms; k++) {
        const double x = static_cast<double>(k);
        const SimpleInt at = SimpleInt::from_u64(k);
        const bool exact = k <= kExactValues || d <= kHighDegree;
        const double p = exact ? ln(P.evaluate(at)) : ln_of_magnitudes(terms.P, k);
        const double q = ln(Q.evaluate(at));
        if (fractions) {
            const double left_out = (x - 1) * power - 64 * d * kLog2;
            scale = std::max(scale, p - q - x * power + std::max(0.0, left_out));
            continue;
        }
        const double left_out = -factors - (d + degree_Q + degree_R) * std::log(x);
        scale = std::max(scale, p - q + factors + std::max(0.0, left_out));
        factors += (R ? ln(R->evaluate(at)) : 0) - q;
    }

    const SignedPolynomial all(terms.P);
    const double c = all.log_coefficients();
    const bool grows = grows_from(Q, kSingleTerms);
    const double q = grows ? std::max(0.0, ln(Q.evaluate(SimpleInt::from_u64(kSingleTerms)))) : 0;
    const double from = static_cast<double>(kSingleTerms + 1);
    double rest;
    if (fractions) {
        rest =
            std::max(largest_power(d, power, from) - from * power, d * (kLogLastIndex - 64 * kLog2) - power);
    } else {
        const double decay = R ? std::log(4.0 / 3) : q;
        rest = std::max(factors + largest_power(d, decay, from), -(degree_Q + degree_R) * std::log(from));
    }
    return std::max(scale, c - q + rest) + kSlack;
}

}  // namespace kalvor::BinarySplitting
