// Relations that express the logarithm of a prime by those of smaller primes and one arccoth.
#pragma once

#include <vector>

#include "constants/builtin/prime_exponents.h"

namespace kalvor {

// 2 ln p = 2 d arccoth(m) + the sum of e ln q over `factors` (q -> e), all q < p
struct LogRelation {
    u64 p;
    u64 m;
    i64 d;  // 1, -1, 2 or -2
    PrimeExponents factors;

    // 1 / ln m, the price of the step.
    double cost() const;
};

// 199 relations for the primes 11 .. 251, one to five each, in the order of p and m, found by a search
// over the m below 2^32 whose ratio (m + 1) / (m - 1) has p and primes up to 19 only.
const std::vector<LogRelation>& log_relations();
// Those of one prime; empty outside the table.
std::vector<LogRelation> log_relations_of(u64 p);

}  // namespace kalvor
