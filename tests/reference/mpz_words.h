// Word arrays and BigFloats as GMP integers, for results stated by their definition.
#pragma once

#include <gmpxx.h>

#include <ostream>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "os/types.h"
#include "reference/mpz_u64.h"

// For messages of failed comparisons.
inline void PrintTo(const mpz_class& z, std::ostream* out) {
    *out << "0x" << z.get_str(16);
}

namespace reference {

using trel::BigFloat;
using trel::i64;
using trel::u64;
using trel::Word;

inline mpz_class to_mpz(const Word* A, u64 n) {
    mpz_class z;
    mpz_import(z.get_mpz_t(), n, -1, sizeof(Word), 0, 0, A);
    return z;
}
inline mpz_class to_mpz(const std::vector<Word>& A) {
    return to_mpz(A.data(), A.size());
}

// z * 2^(64 words), floored when words < 0; z >= 0.
inline mpz_class shifted(const mpz_class& z, i64 words) {
    mpz_class r;
    if (words >= 0) {
        mpz_mul_2exp(r.get_mpz_t(), z.get_mpz_t(), 64 * static_cast<mp_bitcnt_t>(words));
    } else {
        mpz_fdiv_q_2exp(r.get_mpz_t(), z.get_mpz_t(), 64 * static_cast<mp_bitcnt_t>(-words));
    }
    return r;
}
// z mod 2^(64 words)
inline mpz_class low_words(const mpz_class& z, u64 words) {
    mpz_class r;
    mpz_fdiv_r_2exp(r.get_mpz_t(), z.get_mpz_t(), 64 * words);
    return r;
}
// Words skip .. total - 1 of z >= 0, as a number.
inline mpz_class window(const mpz_class& z, u64 skip, u64 total) {
    return low_words(shifted(z, -static_cast<i64>(skip)), total - skip);
}
// The words of 0 <= z < 2^(64 n).
inline std::vector<Word> to_words(const mpz_class& z, u64 n) {
    std::vector<Word> words(n, 0);
    mpz_export(words.data(), nullptr, -1, sizeof(Word), 0, 0, z.get_mpz_t());
    return words;
}
// The number of words of z >= 0.
inline u64 word_length(const mpz_class& z) {
    return z == 0 ? 0 : (mpz_sizeinbase(z.get_mpz_t(), 2) + 63) / 64;
}

// floor(|A| / 2^(64 position))
inline mpz_class magnitude_at(const BigFloat& A, i64 position) {
    return shifted(to_mpz(A.T, A.L), A.exp - position);
}

}  // namespace reference
