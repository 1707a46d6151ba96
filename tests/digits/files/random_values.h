// Digits by chance, a byte of its value each.
#pragma once

#include <random>
#include <vector>

#include "os/types.h"

namespace kalvor_test {

inline std::vector<trel::u8> random_values(trel::u64 n, trel::u32 radix, std::mt19937_64& random) {
    std::vector<trel::u8> values(n);
    for (trel::u8& v : values) v = static_cast<trel::u8>(random() % radix);
    return values;
}
inline std::vector<trel::u8> random_values(trel::u64 n, trel::u32 radix, trel::u64 seed) {
    std::mt19937_64 random(seed);
    return random_values(n, radix, random);
}

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::random_values;
