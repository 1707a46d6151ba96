// The sum of a range of terms on one thread.
#pragma once

#include <functional>
#include <memory>

#include "base/names/names.h"
#include "digits/bbp/bbp_formulas.h"
#include "digits/bbp/bbp_kernels.h"
#include "digits/bbp/fraction_float.h"
#include "digits/bbp/summable_range.h"
#include "os/types.h"

namespace kalvor::BBPv2 {

// Every term is cut to the limbs of the sum by truncation, so that the sum is one defined number whatever the
// mode, the instruction set and the order. For eight terms: about 30 vector operations, 8 for each bit of the
// exponent, 5 for each limb (README.md). Takes 72 bytes a limb and some 30 KiB.
class RangeSum {
  public:
    explicit RangeSum(u64 n_limbs, const BbpKernels& kernels = bbp_kernels());
    ~RangeSum();
    RangeSum(const RangeSum&) = delete;
    RangeSum& operator=(const RangeSum&) = delete;

    // Called with a number of terms when these are done; may throw.
    using Progress = std::function<void(u64 n_terms)>;

    // Adds the terms k0 <= k < k1, whose divisors the mode takes. `done` comes at least once for kBbpTile
    // terms.
    void add(const SubSum& sub_sum, Mode mode, u64 k0, u64 k1, const Progress& done);
    // What has been added since the last call.
    FractionFloat take();

  private:
    struct Tiles;

    // Terms with an exponent of at least 1 and, behind them, the tail. Divisors of at least 3.
    void add_powers(const SubSum& sub_sum, Mode mode, u64 k, u64 n);
    void add_tail(const SubSum& sub_sum, u64 k, u64 n);
    void add_tail_term_c(u64 divisor, u64 shift);
    void count(u64 n);
    void fold();

    const BbpKernels& kernels_;
    const u64 n_limbs_;
    std::unique_ptr<Tiles> tiles_;
    std::unique_ptr<u64[]> sums_;
    u64 n_unfolded_ = 0;
    FractionFloat total_;
};

}  // namespace kalvor::BBPv2
