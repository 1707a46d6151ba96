// How long products take, for telling how far a computation is.
#pragma once

#include <algorithm>
#include <cmath>

#include "os/types.h"

namespace trel {

// Nanoseconds of one processor core of today, about, for a product of n words in all. Only the growth matters:
// how fast a machine is shows while it runs.
inline constexpr double kWorkSeconds = 1e-9;
inline double product_work(double n) {
    return 1.1 * n * std::log2(std::max(n, 2.0));
}

}  // namespace trel
