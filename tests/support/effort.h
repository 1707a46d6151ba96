// Long loops over cases of one kind take a part of them under a sanitizer, where code is ten times as slow
// and only how it goes about memory and threads is new; every digit is checked by the release build, which
// takes all.
#pragma once

namespace kalvor_test {

// The step through a list, or the divisor of a size or a number of rounds: n under a sanitizer, else 1.
constexpr unsigned thinned([[maybe_unused]] unsigned n) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return n;
#else
    return 1;
#endif
}

// The same for what is as slow under Wine: loops that start a process or make a file each time, and fused
// multiplications, which its C library does in several steps.
constexpr unsigned thinned_under_wine_too([[maybe_unused]] unsigned n) {
#ifdef KALVOR_SLOW_THREADS
    return n;
#else
    return thinned(n);
#endif
}

}  // namespace kalvor_test
