// What the ends of Code 17 products know of a set of primes, whatever the length. Tables are plain values, so
// that kernel files can include this page.
#pragma once

#include "arith/c17/c17_ends.h"
#include "os/types.h"

namespace trel {

struct C17PrimeConstants {
    static constexpr u32 kMaxLimbs =
        10;  // of 24 bits in a point, of 48 bits in a product of all other primes
    static constexpr u32 kMaxExponent = 48;

    double p;
    double p_inverse;  // 1 / p, rounded
    double p_low;      // p / 2^24
    // 2^(24 k) = high[k] 2^24 + low[k] modulo p; both at most 2^23 in magnitude. Used for k >= 2.
    double low[kMaxLimbs], high[kMaxLimbs];
    // M_i, the product of the other primes, is the sum of others[k] 2^(48 k), k < a - 1; from -2^47 to 2^47,
    // but the highest, which is below 2^48.
    double others[kMaxLimbs];
    // 1 / (M_i b 2^c) modulo p, balanced, c up to the set's exponent
    double scale[kMaxExponent];
};

struct C17SetConstants {
    u32 a;
    C17PrimeConstants primes[C17EndConstants::kMaxPrimes];
};

// The constants of the C17 set (a, b); made on first use, any thread.
const C17SetConstants& c17_set_constants(const NttPrimeSet& set);

}  // namespace trel
