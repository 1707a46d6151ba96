#include "digits/output/value_hash.h"

#include <algorithm>

#include "arith/m61/m61.h"
#include "arith/multiply/product_check.h"
#include "arith/residue/goldilocks.h"

namespace kalvor {

namespace goldilocks = trel::goldilocks;

namespace {

constexpr i64 kPiece = 2048;  // words
constexpr u64 kDigitsPerWord = 16;

}  // namespace

ValueHashes hash_value(const BigFloat& value, u64 hex_digits) {
    // Positions count words from the point: -1 is the first behind it.
    const i64 whole = static_cast<i64>(hex_digits / kDigitsPerWord);
    const u64 cut_bits = hex_digits % kDigitsPerWord * 4;
    const i64 end = value.mag(), cut = -whole - 1;
    u64 residue = 0, whole_words = 0;
    Word cut_word = 0;
    for (i64 at = value.exp; at < end;) {
        i64 border = end;
        for (const i64 b : {cut, cut + 1, i64(0)}) {
            if (at < b) border = std::min(border, b);
        }
        const u64 n = static_cast<u64>(std::min(border - at, kPiece));
        const Word* words = value.T + (at - value.exp);
        if (at == cut) {
            cut_word = *words;
            words = &cut_word;
        }
        residue = goldilocks::add(residue, goldilocks::of_words(words, n, at));
        if (at > cut && at < 0) {
            whole_words = m61::add(whole_words, m61::mul_pow2_64(m61::hash_words(words, n), at + whole));
        }
        at += static_cast<i64>(n);
    }
    ValueHashes hashes;
    hashes.residue = value.sign ? residue : goldilocks::neg(residue);
    hashes.words = whole_words;
    hashes.digits = m61::canonical(whole_words);
    i64 length = whole;  // in words
    if (cut_bits != 0) {
        length++;
        hashes.words = m61::add(m61::mul_pow2_64(whole_words, 1), m61::fold(cut_word));
        hashes.digits = m61::canonical(m61::add(m61::mul_pow2(whole_words, static_cast<i64>(cut_bits)),
                                                m61::fold(cut_word >> (64 - cut_bits))));
    }
    // Words that the value does not have are not part of the integer.
    const i64 below = std::max<i64>(-value.exp, 0);
    if (value.L > 0 && below < length) hashes.words = m61::mul_pow2_64(hashes.words, below - length);
    hashes.words = m61::canonical(hashes.words);
    return hashes;
}

ValueHashes hash_checked_value(const ParallelContext& parallel, const BigFloat& value, u64 hex_digits,
                               const char* function) {
    parallel.stage("number", value.T, value.L * sizeof(Word));
    const ValueHashes hashes = hash_value(value, hex_digits);
    if (value.residue == goldilocks::kNone) return hashes;
    if (parallel.run != nullptr) parallel.run->checks.numbers.fetch_add(1, std::memory_order_relaxed);
    if (hashes.residue != value.residue) {
        trel::number_is_damaged(function, "value", value.L, value.residue, hashes.residue);
    }
    return hashes;
}

}  // namespace kalvor
