// A convolution by its definition: the product of two operands as integers, modulo 2^(64 W) - 1 (cyclic) or
// 2^(64 W) + 1 (negacyclic), and a multiplication algorithm made of such transforms. They do what a transform
// may do to a product that is longer than the convolution, and nothing else.
#pragma once

#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/transform.h"

namespace reference {

using trel::u64;
using trel::Word;

using trel::Fold;

class FoldTransform final : public trel::Transform {
  public:
    FoldTransform(Fold fold, u64 words);

    Fold fold() const override { return fold_; }
    const char* name() const override { return "FoldTransform::forward()"; }
    bool compatible(const trel::Transform& other) const override;

  protected:
    void do_forward(const trel::ParallelContext& parallel, void* data, const Word* A, u64 L,
                    void* scratch) const override;
    void do_inverse(const trel::ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                    const void* X, const void* Y, void* scratch, trel::ProductRest* rest) const override;

  private:
    Fold fold_;
};

// Transforms of exactly the size asked for. All else is the interface's own generic implementation.
class FoldAlgorithm final : public trel::MultiplyAlgorithm {
  public:
    explicit FoldAlgorithm(Fold fold) : fold_(fold) {}
    trel::MultiplySizes sizes(u64 words) const override;
    void make_transform(trel::TransformHolder& holder, u64 words,
                        const trel::MultiplyContext&) const override;

  private:
    Fold fold_;
};

}  // namespace reference
