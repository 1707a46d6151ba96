#include "digits/convert/overlap.h"

#include <string>

#include "base/console/console.h"
#include "base/errors/exceptions.h"

namespace kalvor::CBRv2 {

namespace Console = trel::Console;

void add1(Word radix, Word* upper, u64 n) {
    Console::print_line("Performing additive correction...", 'Y');
    for (u64 i = 0; i < n; i++) {
        if (upper[i] != radix - 1) {
            upper[i]++;
            return;
        }
        upper[i] = 0;
    }
    throw trel::AlgorithmFailedException("add1()", "Impossible carryout.");
}

void sub1(Word radix, Word* upper, u64 n) {
    Console::print_line("Performing subtractive correction...", 'Y');
    for (u64 i = 0; i < n; i++) {
        if (upper[i] != 0) {
            upper[i]--;
            return;
        }
        upper[i] = radix - 1;
    }
    throw trel::AlgorithmFailedException("sub1()", "Impossible carryout.");
}

void fixup(Word radix, Word expected, Word actual, Word* upper, u64 n, const char* function) {
    Console::error_line("Overlap Mismatch");
    Console::labelled_line("Expected", std::to_string(expected));
    Console::labelled_line("Actual", std::to_string(actual));
    if (expected == 0 && actual == radix - 1) {
        add1(radix, upper, n);
    } else if (expected == radix - 1 && actual == 0) {
        sub1(radix, upper, n);
    } else {
        throw trel::AlgorithmFailedException(function, "Overlap Mismatch:\n    RL = " + std::to_string(n) +
                                                           "\n    Expected = " + std::to_string(expected) +
                                                           "\n    Actual   = " + std::to_string(actual));
    }
}

}  // namespace kalvor::CBRv2
