// The transform of the floating-point FFT: one length, one set of kernels.
#pragma once

#include <memory>

#include "arith/fft/fft_kernels.h"
#include "arith/fft/fft_parameters.h"
#include "arith/fft/fft_tables.h"
#include "arith/multiply/transform.h"
#include "base/simd/isa.h"

namespace trel {

// The kernels of a level, and those of the level in use.
const FftKernels& fft_kernels(Isa isa);
const FftKernels& fft_kernels();

// Convolution modulo 2^capacity + 1 (negacyclic) with results cut to the words below the capacity.
// The list of parameters keeps rounding errors below 1/4: a coefficient that is further from an integer ends
// the operation with ConvolutionFailedException "Coefficient is not an integer.", which has the product done
// again. A thread that does not round to nearest ends it with "The FPU Control Word has been corrupted." and
// ConvolutionFailedException "Coefficient is too large.". Read-only after construction: operations may run on
// several threads at once, each with buffers of its own. Scratch: a place for the whole ring, in which the
// check looks at windows.
class FftTransform final : public Transform {
  public:
    // tables may be null or too small: the transform then makes what it needs on the heap.
    FftTransform(const FftKernels& kernels, const FftParameters& parameters, const FftSharedTables* tables);

    Fold fold() const override { return Fold::negacyclic; }
    const char* name() const override { return "FFT"; }
    bool compatible(const Transform& other) const override;

    // The sum of all coefficients of A B (B == nullptr: A^2) at their places: T[0..W) holds it modulo 2^(64
    // W), the rest is returned. x, y: data_bytes() each; a square needs no y. For a product that its caller
    // checks.
    i64 unchecked_all(const ParallelContext& parallel, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
                      void* x, void* y) const;

    // inverse() on one task that also tells the largest distance of a coefficient from an integer, for tests.
    double inverse_error(Word* T, u64 skip, u64 total, void* work, const void* X, const void* Y) const;

    const FftPlan& plan() const { return plan_; }

  protected:
    void do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                    void* scratch) const override;
    void do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work, const void* X,
                    const void* Y, void* scratch, ProductRest* rest) const override;
    const OddModulus& odd_modulus() const override { return *modulus_; }

  private:
    u64 n_tasks(const ParallelContext& parallel) const;
    template <class F>
    void in_parts(const ParallelContext& parallel, u64 n, F&& part) const;
    i64 inverse_points(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                       const void* X, const void* Y) const;
    i64 finish(const ParallelContext& parallel, Word* T, u64 skip, u64 total, double* work,
               double* worst) const;

    const FftKernels* kernels_;
    const OddModulus* modulus_;
    FftPlan plan_;
    std::unique_ptr<FftQuad[]> own_;
};

}  // namespace trel
