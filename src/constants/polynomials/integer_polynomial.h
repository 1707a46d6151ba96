// Polynomials with integer coefficients over a common denominator, exact in every operation.
#pragma once

#include <span>
#include <vector>

#include "constants/polynomials/complex_int.h"
#include "constants/polynomials/simple_int.h"

namespace kalvor::Polynomials {

class IntegerPolynomial {
  public:
    IntegerPolynomial() = default;  // 0
    // The sum of c[i] x^i / scale, scale > 0. Zero coefficients at the top are dropped.
    explicit IntegerPolynomial(std::vector<SimpleInt> coefficients, SimpleInt scale = 1);
    static IntegerPolynomial of(std::span<const i64> coefficients);

    bool is_zero() const { return coefficients_.empty(); }
    // -1 of the polynomial 0
    i64 degree() const { return static_cast<i64>(coefficients_.size()) - 1; }
    const std::vector<SimpleInt>& coefficients() const { return coefficients_; }
    const SimpleInt& leading() const { return coefficients_.back(); }
    const SimpleInt& scale() const { return scale_; }

    IntegerPolynomial operator-() const;
    friend IntegerPolynomial operator+(const IntegerPolynomial& a, const IntegerPolynomial& b);
    friend IntegerPolynomial operator-(const IntegerPolynomial& a, const IntegerPolynomial& b);
    friend IntegerPolynomial operator*(const IntegerPolynomial& a, const IntegerPolynomial& b);
    // Compares values: 2x / 2 = x / 1.
    friend bool operator==(const IntegerPolynomial& a, const IntegerPolynomial& b);
    IntegerPolynomial derivative() const;

    // The value times the scale.
    SimpleInt evaluate(const SimpleInt& x) const;
    ComplexInt evaluate(const ComplexInt& z) const;
    // The value at n / 2^k, times the scale and 2^(k degree). Horner's rule for homogeneous polynomials.
    SimpleInt evaluate(const Dyadic& x) const;
    ComplexInt evaluate(const ComplexInt& n, u64 k) const;

    struct Division;
    // a = quotient b + remainder, the remainder's degree below that of b. Throws InvalidParametersException
    // "Divide by zero.".
    static Division divmod(const IntegerPolynomial& a, const IntegerPolynomial& b);
    // a / b with integer coefficients. Both scales must be 1 ("Scale is not 1."), the remainder 0 and the
    // quotient's scale 1 ("Exact division yielded non-zero modulus.").
    static IntegerPolynomial exact_divide(const IntegerPolynomial& a, const IntegerPolynomial& b);

    // Divided by the greatest common divisor of the coefficients, with a scale of 1; signs stay.
    IntegerPolynomial primitive() const;
    // Primitive with a positive leading coefficient; gcd(0, 0) = 0.
    static IntegerPolynomial gcd(const IntegerPolynomial& a, const IntegerPolynomial& b);
    bool is_square_free() const;

    // 2^result is larger than the magnitude of every zero. Degree 1 or more.
    i64 zero_bound() const;

  private:
    std::vector<SimpleInt> coefficients_;  // from the constant term up, the last not 0
    SimpleInt scale_ = 1;
};

struct IntegerPolynomial::Division {
    IntegerPolynomial quotient, remainder;
};

// p up to a constant factor: the product of `factor`^`multiplicity`.
struct PolynomialPower {
    IntegerPolynomial factor;  // square-free, primitive, of degree 1 or more
    u64 multiplicity;
};
// By multiplicity, each at most once; factors have no common zeros. (Yun 1976.)
std::vector<PolynomialPower> square_free_factors(const IntegerPolynomial& p);

}  // namespace kalvor::Polynomials
