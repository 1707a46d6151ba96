// Values of a user's polynomials as exact numbers: a sign and a zero beside the magnitude, with the residue.
#pragma once

#include <vector>

#include "arith/exact/exact_float.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::BinarySplitting {

// Read-only after construction, any thread.
class SignedPolynomial {
  public:
    // From the constant term up; one coefficient or more.
    explicit SignedPolynomial(std::vector<i64> coefficients);

    u64 degree() const { return coefficients_.size() - 1; }
    // Words that hold its value, and all on the way to it, for 1 <= k <= largest.
    u64 words(u64 largest) const { return (sum_bits_ + degree() * bits_of(largest)) / 64 + 1; }
    // ln of what |value| / k^degree does not exceed for k >= 1.
    double log_coefficients() const { return log_coefficients_; }
    // A = its value at k >= 1, by Horner's rule. BufferTooSmallException naming `function` where A has less
    // than words(k).
    void set(ExactFloat& A, u64 k, const char* function) const;

  private:
    static u64 bits_of(u64 k);

    std::vector<i64> coefficients_;
    u64 sum_bits_;  // of the sum of their magnitudes
    double log_coefficients_;
};

}  // namespace kalvor::BinarySplitting
