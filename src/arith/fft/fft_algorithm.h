// The floating-point FFT as a multiplication algorithm.
#pragma once

#include "arith/multiply/multiply_algorithm.h"

namespace trel {

// Short name "FFT", long name "Floating-Point FFT", family "FFTv3", variant "Short-Vector FMA".
constexpr u64 kFftMaxBits = 100663296;

class FftAlgorithm final : public MultiplyAlgorithm {
  public:
    // Throws LimitExceededException beyond kFftMaxBits.
    MultiplySizes sizes(u64 words) const override;
    bool folds_within_a_word() const override { return true; }
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override;
    u64 wrapped_words(u64 words) const override;
    // Whole products a few words longer than a record run on that record, see fft_algorithm.cpp.
    u64 sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L, u64 carried) const override;
    u64 mul(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
            Carried carried) const override;
    u64 table_bytes(u64 words) const override;
    std::unique_ptr<SharedTables> make_tables(u64 words, AlignedBufferC memory,
                                              const ParallelContext& parallel) const override;
};

const MultiplyAlgorithm& fft_algorithm();

}  // namespace trel
