// The prime sets of the number-theoretic transforms: for each family and (a, b) the a largest primes p below
// the family's bound with b 2^max_exponent | p - 1, in decreasing order.
#pragma once

#include <span>

#include "arith/ntt/ntt_records.h"
#include "os/types.h"

namespace trel {

struct NttPrimeSet {
    u32 a, b;
    u32 max_exponent;             // the largest c of a transform of b 2^c points
    std::span<const u64> primes;  // a primes, decreasing
    double headroom_bits;         // log2 of the primes' product less twice the payload of a point
};

// b is 1, 3, 5 or 7; a is 3 to 10 (N32), 4 to 11 (C17, VST), 3 to 11 (N64). Else throws
// InvalidParametersException "Out-of-bounds.". Built on first use, any thread.
const NttPrimeSet& ntt_prime_set(NttFamily family, u32 a, u32 b);
// The set's max_exponent, without making its primes.
u32 ntt_max_exponent(NttFamily family, u32 a, u32 b);

}  // namespace trel
