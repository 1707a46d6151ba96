// The constants of the Code 17 transform's primes: roots of unity and what the passes make of them.
//
// Made on first use, one record of 12 KB a prime, and kept for the life of the process: all
// lengths of a prime share them, so no product needs tables of its own.
#pragma once

#include "arith/c17/c17_passes.h"
#include "arith/ntt/ntt_prime_sets.h"

namespace trel {

constexpr u32 kC17MaxPrimes = 11;

struct C17SetTables {
    const NttPrimeSet* set;
    C17Prime primes[kC17MaxPrimes];
};

// The tables of the set (a, b), a = 7 to 11, b = 1, 3, 5 or 7. Any thread.
const C17SetTables& c17_set_tables(u32 a, u32 b);

}  // namespace trel
