// Left-to-right powering, apart from what is squared and multiplied.
#pragma once

#include <bit>
#include <utility>

#include "arith/bigfloat/big_float.h"
#include "base/status/status.h"
#include "base/status/status_scope.h"

namespace trel::newton {

// Throws ExponentOverflowException beyond 2^61 - 1 words.
void check_power_exponent(i128 exponent, const char* function);

// The progress line's text, followed by the exponent reached.
inline constexpr char kPowering[] = "Powering: ";

// now^n, n >= 1, by bit_width(n) - 1 squarings from the bit below the top one down. square(next, now) writes
// now^2 to next and the two change places; multiply(now, next) multiplies by the base and may swap the
// references. In the end the power is in now. The status shows the exponent reached so far.
template <class Square, class Multiply>
void binary_power(Status& status, u64 n, BigFloat*& now, BigFloat*& next, const char* function,
                  const Square& square, const Multiply& multiply) {
    for (int bit = std::bit_width(n) - 2; bit >= 0; bit--) {
        const u64 reached = n >> (bit + 1);
        {
            StatusFrame frame(status, kPowering, reached);
            square(*next, *now);
            std::swap(now, next);
        }
        if (n >> bit & 1) {
            check_power_exponent(now->exp, function);
            StatusFrame frame(status, kPowering, 2 * reached);
            multiply(now, next);
        }
        check_power_exponent(now->exp, function);
    }
}

}  // namespace trel::newton
