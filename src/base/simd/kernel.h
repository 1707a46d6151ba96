// What every kernel file (*.isa.cpp) is written with, whatever its vectors.
#pragma once

#include "os/types.h"

// Kernel code lives in unnamed namespaces and is always inlined: a symbol that other objects could share
// would bring wide instructions into plain code.
#define TREL_INLINE inline __attribute__((always_inline))
// Before a short loop with constant bounds: it has to vanish, or the arrays that it walks live in memory.
#define TREL_UNROLL _Pragma("GCC unroll 16")
// Before a loop that has to stay a loop, so that the sums it makes stay in registers.
#define TREL_KEEP_LOOP _Pragma("GCC unroll 1")
// The text of what a macro stands for: TREL_TEXT_OF(TREL_ISA) is the name of the level.
#define TREL_TEXT_OF(macro) TREL_TEXT_(macro)
#define TREL_TEXT_(text) #text

namespace trel {

// 1.5 2^52. Adding it to a double below 2^51 in magnitude rounds that to an integer, which then stands in the
// low bits; subtracting it again gives the integer as a double.
constexpr double kRounder = 0x1.8p52;
constexpr u64 kRounderBits = 0x4338000000000000;

}  // namespace trel
