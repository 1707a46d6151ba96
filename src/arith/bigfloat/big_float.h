// An in-memory big binary floating-point number bound to a buffer of its owner.
//
//   value = (sign ? + : -) * sum of T[i] * 2^(64 (exp + i)),  0 <= i < L
//
// L = 0 is zero (test zero by L, never by sign). When L > 0 the top word is nonzero; low words may be zero.
// Results keep at most p + 2 words of a target precision p (words) and are truncated, never rounded. A
// BigFloat never allocates; an operation whose result does not fit its buffer throws BufferTooSmallException
// (words).
//
// One thread at a time per target; the target may alias no input unless stated.
#pragma once

#include <string>
#include <vector>

#include "arith/multiply/multiply_context.h"
#include "arith/residue/goldilocks.h"
#include "os/types.h"

namespace trel {

class BigFloat {
  public:
    BigFloat() = default;
    BigFloat(Word* buffer, u64 buffer_size) : T(buffer), buffer(buffer), buffer_size(buffer_size) {}

    Word* T = nullptr;  // least significant word, inside the buffer
    u64 L = 0;
    i64 exp = 0;
    bool sign = false;
    // The value's residue, sign and exponent included, modulo 2^64 - 2^32 + 1 (arith/residue/goldilocks.h); 0
    // for zero. Code that writes words, exponent or sign sets it, from the operands' residues or from the
    // words as they are written; goldilocks::kNone while nothing is known.
    u64 residue = goldilocks::kNone;
    Word* buffer = nullptr;
    u64 buffer_size = 0;

    i64 mag() const { return exp + static_cast<i64>(L); }
    void clear() {
        L = 0;
        exp = 0;
        sign = false;
        residue = 0;
    }
    // The residue of the words that are stored.
    u64 computed_residue(const ParallelContext& parallel) const;
    // Takes it as the number's.
    void seal(const ParallelContext& parallel) { residue = computed_residue(parallel); }
    // The same of the words at the positions [low, high) alone.
    u64 residue_between(const ParallelContext& parallel, i64 low, i64 high) const;
    // Compares it with the number's and counts a number that was looked at; AlgorithmFailedException "A
    // number was damaged in memory: <name>, <L> words." with both. Nothing where the number's is not known.
    void verify(const ParallelContext& parallel, const char* name) const;

    // Give the number another sign, or another place (times 2^(64 words)).
    void set_sign(bool positive);
    void move(i64 words);

    // The word at a position; 0 outside.
    Word word_at(i64 position) const { return position >= exp && position < mag() ? T[position - exp] : 0; }

    void set_BigFloat(u64 p, const ParallelContext& parallel, const BigFloat& A);
    // x * 2^(64 e), exact; 1.0 has one word
    void set_double(double x, i64 e);
    void set_uadd(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B);
    // |A| >= |B|, else UnsupportedNegativeException
    void set_usub(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B);
    void set_add(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B);
    void set_sub(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B);
    // A - B in the window of p + 1 words below position m, with the given sign
    void set_rsub(u64 p, const ParallelContext& parallel, const BigFloat& A, const BigFloat& B, i64 m,
                  bool sign);
    // this += w * 2^(64 e); exp <= e <= mag
    void add_ip(Word w, i64 e);
    void mul_uW(const ParallelContext& parallel, Word w);
    void set_mul_uW(u64 p, const ParallelContext& parallel, const BigFloat& A, Word w);
    void set_div_sW(u64 p, const ParallelContext& parallel, const BigFloat& A, i64 w);
    void set_mul(u64 p, const MultiplyContext& context, const BigFloat& A, const BigFloat& B);
    void set_sqr(u64 p, const MultiplyContext& context, const BigFloat& A);
    int set_mul_small(u64 p, const MultiplyContext& context, const BigFloat& A, const BigFloat& B);
    // Adds 1 at word index k; nothing when k >= L
    void purturb_up(u64 k);
    // Fatal when L > 0 and the top word is zero
    void check_normalization() const;
    // A view of the top n words (all of them when n >= L), same buffer; for reading. Nothing is known of the
    // residue of words that were cut.
    BigFloat top(u64 n) const;
    // The same with its residue, for which the words that are cut off are read.
    BigFloat kept(const ParallelContext& parallel, u64 n) const;
    // For operands that are read in part again and again: with its residue if no more words are cut off than
    // stay.
    BigFloat kept_if_cheap(const ParallelContext& parallel, u64 n) const;
    // The debug dump, by lines: sign, mag, exp, L, buffer_size and the top 10 words
    std::vector<std::string> dump() const;
};

// Compares |A| and |B|.
int cmp_magnitude(const BigFloat& A, const BigFloat& B);

// |A| = d * 2^(64 e) with d in [1, 2^64), d good to 50 bits or more; A != 0.
struct ScaledDouble {
    double d;
    i64 e;
};
ScaledDouble top_as_double(const BigFloat& A);

}  // namespace trel
