// One multiplication algorithm for numbers of 32-bit words, least significant first.
#pragma once

#include "arith/multiply/multiply_algorithm.h"

namespace trel {

// The operations of MultiplyAlgorithm with every length, skip and total in 32-bit words; sizes in bytes.
// Transforms stay those of 64-bit words: an operand of an odd number of words gets a zero word above.
// Thread-safe: an algorithm object holds no state.
class MultiplyAlgorithm32 {
  public:
    virtual ~MultiplyAlgorithm32();
    virtual MultiplySizes sizes(u64 words) const = 0;
    virtual void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const = 0;
    virtual void sqr(const MultiplyContext& context, u32* T, const u32* A, u64 L) const;
    virtual void mul(const MultiplyContext& context, u32* T, const u32* A, u64 LA, const u32* B,
                     u64 LB) const;
    virtual void sqr_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A,
                          u64 L) const = 0;
    virtual void mul_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A, u64 LA,
                          const u32* B, u64 LB) const = 0;
    u64 mSBsize(u64 words) const { return sizes(words).scratch; }
    virtual int mul_skip_transform(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A,
                                   u64 LA, const u32* B, u64 LB) const;
};

// An algorithm of 64-bit words on numbers of 32-bit words: operands are padded to whole 64-bit words in the
// scratch memory, and the wanted words are copied out. Exact where the algorithm is exact.
class PaddedAlgorithm32 final : public MultiplyAlgorithm32 {
  public:
    // max_bits: the largest product that the algorithm accepts. The algorithm outlives this object.
    PaddedAlgorithm32(const MultiplyAlgorithm& algorithm, u64 max_bits)
        : algorithm_(algorithm), max_words64_(max_bits / 64) {}

    const MultiplyAlgorithm& algorithm() const { return algorithm_; }

    MultiplySizes sizes(u64 words) const override;
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override;
    void sqr_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A,
                  u64 L) const override;
    void mul_skip(const MultiplyContext& context, u32* T, u64 skip, u64 total, const u32* A, u64 LA,
                  const u32* B, u64 LB) const override;

  private:
    const MultiplyAlgorithm& algorithm_;
    u64 max_words64_;
};

}  // namespace trel
