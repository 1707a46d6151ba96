// The check of a finished conversion that shares nothing with it: residues modulo M61 = 2^61 - 1.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/convert/radix_fraction.h"

namespace kalvor::CBRv2 {

// Compares RH, the residue of the integer formed by the integer part of |x| and its first d = 19 n_verify
// digits, with BH = floor(|x| 10^d) mod M61.
//
//   |x| = X 2^(-64 L), so |x| 10^d = Z 2^(-s) with Z = X 5^d an integer and s = 64 L - d, and
//   floor(Z / 2^s) = (Z - Z mod 2^s) / 2^s.
//
// Modulo M61 that needs only the residue of Z, which is known from those of X and 5^d, and the low s bits of
// Z: of X and of 5^d only the low s bits take part in them. For the usual x (s about 0.7 * 64 L) this is a
// product of 0.7 L by 0.7 L words, where a product by 10^d itself would be one of L by L.
struct VerifyB {
    // For n_verify of n radix words of any x.
    static Needs needs(u64 n, u64 n_verify, u64 tds);

    // What one pass over radix words finds: integers modulo M61, without the part before the point.
    struct Hashes {
        u64 words = 0;   // the first n_verify words
        u64 digits = 0;  // the first `digits` digits
    };

    // radix_words as written by convert() for n words. x is cut as it was there. The hashes come from the
    // pass whose result was compared: digits that have this hash are the ones that were verified. Throws
    // AlgorithmFailedException "Base Conversion Failed: Checksum Mismatch" naming `function`;
    // BufferTooSmallException when n is less than n_verify or than `digits` take.
    static Hashes run(const MultiplyContext& context, Status& status, const Word* radix_words, u64 n,
                      u64 n_verify, const BigFloat& x, u64 digits = 0,
                      const char* function = "FloatWriterB::verify()");

    // Reads every word once.
    static Hashes hash_radix(const Word* radix_words, u64 n, u64 n_verify, u64 digits = 0);
    // floor(|x| 10^d) mod M61
    static u64 hash_binary(const MultiplyContext& context, Status& status, const BigFloat& x, u64 d);
};

}  // namespace kalvor::CBRv2
