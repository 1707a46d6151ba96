// The multiplication algorithm of small numbers: schoolbook and Karatsuba.
#pragma once

#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/multiply_algorithm32.h"

namespace trel {

// The largest product, in bits. The table hands over to the transforms long before it.
constexpr u64 kBasecaseKaratsubaMaxBits = 65536;

// Whole products are formed directly. A truncated product forms the whole product in scratch and copies the
// window: at these sizes that is as fast as anything shorter, and it is exact.
//
// Its transform object keeps a copy of the operand's words: inverse() multiplies them and copies the window
// out, so nothing wraps and products longer than the convolution are right in every word.
const MultiplyAlgorithm& basecase_karatsuba_algorithm();
// The same on 32-bit words, with kernels and thresholds of their own.
const MultiplyAlgorithm32& basecase_karatsuba_algorithm32();

}  // namespace trel
