// Sturm sequences: how many real zeros a polynomial has between two points, by counting signs.
#pragma once

#include <vector>

#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::Polynomials {

class SturmSequence {
  public:
    // p_0 = p, p_1 = p', p_(k+1) = -(p_(k-1) mod p_k), each up to a positive factor. (Sturm 1829.) Throws
    // InvalidParametersException "Polynomial is zero.".
    static SturmSequence generate(const IntegerPolynomial& p);
    // The same from any p_0 and p_1: the difference of sign changes is the Cauchy index of p_1 / p_0.
    static SturmSequence generate(const IntegerPolynomial& p0, const IntegerPolynomial& p1);
    explicit SturmSequence(std::vector<IntegerPolynomial> polynomials)
        : polynomials_(std::move(polynomials)) {}

    const std::vector<IntegerPolynomial>& polynomials() const { return polynomials_; }
    // A greatest common divisor of p_0 and p_1.
    const IntegerPolynomial& last() const { return polynomials_.back(); }

    u64 sign_changes(const Dyadic& x) const;
    // Distinct zeros of p in (a, b]; neither end may be a multiple zero. Throws AlgorithmFailedException
    // "Sturm sequence returned inconsistent # of sign-flips.".
    u64 zeros(const Dyadic& a, const Dyadic& b) const;
    // From the sign changes at the ends.
    static u64 zeros(u64 changes_a, u64 changes_b, const char* function);

  private:
    std::vector<IntegerPolynomial> polynomials_;  // the last is not zero
};

}  // namespace kalvor::Polynomials
