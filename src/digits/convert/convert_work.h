// How much work a radix conversion is (product_work.h).
#pragma once

#include <algorithm>
#include <cmath>

#include "arith/estimate/product_work.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::CBRv2 {

// A range of n radix words with everything below it. It grows faster than its argument, so that a split is
// what a range is more than its halves.
inline double range_work(u64 n) {
    const double words = static_cast<double>(n), levels = std::log2(std::max(words, 2.0));
    return 0.5 * words * levels * levels;
}

// The powers for n radix words.
inline double table_work(u64 n) {
    return product_work(static_cast<double>(n));
}

// The check of n radix words: a power and a product.
inline double verify_work(u64 n) {
    return 3.2 * product_work(static_cast<double>(n));
}

}  // namespace kalvor::CBRv2
