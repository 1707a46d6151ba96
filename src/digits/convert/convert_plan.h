// The plan of a radix conversion: how the range of radix words is split, which powers of the radix are
// needed, and exactly how much memory a run takes.
#pragma once

#include <array>
#include <vector>

#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "digits/convert/radix_fraction.h"

namespace kalvor::CBRv2 {

// The budget of a plan that may take what it needs.
inline constexpr u64 kNoBudget = ~u64(0);

// A range of n radix words is halved, rounding up, until fewer than 16 are left: that is the base length b,
// and level l covers b * 2^l words. A split at level l needs the power R^(b 2^l), of which only the odd part
// is stored (R = 2^t * odd, so R^H has floor(t H / 64) zero words at the bottom, and they are counted into an
// exponent).
//
// Made before a computation; a run stays inside its figures. Read-only, shared by all tasks.
class ConvertPlanP {
  public:
    // What a split by R^H, H = b * 2^level, needs.
    struct Level {
        u64 radix_words;  // H
        u64 power_words;  // words of R^H without its zero words, at most
        i64 power_exp;    // exponent of R^H in words, exact
        u64 input_words;  // "length of the level": fraction words that H radix words and their overlap need
        u64 lower_words;  // words of the lower fraction, at most; less than input_words at the top level only
        u64 number_words;     // the power as a number, a multiple of 8
        u64 transform_words;  // one forward transform, a multiple of 8
        Needs held;           // the product that yields the lower fraction, by a power's transform
        Needs plain;          // the same without a transform of the power
    };

    // radix >= 2 and radix_words >= 1, else InvalidParametersException. While the plan's memory and all the
    // radix words exceed budget_bytes, levels are dropped, not below 4: the result may still exceed it.
    static ConvertPlanP make(Word radix, u64 radix_words, u64 budget_bytes, u64 tds);

    // Fraction words for n radix words and their overlap word: ceil((n + 1) log2(R) / 64) + 2.
    u64 length(u64 n_radix_words) const;
    // The needs of a split at `l` and everything below it, run by range_tds tasks.
    Needs split_needs(u64 l, u64 range_tds) const;
    // Whether the halves of a split at `l` run beside each other. Otherwise they run one after the other,
    // each with all the tasks.
    bool forks(u64 l, u64 range_tds) const { return range_tds >= 2 && l > 0 && l < forks_below; }
    // b * 2^levels: what the power table reaches in one recursion; longer outputs are peeled.
    u64 top_words() const { return b << levels; }
    // Fatal unless tds is within the plan.
    void check_tds(u64 tds) const;
    Needs needs() const { return scratch.above(table_words); }

    Word radix;
    u64 trailing_zeros;  // t
    double word_size;    // log2(R) / 64: fraction words a radix word
    u64 n;               // radix words
    u64 b;               // base length
    u64 levels;
    u64 tds;          // tasks that a run may use
    u64 forks_below;  // level from which on splits do not fork: many forks near the top would take much
                      // memory
    std::vector<Level> level;
    std::array<Word, 16> base_power;  // R^b without its zero words
    u64 base_power_words;
    u64 table_words;  // powers as numbers, and the ready transforms of all levels but the top one
    Needs scratch;    // everything else

  private:
    void make_levels();
    void make_base_power();
    void make_sizes();
    void bound_forks();
};

}  // namespace kalvor::CBRv2
