// The transform of Code 17: one record, one set of kernels.
#pragma once

#include "arith/c17/c17_product.h"
#include "arith/multiply/transform.h"

namespace trel {

// Cyclic convolution of w-bit points, modulo 2^capacity - 1. Read-only after construction: operations may run
// on several threads at once, each with buffers of its own. Cheap to make. Throws ConvolutionFailedException
// "Coefficient is too large." when the check of the coefficients fails, or a thread does not round to
// nearest.
class C17Transform final : public Transform {
  public:
    // The setup outlives the transform. family: whose name failures bear, c17 or vst (else "Invalid Mode").
    explicit C17Transform(const C17Setup& setup, NttFamily family = NttFamily::c17);

    Fold fold() const override { return Fold::cyclic; }
    const char* name() const override;
    bool compatible(const Transform& other) const override;

    const C17Setup& setup() const { return *setup_; }

  protected:
    void do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                    void* scratch) const override;
    void do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work, const void* X,
                    const void* Y, void* scratch, ProductRest* rest) const override;
    void do_multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                           u64 LA, const Word* B, u64 LB, void* memory, ProductRest* rest) const override;
    void do_square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A, u64 L,
                         void* memory, ProductRest* rest) const override;
    void do_multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                          u64 LA, const void* Y, void* work, void* scratch, ProductRest* rest) const override;

  private:
    template <class Run>
    void accounted(C17Product& product, ProductRest* rest, Run&& run) const;
    void check(const C17Product& product) const;

    const C17Setup* setup_;
    NttFamily family_;
};

}  // namespace trel
