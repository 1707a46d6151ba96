// A fraction in [0, 1) in fixed point: L limbs of 48 bits, all arithmetic modulo 1.
//
//     limb:      0        1             L - 1
//     weight:    2^-48    2^-96  ...    2^(-48 L)
#pragma once

#include <span>
#include <string>
#include <vector>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::BBPv2 {

class FractionFloat {
  public:
    static constexpr u64 kLimbBits = 48;
    static constexpr u64 kMask = (u64(1) << kLimbBits) - 1;

    // Zero. Throws InvalidParametersException "Length must be at least 2.".
    explicit FractionFloat(u64 n_limbs);

    void clear();
    // Throw InvalidParametersException "Lengths do not match.".
    void add(const FractionFloat& x);
    void subtract(const FractionFloat& x);

    // Adds sum over j of 2^(-48 (j + 1)) (sums[8 j] + ... + sums[8 j + 7]), signed words in two's complement:
    // what the kernels have added up (bbp_kernels.h). One row of eight a limb.
    void add_lanes(const u64* sums);
    // Adds 2^-s, s >= 1; nothing when that is below the last limb.
    void add_power(u64 s);

    // The first n hexadecimal digits, upper case; n is at most 12 L.
    std::string hexadecimal(u64 n) const;

    std::span<const u64> limbs() const { return limbs_; }
    std::span<u64> limbs() { return limbs_; }

    bool operator==(const FractionFloat&) const = default;

  private:
    // Adds `value` to limb i and its carry to those above.
    void add_at(u64 i, u64 value);
    void require_same_length(const FractionFloat& x, const char* function) const;

    std::vector<u64> limbs_;
};

}  // namespace kalvor::BBPv2
