// The numbers of some thousand terms of arccoth(m) at once, without most of the factors that the odd numbers
// 2k + 1 share:
//
//   sum over k in (a, b] of 1 / ((2k + 1) M^(k - a)) = P / (D M^n),   M = m^2,  n = b - a
//
// D may be any common multiple of the odd numbers. Their product is one, and blocks of some terms take it.
// Above, the primes below kPrimeLimit are taken out of every odd number by a sieve: G is the product of what
// is left of them, and D = G L with L the product of the highest powers that any of the blocks has. Two
// ranges merge by
//
//   G = G1 G2,   L = lcm(L1, L2),   P = P1 (G2 L/L1) M^n2 + P2 (G1 L/L2)
//
// Right halves have a power of two times kWordTerms terms, so that the powers of M are made once. D takes the
// place of R; Q = D M^n.
//
// What the sieve leaves waits in memory, and the words and residues of G and of the factors above are both
// made of it, so that residues say nothing of a bit that changes there, nor of one in the table of primes.
// But P of a block stands over the product of its odd numbers, which is made of their indices alone. So a
// range carries the residue of the denominator D that its P stands over. For any numbers c1 and c2
//
//   P1 / (D1 M^n1) + P2 / (D2 M^n) = (P1 c1 M^n2 + P2 c2) / (D M^n)   where   D = D1 c1 = D2 c2
//
// Every merge demands D1 c1 = D2 c2 for the factors that it multiplies by, and the end demands D = G L,
// modulo the prime of the residues. Whatever became of the sieve's results, P / (D M^n) is the sum where
// these hold. One changed bit never passes: in a term's rest r it multiplies one side by (r +- 2^j) / r, in
// an exponent by p^(+-2^j), j < 8. The prime divides neither 2^j nor an odd number of a term, and no prime
// of the table has an order below 256. That costs four products of words a merge and one comparison.
#pragma once

#include <vector>

#include "arith/exact/basic_int.h"
#include "arith/exact/exact_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/names/names.h"

namespace kalvor {

class ArcCothLeaf {
  public:
    // Fewer terms than this.
    static constexpr u64 kTerms = 4096;

    explicit ArcCothLeaf(Word square);

    // Nats by which D is below the product of n odd numbers, wherever they are; for a range that is split
    // into leaves as well.
    static double saved(u64 n);
    // About what is saved of each of very many terms, for splits and blocks: not a bound.
    static double usually_saved_per_term();

    // P, Q = D M^n and R = D, which is left out at an edge. scratch: kScratchWordsPerTerm for each. Throws
    // AlgorithmFailedException where the factors of the terms were damaged.
    void run(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
             u64 scratch_words, const ParallelContext& parallel) const;
    // What a run takes at most.
    static constexpr u64 kScratchWordsPerTerm = 48;

  private:
    static constexpr u64 kWordTerms = 32;    // summed word by word
    static constexpr u64 kBlockTerms = 128;  // with the product of the odd numbers as D
    static constexpr u64 kPrimeLimit = 2048;
    static constexpr u64 kLevels = 7;  // of powers: 32, 64, ... 2048

    struct Prime {
        u32 p;
        Word inverse;  // modulo 2^64
        Word most;     // floor((2^64 - 1) / p)
    };
    struct Plain {
        ExactFloat P, D;
    };
    struct Reduced {
        ExactFloat P, G;
        u8* powers;     // of each prime in L
        u64 under = 0;  // residue of the denominator that P stands over
    };
    // What a run works with.
    struct Run {
        MultiplyContext context;
        u64 bits;           // of an odd number
        u64 a, n;           // the range
        u64 first_block;    // terms of the first block; the others have kBlockTerms
        const Word* rough;  // of each term
        u8* block_powers;   // of each block, of each prime
    };

    static const std::vector<Prime>& primes();
    static u64 right_terms(u64 n);
    u64 level_of(u64 terms) const;
    u64 words_P(const Run& run, u64 n) const;
    u64 words_D(const Run& run, u64 n) const { return run.bits * n / 64 + 2; }

    void sum_words(u64 a, u64 n, BasicIntR& P, BasicIntR& D) const;
    void sum_plain(const Run& run, u64 a, u64 n, Plain& out, AlignedBufferC memory) const;
    void sum_reduced(const Run& run, u64 i, u64 n, Reduced& out, AlignedBufferC memory) const;
    void sieve(const Run& run, Word* rough) const;
    static void demand(const Run& run, bool holds);
    // P = P1 c1 M^n2 + P2 c2
    void merge_P(const Run& run, ExactFloat& P, const ExactFloat& P1, const ExactFloat& c1, u64 n2,
                 const ExactFloat& P2, const ExactFloat& c2, AlignedBufferC memory) const;

    const Word square_;
    std::vector<std::vector<Word>> power_words_;
    std::vector<ExactFloat> powers_;  // M^32, M^64, ... in those words
};

}  // namespace kalvor
