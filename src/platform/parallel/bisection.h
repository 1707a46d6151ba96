// A range as a tree of two-way forks, for frameworks whose own loops are not wanted.
#pragma once

#include "os/types.h"

namespace trel {

// Runs run(i) for every i in [begin, end): one index at once, more of them as fork(first half, second half),
// the first half being the smaller one. fork takes two callables. The range is not empty.
template <class Fork, class Run>
void bisect(const Fork& fork, const Run& run, u64 begin, u64 end) {
    if (end - begin == 1) {
        run(begin);
        return;
    }
    const u64 middle = begin + (end - begin) / 2;
    fork([&] { bisect(fork, run, begin, middle); }, [&] { bisect(fork, run, middle, end); });
}

}  // namespace trel
