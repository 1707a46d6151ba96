// The numbers of a term as products of linear factors.
#pragma once

#include <span>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// (slope k + offset)^power; slope and offset have no common factor.
struct LinearFactor {
    u32 slope;
    i32 offset;
    u32 power;
};
// Q(k) or R(k): a constant whose primes are among those that are sieved (below 2048), times linear
// factors.
struct FactoredNumber {
    Word constant = 1;
    std::span<const LinearFactor> factors;
};

}  // namespace kalvor
