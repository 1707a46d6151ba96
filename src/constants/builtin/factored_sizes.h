// How long the numbers of a leaf without shared primes may be, and what its stack takes: known before a run.
//
// Everything is bounded by the bits of Q and R of the series' last term. That numbers become shorter where
// primes are left out is not counted on. A word of primes that is kept is above 2^kFullBits, so that a block
// has no more of them than its bits fill.
//
// The stack of a leaf, with n1 and n2 terms in the halves of a range (n words for each of its three numbers):
//
//   | linear factors of all terms | primes of Q | primes of R | n1 | n2 | halves of a half ... its merge
//                                                                     | R1 | Q2 | R1 P2 | products
//
// R1 and Q2 have the primes in them that are matched above the range; nothing is matched above the leaf.
#pragma once

#include <algorithm>
#include <vector>

#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/builtin/factored_number.h"

namespace kalvor {

class FactoredSizes {
  public:
    static constexpr u64 kBlockTerms = 32;
    static constexpr u64 kWordTerms = 8;  // of a block, summed one after the other
    static constexpr u64 kLevels = 8;     // 0: never matched; else the level where the two blocks meet
    // Words are filled to the last prime that fits, and primes have 11 bits.
    static constexpr u64 kPrimeBits = 11;
    static constexpr u64 kFullBits = 64 - kPrimeBits;
    // Up to this length words are multiplied one by one, above it the halves are.
    static constexpr u64 kSingleWords = 8;

    // For leaves of `longest` terms at most, each up to number `last` of the series.
    FactoredSizes(const FactoredNumber& Q, const FactoredNumber& R, u64 last,
                  const BinarySplitting::CommonP2B3::Series::TermWords& term, u64 longest);

    // Words of n terms' numbers, while they are computed.
    u64 P(u64 n) const { return words(std::max(bits_Q_, bits_R_), n - 1) + term_.P + 2; }
    u64 Q(u64 n) const { return words(bits_Q_, n) + 1; }
    u64 R(u64 n) const { return words(bits_R_, n) + 1; }
    // Where a term's own words are a factor.
    u64 Q_of_words(u64 n) const { return words(bits_Q_, n) + term_.Q; }
    u64 R_of_words(u64 n) const { return words(bits_R_, n) + term_.R; }
    const BinarySplitting::CommonP2B3::Series::TermWords& term() const { return term_; }

    // Words of primes that a block keeps, all levels together; a multiple of 8.
    u64 kept(bool of_Q) const { return round_up_8(kBlockTerms * bits(of_Q) / kFullBits + 1); }
    // Words that a block's factors are gathered into: two that follow each other exceed a word together.
    u64 gathered(bool of_Q) const { return 2 * kBlockTerms * bits(of_Q) / 64 + 2; }

    // What a product of n words takes beside its result.
    static u64 product_scratch_words(u64 n);
    // What a run over n terms takes, a multiple of 8.
    u64 scratch_words(u64 n) const { return scratch_[blocks_of(n) - 1]; }
    // Scratch words of the longest leaf.
    u64 most_scratch_words() const { return scratch_.back(); }

    static u64 blocks_of(u64 n) { return (n + kBlockTerms - 1) / kBlockTerms; }
    // The blocks of a range's left half.
    static u64 left_blocks(u64 blocks);
    // The level where the halves of a range meet.
    static u64 level_of(u64 blocks);

  private:
    static u64 words(u64 bits, u64 n) { return bits * n / 64 + 2; }
    u64 bits(bool of_Q) const { return of_Q ? bits_Q_ : bits_R_; }
    // The three numbers of n terms.
    u64 numbers(u64 n) const { return round_up_8(P(n)) + round_up_8(Q(n)) + round_up_8(R(n)); }

    u64 sum_words() const;
    u64 sum_piece(u64 n) const;
    u64 sum_block() const;
    u64 with_matched(u64 blocks, u64 level, bool of_Q) const;
    u64 while_matching(u64 blocks, u64 level, bool of_Q) const;
    u64 merge(u64 blocks, bool matched_above) const;
    u64 before_sums(u64 blocks, u64 factors) const;

    u64 bits_Q_, bits_R_;  // of a term
    BinarySplitting::CommonP2B3::Series::TermWords term_;
    std::vector<u64> scratch_;  // of each number of blocks
};

}  // namespace kalvor
