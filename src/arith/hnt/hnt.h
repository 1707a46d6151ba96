// The "Hybrid NTT": an outer transform whose points are numbers modulo 2^(32 L) + 1, and whose pointwise
// products are products of those numbers by another algorithm.
#pragma once

#include "arith/hnt/hnt_parameters.h"
#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/transform.h"

namespace trel {

class FftSharedTables;

// Cyclic convolution modulo 2^capacity - 1 (Schoenhage and Strassen 1971). The root of unity of order 2^k is
// 2^(m/2), or 2^(1/2) to the power m for odd m, where 2^(1/2) is 2^(24 L) - 2^(8 L). Windows of products that
// do not wrap are exact. Data: 2^k elements of L / 2 + 1 words, and a word for each, the transform of the
// points' residues (residue_transform.h). Read-only after construction.
//
// The convolution is done with the points and with their residues. inverse() throws
// ConvolutionFailedException "Coefficient does not fit its residue." where the two differ, so that a changed
// bit is found in every branch of the transform.
//
// Elements of 24 units or more are multiplied by the floating-point FFT: when a thread that takes part in
// that does not round to nearest, inverse() throws ConvolutionFailedException "Coefficient is too large.".
class HntTransform final : public Transform {
  public:
    // tables: those of the FFT, for as long as the transform; without them every inverse() makes its own.
    explicit HntTransform(const HntParameters& parameters, const FftSharedTables* tables = nullptr);

    // The carry out of the top element is dropped.
    Fold fold() const override { return Fold::cyclic; }
    const char* name() const override { return "HNT"; }
    bool compatible(const Transform& other) const override;

    // The end of inverse(): joins the coefficients, which are elements. For tests that spoil one. rest: as of
    // do_inverse().
    void join(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* elements,
              void* scratch, ProductRest* rest = nullptr) const;

    const HntParameters& parameters() const { return parameters_; }
    // Bytes that one task works in: twice an element, or what the product of two elements needs.
    u64 task_bytes() const { return task_bytes_; }

  protected:
    void do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                    void* scratch) const override;
    void do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work, const void* X,
                    const void* Y, void* scratch, ProductRest* rest) const override;

  private:
    u64 stride() const { return n_ + 1; }
    u64 n_tasks(const ParallelContext& parallel) const;
    void multiply_by_root(Word* r, const Word* x, u64 j, bool negative, Word* temporary) const;
    void forward_butterfly(Word* x, Word* y, u64 j, Word* temporary) const;
    void inverse_butterfly(Word* x, Word* y, u64 j, Word* temporary) const;
    void forward_node(Word* x, u32 levels, Word* temporary) const;
    void inverse_node(Word* x, u32 levels, Word* temporary) const;
    template <class F>
    void shared_level(const ParallelContext& parallel, u64 n_tasks, u32 level, const F& f) const;
    u64* residues_of(void* data) const {
        return reinterpret_cast<u64*>(static_cast<u8*>(data) + residues_at_);
    }
    const u64* residues_of(const void* data) const {
        return reinterpret_cast<const u64*>(static_cast<const u8*>(data) + residues_at_);
    }
    void check_residues(const ParallelContext& parallel, const Word* elements, const u64* residues) const;
    void pointwise(const ParallelContext& parallel, Word* r, const Word* x, const Word* y, u8* scratch) const;

    u64 excess_bound() const { return u64(2) << parameters_.k; }

    HntParameters parameters_;
    const FftSharedTables* tables_;
    u64 n_;            // words of an element without its top
    u64 residues_at_;  // offset of the residues in the data
    u64 task_bytes_;
    u64 max_tasks_;  // that the scratch is for
};

class HntAlgorithm final : public MultiplyAlgorithm {
  public:
    // Throws LimitExceededException beyond the lists.
    MultiplySizes sizes(u64 words) const override;
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override;
};

const MultiplyAlgorithm& hnt_algorithm();

}  // namespace trel
