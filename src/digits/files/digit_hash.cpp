#include "digits/files/digit_hash.h"

#include <cstring>

#include "arith/m61/m61.h"

namespace kalvor {
namespace {

// Eight digit values, first one in the lowest byte, as a number: neighbours are joined three times.
u64 eight_decimal(const u8* values) {
    u64 v;
    std::memcpy(&v, values, 8);
    v = (v * (1 + (u64(10) << 8))) >> 8 & 0x00FF00FF00FF00FFULL;
    v = (v * (1 + (u64(100) << 16))) >> 16 & 0x0000FFFF0000FFFFULL;
    return (v * (1 + (u64(10000) << 32))) >> 32;
}

u64 decimal_word(const u8* values) {
    const u64 last = u64(values[16]) * 100 + u64(values[17]) * 10 + values[18];
    return (eight_decimal(values) * 100000000 + eight_decimal(values + 8)) * 1000 + last;
}

u64 eight_hexadecimal(const u8* values) {
    u64 v;
    std::memcpy(&v, values, 8);
    v = (v << 4 | v >> 8) & 0x00FF00FF00FF00FFULL;
    v = (v << 8 | v >> 16) & 0x0000FFFF0000FFFFULL;
    return (v << 16 | v >> 32) & 0xFFFFFFFFULL;
}

u64 hexadecimal_word(const u8* values) {
    return eight_hexadecimal(values) << 32 | eight_hexadecimal(values + 8);
}

// x < 2^127 to a residue below 2^62 + 2^6.
u64 reduce(u128 x) {
    const u64 hi = static_cast<u64>(x >> 64), lo = static_cast<u64>(x);
    return ((hi << 3) & m61::kM61) + (hi >> 58) + (lo >> 61) + (lo & m61::kM61);
}

// What a word of the number is: read from digits, or a word already.
template <u64 kDigits, u64 (*kWord)(const u8*)>
struct WordOfDigits {
    const u8* values;
    u64 operator[](u64 i) const { return kWord(values + kDigits * i); }
};

// hash <- hash * P^4 + w0 * P^3 + w1 * P^2 + w2 * P + w3: one link of the chain for four words. The sum stays
// below 3 * 2^125 + 2^124, so one reduction serves all.
template <class Words>
u64 extend_by_words(u64 hash, const Words& words, u64 n, u64 power) {
    using namespace m61;
    const u64 power2 = canonical(mul(power, power));
    const u64 power3 = canonical(mul(power2, power));
    const u64 power4 = canonical(mul(power2, power2));
    u64 i = 0;
    for (; i + 4 <= n; i += 4) {
        const u128 sum =
            u128(words[i]) * power3 + u128(words[i + 1]) * power2 + u128(words[i + 2]) * power + words[i + 3];
        hash = reduce(u128(hash) * power4 + sum);
    }
    for (; i < n; i++) hash = add(mul(hash, power), fold(words[i]));
    return hash;
}

// radix^(digits of a word)
constexpr u64 kDecimalPower = 10000000000000000000ULL % m61::kM61;
constexpr u64 kHexadecimalPower = static_cast<u64>((u128(1) << 64) % m61::kM61);

}  // namespace

u64 extend_digit_hash(u64 hash, const u8* values, u64 n, u32 radix) {
    using namespace trel;
    const u64 per_word = radix == 10 ? 19 : 16;
    const u64 words = n / per_word;
    hash = radix == 10
               ? extend_by_words(hash, WordOfDigits<19, decimal_word>{values}, words, kDecimalPower)
               : extend_by_words(hash, WordOfDigits<16, hexadecimal_word>{values}, words, kHexadecimalPower);
    for (u64 i = words * per_word; i < n; i++) hash = m61::add(m61::mul(hash, radix), values[i]);
    return m61::canonical(hash);
}

u64 extend_word_hash(u64 hash, const Word* words, u64 n, u32 radix) {
    return m61::canonical(extend_by_words(hash, words, n, radix == 10 ? kDecimalPower : kHexadecimalPower));
}

}  // namespace kalvor
