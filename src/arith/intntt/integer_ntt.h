// The transforms that work in integers, "N32" (32-bit NTT) and "N64" (64-bit NTT): one design for two word
// sizes. Operands are cut into points of (a - 1) half words, so that a of the primes hold the product of two
// points with a word to spare for the sum of all of them.
#pragma once

#include "arith/intntt/integer_ntt_kernels.h"
#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/transform.h"
#include "arith/ntt/ntt_records.h"
#include "base/simd/isa.h"

namespace trel {

class JoinWindow;

// The kernels of a level, and those of the level in use.
template <class W>
const IntegerNttKernels<W>& integer_ntt_kernels(Isa isa);
template <class W>
const IntegerNttKernels<W>& integer_ntt_kernels();

// Cyclic convolution modulo 2^capacity - 1. Windows of products that do not wrap are exact. Data of a
// transform: a rows of N residues. Read-only after construction: operations may run on several threads at
// once, each with buffers of its own. Scratch: a place for the whole
// ring, in which the check looks at windows. inverse() throws ConvolutionFailedException when a
// coefficient cannot be right.
template <class W>
class IntegerNttTransform final : public Transform {
  public:
    // Throws InvalidParametersException "Out-of-bounds." when there is no prime set for the record's a and b.
    // c from 8 to the depth of the primes; hints d, e, f 0 or 5 to 8, 3 to 11, 6 to 11: anything else ends
    // the process with "Invalid Function Parameters:   ".
    IntegerNttTransform(const IntegerNttKernels<W>& kernels, const NttRecord& record);

    // The carry out of the top point is dropped.
    Fold fold() const override { return Fold::cyclic; }
    const char* name() const override;
    bool compatible(const Transform& other) const override;

    // The second half of inverse(), from the residues of the product's coefficients (times N / R): for tests
    // that spoil one. rest: as of do_inverse().
    void recombine(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const void* residues,
                   ProductRest* rest = nullptr) const;

    const NttRecord& record() const { return record_; }

  protected:
    void do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                    void* scratch) const override;
    void do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work, const void* X,
                    const void* Y, void* scratch, ProductRest* rest) const override;

  private:
    struct PointRange;
    struct Carries;
    struct Block;

    u64 n_tasks(const ParallelContext& parallel) const;
    void load_columns(W* rows, const W* units, u32 prime, const bool* empty, u64 column) const;
    void load_block(Block& block, const W* residues, u64 column) const;
    void join(Block& block, u32 t, W* carry) const;
    W join_columns(const PointRange& points, const JoinWindow& window, const W* residues, u64 from, u64 to,
                   Carries& carries) const;
    W carry_into(u64 end, const W* residues, W* carry) const;

    const IntegerNttKernels<W>* kernels_;
    const IntegerNttSet<W>* set_;
    NttRecord record_;
    u32 log_block_;
};

template <class W>
class IntegerNttAlgorithm final : public MultiplyAlgorithm {
  public:
    // Throws LimitExceededException beyond the family's largest product.
    MultiplySizes sizes(u64 words) const override;
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override;
};

const MultiplyAlgorithm& n32_algorithm();
const MultiplyAlgorithm& n64_algorithm();

}  // namespace trel
