#include "constants/polynomials/convergence.h"

#include <optional>
#include <string>

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/polynomials/zeros.h"

namespace kalvor::Polynomials {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw InvalidParametersException("SeriesHypergeometric_PolyData::enforce_convergence()",
                                     "Series does not meet convergence requirements.\n"
                                     "Requirement: |R(x)/Q(x)| < 0.75  for all x >= 1\n\n" +
                                         what);
}

// The smallest zero above 1. p is not zero at 1.
std::optional<RealZero> zero_above_1(const IntegerPolynomial& p) {
    const Dyadic one{1, 0};
    std::optional<RealZero> smallest;
    for (const PolynomialPower& power : square_free_factors(p)) {
        for (RealZero& zero : isolate_real_zeros(power.factor)) {
            while (zero.low < one && one < zero.high) zero.halve();
            if (zero.low < one) continue;
            // Zeros of two factors differ, so their intervals come apart.
            while (smallest && zero.low <= smallest->high && smallest->low <= zero.high) {
                zero.halve();
                smallest->halve();
            }
            if (!smallest || zero.low < smallest->low) smallest = zero;
        }
    }
    return smallest;
}

}  // namespace

// The ratio is continuous between the zeros of Q, and beside one of those its magnitude takes every large
// value: it exceeds 3/4 somewhere only if it does so at 1 or is 3/4 or -3/4 at some x.
void enforce_convergence(const IntegerPolynomial& R, const IntegerPolynomial& Q) {
    const IntegerPolynomial R4 = R * IntegerPolynomial({4}), Q3 = Q * IntegerPolynomial({3});
    if (R4.evaluate(SimpleInt(1)).abs() >= Q3.evaluate(SimpleInt(1)).abs()) {
        fail("|R(x)/Q(x)| >= 0.75 at x = 1.");
    }
    if (const auto zero = zero_above_1(R4 - Q3)) {
        fail("R(x)/Q(x) >= 0.75 at or around x = " + isolating_value(*zero) + ".");
    }
    if (const auto zero = zero_above_1(R4 + Q3)) {
        fail("R(x)/Q(x) <= -0.75 at or around x = " + isolating_value(*zero) + ".");
    }
}

}  // namespace kalvor::Polynomials
