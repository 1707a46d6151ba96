#include "arith/newton/binary_power.h"

#include <algorithm>
#include <limits>

#include "base/errors/exceptions.h"

namespace trel::newton {

void check_power_exponent(i128 exponent, const char* function) {
    constexpr i64 kLimit = 0x1fffffffffffffff;  // words
    if (exponent <= kLimit && exponent >= -kLimit) return;
    const i128 largest = std::numeric_limits<i64>::max();
    throw ExponentOverflowException(function, "", static_cast<i64>(std::clamp(exponent, -largest, largest)),
                                    kLimit);
}

}  // namespace trel::newton
