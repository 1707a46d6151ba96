// Lanes of vec.h chosen by a bit of a word each: what exponentiation by squaring asks at every step. One
// instruction less for each where the level has masks.
//
// For kernel files (*.isa.cpp) only.
#pragma once

#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

#if defined(TREL_ISA_avx512)

// The lanes in which a has the bit; `bit` is the same power of two in every lane.
TREL_INLINE Mask8 has_bit(U64x8 a, U64x8 bit) {
    return {_mm512_test_epi64_mask(a.v, bit.v)};
}
// a + b in the lanes of the mask, a in the others.
TREL_INLINE F64x8 add_masked(Mask8 m, F64x8 a, F64x8 b) {
    return {_mm512_mask_add_pd(a.v, m.m, a.v, b.v)};
}

#else

TREL_INLINE Mask8 has_bit(U64x8 a, U64x8 bit) {
    return equal(a & bit, bit);
}
TREL_INLINE F64x8 add_masked(Mask8 m, F64x8 a, F64x8 b) {
    return a + f64_of_bits(bits_of(b) & U64x8{m.lo, m.hi});
}

#endif

}  // namespace
}  // namespace trel::TREL_ISA
