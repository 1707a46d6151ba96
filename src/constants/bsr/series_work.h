// How much work the sums of a series are (product_work.h).
#pragma once

#include <algorithm>
#include <cmath>

#include "arith/estimate/product_work.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::BinarySplitting {

// Everything below and with the merge of a range whose largest result has `words` words: its leaves, which
// take much the same for each word, and the levels of merges above them. It grows faster than its argument,
// so that a merge is what a range is more than its halves, however it was split.
inline double range_work(double words) {
    const double levels = std::log2(std::max(words, 2.0));
    return words * (190 + 1.65 * levels * levels);
}

// The products of a merge in floating point, cut to `precision` words.
inline double float_merge_work(u64 precision) {
    return 5 * product_work(static_cast<double>(precision));
}

}  // namespace kalvor::BinarySplitting
