// The numbers of some thousand terms of a hypergeometric series at once, without most of the factors that R
// of a term shares with Q of a later one.
//
// The terms' R(k) and Q(k) are products of linear factors, so a sieve finds the small primes in them. A prime
// in R(i) is matched with one in Q(j), i < j, and both are left out of all numbers that hold both terms: with
//
//   P = P1 (Q2 / g) + (R1 / g) P2,   Q = Q1 (Q2 / g),   R = (R1 / g) R2
//
// P / Q stays the sum of the range, and R what its right neighbours are multiplied by. Nothing is divided:
// what is never matched (G) is multiplied for each range, and Q2 / g is G times what is matched further up.
//
// Zero words of Q, which R does not take out where it is odd, go to its exponent.
//
// Blocks of kBlockTerms terms are summed as they are; primes are matched between blocks, each with the
// nearest that is free, so that at most one block's worth of them is left over.
#pragma once

#include <span>
#include <vector>

#include "arith/exact/basic_int.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/names/names.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/builtin/factored_number.h"
#include "constants/builtin/factored_sizes.h"

namespace kalvor {

class FactoredLeaf {
  public:
    // Fewer terms than this.
    static constexpr u64 kTerms = 4096;
    // Ranges below this are left as they are.
    static constexpr u64 kFewestTerms = 256;

    // For a series of `terms` terms, each with numbers of the words in `term`. InvalidParametersException
    // where a constant is 0 or has a prime above 2047.
    FactoredLeaf(const FactoredNumber& Q, const FactoredNumber& R, u64 terms,
                 const BinarySplitting::CommonP2B3::Series::TermWords& term);

    // Nats that are left out of P, Q and R of a leaf of n terms at least, for each linear factor of Q.
    static double saved(u64 n);

    // The results of [a, b), kFewestTerms terms and more; R is left out at an edge. scratch: scratch_words().
    // Throws AlgorithmFailedException where damaged primes would leave their memory or make a number 0; of
    // all other damage the results' residues tell.
    void run(const BinarySplitting::CommonP2B3::Series& series, u64 a, u64 b, ExactFloat& P, ExactFloat& Q,
             ExactFloat& R, bool edge, Word* scratch, u64 scratch_words,
             const ParallelContext& parallel) const;
    // What a run over n terms takes, and what any run does.
    u64 scratch_words(u64 n) const { return sizes_.scratch_words(n); }
    u64 most_scratch_words() const { return sizes_.most_scratch_words(); }

  private:
    static constexpr u64 kBlockTerms = FactoredSizes::kBlockTerms;
    static constexpr u64 kWordTerms = FactoredSizes::kWordTerms;
    static constexpr u64 kBlocks = kTerms / kBlockTerms;
    static constexpr u64 kLevels = FactoredSizes::kLevels;
    static constexpr u32 kPrimeLimit = u32(1) << FactoredSizes::kPrimeBits;

    struct Prime {
        u32 p;
        u32 most_power;          // p^most_power is the highest in a word
        Word inverse;            // modulo 2^64
        Word most;               // floor((2^64 - 1) / p)
        std::vector<Word> word;  // p^0, p^1, ...
        std::vector<u32> zeros;  // where each linear factor is 0 modulo p; p: nowhere
        u32 in_Q, in_R;          // in each term's constants
    };
    // What is matched or left of one side's primes, block by block.
    struct Side {
        Word* words;   // of each block: kept, then open_, by level
        u8* levels;    // of the words that are kept
        u32* kept;     // of each block
        Word* open;    // of each block and level: factors that may not fill a word yet
        u64 capacity;  // words of a block
    };
    // A sum of terms as they are.
    struct Piece {
        BasicIntR P, Q, R;
    };
    struct Reduced {
        ExactFloat P, Q, R;
        // Residues of the numbers as they are.
        u64 whole_P, whole_Q, whole_R;
    };
    struct Run {
        const BinarySplitting::CommonP2B3::Series& series;
        MultiplyContext context;
        u64 a, n;     // the range
        Word* rough;  // of each linear factor, of each term
        Side side_Q, side_R;
        u64 matched = 1;  // residue of all that is matched
    };

    static Side carve_side(u64 blocks, u64 capacity, AlignedBufferC& memory);

    void sieve(Run& run) const;
    void match(Run& run, const Prime& prime, const u32* in_Q, const u32* in_R, const u64* touched) const;
    static void keep(Side& side, u64 block, u64 level, const Prime& prime, u64 count);
    static void fill(Side& side, u64 block, u64 level, const Prime& prime, u64 count);
    void sum_words(const Run& run, u64 a, u64 n, Piece& out, AlignedBufferC memory) const;
    void sum_piece(const Run& run, u64 a, u64 n, Piece& out, AlignedBufferC memory) const;
    void sum_block(const Run& run, u64 block, Reduced& out, AlignedBufferC memory) const;
    void sum(const Run& run, u64 block, u64 blocks, Reduced& out, bool edge, AlignedBufferC memory) const;
    void product_of_rough(const Run& run, u64 block, bool of_Q, ExactFloat& out, AlignedBufferC memory) const;
    // A = G times what is matched above the level, or G itself.
    ExactFloat with_matched(const Run& run, const Side& side, u64 block, u64 blocks, u64 level,
                            const ExactFloat& G, AlignedBufferC& memory) const;

    FactoredNumber Q_, R_;
    u64 factors_;  // linear ones of Q, then those of R
    FactoredSizes sizes_;
    std::vector<Prime> primes_;
};

}  // namespace kalvor
