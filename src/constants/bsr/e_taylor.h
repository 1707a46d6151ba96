// The series of e: with the terms s_k / k! from k = 2 on it is e - 2, or 1/e when it alternates, because the
// terms 0 and 1 cancel then.
//
// Its numbers never exceed the precision by more than a word or two, so that nothing is gained by cutting
// them: it is summed as one exact block.
#pragma once

#include "constants/bsr/hyperdescent.h"

namespace kalvor::BinarySplitting {

class ETaylor final : public Hyperdescent::Series {
  public:
    ETaylor(bool alternating, u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    u64 zero_bits_Q(u64 a, u64 b) const override;
    void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, Word* scratch) const override;

  private:
    void range(u64 a, u64 b, BasicIntR& P, BasicIntR& Q, Word* scratch) const;
    void direct(u64 a, u64 b, BasicIntR& P, BasicIntR& Q) const;
};

}  // namespace kalvor::BinarySplitting
