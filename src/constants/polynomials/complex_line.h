// A polynomial along a straight line of the complex plane.
#pragma once

#include "constants/polynomials/integer_polynomial.h"

namespace kalvor::Polynomials {

class ComplexLine {
  public:
    // p at the points of a line as a polynomial in t, up to a positive factor. t runs along the line from
    // `start` to `end`, which is from 0 to 1 except on parallels of the axes. p is square-free, of degree 62
    // at most and not constant; from and to differ. Throws AlgorithmFailedException "GCD(real, imag) is
    // not 1. Input polynomial is not square-free.".
    //
    // The real and the imaginary part have a common divisor where the line meets zeros of p or has pairs of
    // them as mirror images. For a square-free p this divisor has simple zeros only; then its zeros on the
    // segment are counted, and the index is that of the quotient without it.
    ComplexLine(const IntegerPolynomial& p, const ComplexPoint& from, const ComplexPoint& to);

    const IntegerPolynomial& real() const { return real_; }
    const IntegerPolynomial& imag() const { return imag_; }
    const Dyadic& start() const { return from_; }
    const Dyadic& end() const { return to_; }

    struct Index {
        i64 cauchy_index;  // of imag / real from start to end
        u64 zeros;         // of p between them
    };
    // For p times `rotation`, which must be such that the real part is not zero at either end.
    Index index(const ComplexInt& rotation) const;

  private:
    IntegerPolynomial real_, imag_;
    Dyadic from_, to_;
};

}  // namespace kalvor::Polynomials
