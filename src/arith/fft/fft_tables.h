// Twiddle factors of the FFT: exact to the last bit but one rounding, shared by all lengths.
//
// A node's root is e^(pi i phi) with phi = theta / 2^depth + reversed(index), where theta is the turn of the
// node's root polynomial and reversed() puts bit t of the index at weight 2^-(t+1). Angles of an index's low
// and high bits add, so the roots of deep nodes are products of two entries of two short tables.
#pragma once

#include <memory>

#include "arith/fft/fft_kernels.h"
#include "arith/fft/fft_parameters.h"
#include "arith/multiply/multiply_algorithm.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Quads of the high table that a transform of a 2^k points needs for each of its a roots; 0: the common part
// is enough.
u64 fft_hi_stride(u32 k);
// Fills the high tables of all roots of a: a * stride quads.
void fft_fill_hi(FftQuad* out, u32 a, u64 stride, const ParallelContext& parallel);

// Twiddles of a with the given high table (nullptr when the transform needs none). The common part, 82 KB for
// nodes near the root, is made once for the whole program on first use; thread-safe.
FftTwiddles fft_twiddles(u32 a, const FftQuad* hi, u64 hi_stride);

// High tables for all products of up to a given size, in memory of the caller.
class FftSharedTables final : public SharedTables {
  public:
    static u64 bytes(u64 words);
    FftSharedTables(u64 words, AlignedBufferC memory, const ParallelContext& parallel);

    // The table of a, and its stride; nullptr when it does not reach a transform of a 2^k points.
    const FftQuad* find(u32 a, u32 k, u64& stride) const;

  private:
    const FftQuad* hi_[3] = {};
    u64 stride_[3] = {};
};

}  // namespace trel
