// How the limbs of an operand become rows of residues: reduction modulo each prime and the radix-b pass in
// one kernel, so that nothing is stored between the two. Rows beyond the end of the operand are zero, and the
// kernel that is taken knows how many are not: half of the points of most products' operands.
#pragma once

#include "arith/c17/c17_ends.h"
#include "arith/c17/c17_passes.h"
#include "os/types.h"

namespace trel {

struct C17EntryKernels {
    // Columns [0, count) of rows 0 to b - 1 of primes first to first + n - 1, b = 1, 3 or 5:
    // out[i * prime_stride + r * row_stride + k] for prime first + i. limbs + r * row_limbs are the limbs
    // that cut() has made of the columns of operand row r < used, 0 < used <= b; the other rows of the
    // operand are zero. count is a multiple of eight. Bounds as after the radix-b pass: see c17_bounds.md.
    void (*enter)(const C17EndConstants* constants, const C17Prime* primes, u32 b, u32 first, u32 n,
                  const double* limbs, u64 row_limbs, u32 used, u64 count, double* out, u64 row_stride,
                  u64 prime_stride);
};

namespace avx2 {
extern const C17EntryKernels c17_entry_kernels;
}
namespace avx512 {
extern const C17EntryKernels c17_entry_kernels;
}

}  // namespace trel
