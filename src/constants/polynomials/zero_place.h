// Where a zero lies among the term indices 1, 2, 3, ...
#pragma once

#include "constants/polynomials/log_products.h"
#include "constants/polynomials/zeros.h"

namespace kalvor::Polynomials {

// The real part x of a zero, so that k - x is known to the full precision of a double-double for every k
// >= 1.
class ZeroPlace {
  public:
    // Any number in [low, high] may be meant: the ends are so close that it does not matter, see
    // is_precise().
    ZeroPlace(const Dyadic& low, const Dyadic& high);

    // Whether the interval is short beside the distance from x + y i to each term index; y >= 0.
    static bool is_precise(const Dyadic& low, const Dyadic& high, const Dyadic& y);

    // x - nearest for the nearest term index, x less this index; 1 where x is below 1/2 or beyond 2^63.
    const ScaledDoubleDouble& offset() const { return offset_; }
    // ln|k - x + y i| summed over a < k <= b, of which `at_nearest` is the one at the nearest index.
    DoubleDouble log_size(u64 a, u64 b, const DoubleDouble& y, const DoubleDouble& at_nearest) const;
    // The same in doubles.
    double near_log_size(u64 a, u64 b, double y, double at_nearest) const;

  private:
    // `of` an integer as a number, `product` of n factors from a first one on.
    template <class Number, class Of, class Product>
    Number sum_of_logarithms(u64 a, u64 b, const Number& value, const Number& offset,
                             const Number& at_nearest, Of&& of, Product&& product) const;

    u64 nearest_;         // 0: below 1/2; kBeyond: above every index
    DoubleDouble value_;  // x where there is no nearest index
    ScaledDoubleDouble offset_;
};

}  // namespace kalvor::Polynomials
