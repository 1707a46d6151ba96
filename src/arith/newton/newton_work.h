// How much work the Newton iterations of the constants are (product_work.h).
#pragma once

#include "arith/estimate/product_work.h"
#include "arith/newton/steps.h"

namespace trel::newton {

// One level of a reciprocal or an inverse square root, to p words.
inline double step_work(u64 p) {
    return 1.5 * product_work(static_cast<double>(p));
}

// All levels up to p words.
inline double levels_work(u64 p) {
    double work = 0;
    for (; p >= kTransformPrecision; p = previous_precision(p)) work += step_work(p);
    return work;
}

// The three products of a division that follow its reciprocal, each.
inline double division_product_work(u64 p) {
    return 0.9 * product_work(static_cast<double>(p));
}

// A division to p words with a reciprocal of q words.
inline double division_work(u64 p, u64 q) {
    return levels_work(q) + 3 * division_product_work(p);
}

// A step of a mean of p words: a square and a square root.
inline double mean_step_work(u64 p) {
    const double words = static_cast<double>(p);
    return 2.0 / 3 * product_work(2 * words) + 2 * levels_work(previous_precision(p)) + product_work(words);
}

}  // namespace trel::newton
