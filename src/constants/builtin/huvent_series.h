// Huvent's series of Catalan's constant as a sum that binary splitting runs (huvent_terms.h has its terms).
#pragma once

#include "base/names/names.h"
#include "constants/bsr/binary_bbp.h"

namespace kalvor {

class HuventSeries final : public BinarySplitting::BinaryBBP::Series {
  public:
    explicit HuventSeries(u64 precision_words);

    double log_size_to(u64 k) const override;
    DoubleDouble log_size_to_dd(u64 k) const override;
    DoubleDouble log_remaining(u64 k) const override;
    double log_size_P(u64 a, u64 b) const override;
    double log_size_Q(u64 a, u64 b) const override;
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, Word* scratch) const override;

  private:
    const DoubleDouble gain_, growth_, full_;
};

}  // namespace kalvor
