// The small vector types of the level that a kernel file is compiled for: eight doubles (F64x8), eight 64-bit
// words (U64x8) and eight lane masks (Mask8), inside the namespace trel::TREL_ISA. Both levels offer the same
// operations with the same results; algorithms are written once on them.
//
// For kernel files (*.isa.cpp) only; kernel.h says why everything is inlined.
//
// Lane i of a result depends on lane i of the operands unless an operation says otherwise. Rounded once:
// fma(a, b, c) = a b + c, fms(a, b, c) = a b - c, fnma(a, b, c) = c - a b. Results are those of the default
// rounding mode, to nearest.
#pragma once

#if defined(TREL_ISA_avx512)
#include "base/simd/vec_avx512.h"
#elif defined(TREL_ISA_avx2)
#include "base/simd/vec_avx2.h"
#else
#error "vec.h belongs in files that are compiled per instruction set"
#endif
