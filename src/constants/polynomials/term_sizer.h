// How large the product of a polynomial's values over a range of terms is, from its zeros.
//
// Sizes are natural logarithms (nats). Read-only after construction, any thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "constants/polynomials/zero_place.h"

namespace kalvor::Polynomials {

// The logarithms of |k - r| for a real zero r, summed over the terms k.
class PochhammerRealSizer {
  public:
    // `zero`, which is refined, is not a positive integer.
    explicit PochhammerRealSizer(RealZero zero);
    // a < k <= b
    DoubleDouble log_size(u64 a, u64 b) const;
    double near_log_size(u64 a, u64 b) const;

  private:
    ZeroPlace place_;
    DoubleDouble at_nearest_;
};

// ln((k - x)^2 + y^2) summed over k, for a pair x +- y i.
class PochhammerComplexPairSizer {
  public:
    explicit PochhammerComplexPairSizer(ComplexZero zero);
    // Throws InvalidParametersException "Root with negative imaginary part.", "Imaginary part is too large."
    // (y > 2^50) and "Root too close to zero." (nearer to a term index than 2^-500, where its square leaves
    // the range of a double).
    PochhammerComplexPairSizer(const ZeroPlace& x, const Dyadic& y);
    DoubleDouble log_size(u64 a, u64 b) const;
    double near_log_size(u64 a, u64 b) const;

  private:
    void set_imaginary(const Dyadic& y, const Dyadic& at_least);

    ZeroPlace place_;
    DoubleDouble y_;
    DoubleDouble at_nearest_;
};

class PolynomialTermSizer {
  public:
    // p is not zero at a positive integer; `extra` nats come to every term.
    // `zeros` are all of p.
    PolynomialTermSizer(const IntegerPolynomial& p, const Zeros& zeros, const DoubleDouble& extra);

    u64 degree() const { return degree_; }
    // ln |p(a + 1) ... p(b)| and the extra nats. Never negative.
    DoubleDouble log_size(u64 a, u64 b) const;
    // For plans: log_size(0, k) and a little for every term, so that it grows from term to term although each
    // value is rounded. Never below log_size(0, k).
    DoubleDouble log_size_to(u64 k) const;

    // Both in doubles, in a fraction of the time, for the ranges of a run. Up to kNearTerms terms the first
    // is right to half a nat; the second never falls, covers the first, and exceeds log_size_to() by less
    // than a thousandth of a word a term and degree.
    static constexpr u64 kNearTerms = u64(1) << 32;
    double near_log_size(u64 a, u64 b) const;
    double near_log_size_to(u64 k) const;

  private:
    u64 degree_;
    DoubleDouble per_term_;
    struct Real {
        PochhammerRealSizer sizer;
        double multiplicity;
    };
    struct Pair {
        PochhammerComplexPairSizer sizer;
        double multiplicity;
    };
    std::vector<Real> real_;
    std::vector<Pair> pairs_;
};

// `name` is "Q(x)" or "R(x)". Throws InvalidParametersException "Polynomial Q(x) is zero at x = 3." for a
// zero at a positive integer. p is not 0.
PolynomialTermSizer make_sizer(const std::string& name, const IntegerPolynomial& p, const DoubleDouble& extra,
                               Remarks* remarks);

}  // namespace kalvor::Polynomials
