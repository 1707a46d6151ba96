// What a target of the fuzzers says of a property.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace fuzz {

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

}  // namespace fuzz
