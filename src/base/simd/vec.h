// The small vector types of the level that a kernel file is compiled for: eight doubles (F64x8), eight 64-bit
// words (U64x8) and eight lane masks (Mask8), inside the namespace trel::TREL_ISA. Both levels offer the same
// operations with the same results; algorithms are written once on them.
//
// Include from kernel files (*.isa.cpp) only. Everything is in an unnamed namespace and always inlined: a
// symbol that other objects could share would bring wide instructions into plain code.
//
// Doubles: lane i of the result depends on lane i of the operands unless said otherwise. fma(a, b, c) = a b +
// c and fnma(a, b, c) = c - a b are rounded once. No operation depends on the rounding mode but through the
// default.
#pragma once

#if defined(TREL_ISA_avx512)
#include "base/simd/vec_avx512.h"
#elif defined(TREL_ISA_avx2)
#include "base/simd/vec_avx2.h"
#else
#error "vec.h belongs in files that are compiled per instruction set"
#endif
