// Fused multiply-add without a processor feature.
#pragma once

namespace trel::os {

// a * b + c with one rounding, to nearest, for results that neither overflow nor come near the smallest
// numbers. (Not every C library's fma() rounds once.)
double fma(double a, double b, double c) noexcept;

}  // namespace trel::os
