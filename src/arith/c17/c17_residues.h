// Arithmetic on vectors of eight residues of Code 17, balanced integers in doubles. Kernel files only;
// everything is private to the file that includes it. c17_bounds.md has the bounds.
#pragma once

#include "arith/c17/c17_passes.h"
#include "base/simd/vec.h"

namespace trel::TREL_ISA {
namespace {

struct Modulus {
    F64x8 p, inverse_p, rounder;
};
TREL_INLINE Modulus modulus(const C17Prime& prime) {
    return {broadcast(prime.tables->p), broadcast(prime.tables->inverse_p), broadcast(kRounder)};
}

// x w modulo p: q is x w / p rounded, x w = h + l exactly, h - q p is an integer small enough to be exact.
TREL_INLINE F64x8 mul_mod(F64x8 x, F64x8 w, const Modulus& m) {
    const F64x8 h = x * w;
    const F64x8 l = fms(x, w, h);
    const F64x8 q = fma(h, m.inverse_p, m.rounder) - m.rounder;
    return fnma(q, m.p, h) + l;
}
TREL_INLINE F64x8 reduce(F64x8 x, const Modulus& m) {
    const F64x8 q = fma(x, m.inverse_p, m.rounder) - m.rounder;
    return fnma(q, m.p, x);
}

}  // namespace
}  // namespace trel::TREL_ISA
