#include "digits/convert/overlap.h"

#include <string>

#include "base/errors/exceptions.h"

namespace kalvor::CBRv2 {

void add1(const ParallelContext& parallel, Word radix, Word* upper, u64 n) {
    parallel.warn({{"Performing additive correction...", 'Y'}});
    for (u64 i = 0; i < n; i++) {
        if (upper[i] != radix - 1) {
            upper[i]++;
            return;
        }
        upper[i] = 0;
    }
    throw AlgorithmFailedException("add1()", "Impossible carryout.");
}

void sub1(const ParallelContext& parallel, Word radix, Word* upper, u64 n) {
    parallel.warn({{"Performing subtractive correction...", 'Y'}});
    for (u64 i = 0; i < n; i++) {
        if (upper[i] != 0) {
            upper[i]--;
            return;
        }
        upper[i] = radix - 1;
    }
    throw AlgorithmFailedException("sub1()", "Impossible carryout.");
}

void fixup(const ParallelContext& parallel, Word radix, Word expected, Word actual, Word* upper, u64 n,
           const char* function) {
    parallel.warn({{"Overlap Mismatch", ' ', true},
                   {"Expected: " + std::to_string(expected)},
                   {"Actual: " + std::to_string(actual)}});
    if (expected == 0 && actual == radix - 1) {
        add1(parallel, radix, upper, n);
    } else if (expected == radix - 1 && actual == 0) {
        sub1(parallel, radix, upper, n);
    } else {
        throw AlgorithmFailedException(function, "Overlap Mismatch:\n    RL = " + std::to_string(n) +
                                                     "\n    Expected = " + std::to_string(expected) +
                                                     "\n    Actual   = " + std::to_string(actual));
    }
}

}  // namespace kalvor::CBRv2
