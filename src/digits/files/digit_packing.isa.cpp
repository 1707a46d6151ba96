#include "digits/files/digit_packing.h"

#include <immintrin.h>

#include "base/simd/kernel.h"

namespace trel::TREL_ISA {
extern const kalvor::DigitPacking digit_packing;

namespace {

// One 128-bit lane holds the digits of one word; a vector has one, two or four of them. `gather` loads 16
// bytes for each lane, `stride` apart.
struct OneLane {
    using V = __m128i;
    static constexpr u64 kLanes = 1;
    static TREL_INLINE __m128i load(const u8* p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    static TREL_INLINE V gather(const u8* p, u64) { return load(p); }
    static TREL_INLINE void store(u8* p, V a) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a); }
    static TREL_INLINE V every_lane(__m128i a) { return a; }
    static TREL_INLINE V every_word(u64 a) { return _mm_set1_epi64x(static_cast<long long>(a)); }
    static TREL_INLINE V sum_pairs_8(V a, V b) { return _mm_maddubs_epi16(a, b); }
    static TREL_INLINE V sum_pairs_16(V a, V b) { return _mm_madd_epi16(a, b); }
    static TREL_INLINE V narrow_32(V a, V b) { return _mm_packus_epi32(a, b); }
    static TREL_INLINE V narrow_16(V a, V b) { return _mm_packus_epi16(a, b); }
    static TREL_INLINE V low_halves(V a, V b) { return _mm_unpacklo_epi64(a, b); }
    static TREL_INLINE V mul_32(V a, V b) { return _mm_mul_epu32(a, b); }
    static TREL_INLINE V add_64(V a, V b) { return _mm_add_epi64(a, b); }
    static TREL_INLINE V up_32(V a) { return _mm_slli_epi64(a, 32); }
    static TREL_INLINE V down_32(V a) { return _mm_srli_epi64(a, 32); }
    static TREL_INLINE V largest_8(V a, V b) { return _mm_max_epu8(a, b); }
    static TREL_INLINE V shuffle_8(V a, V b) { return _mm_shuffle_epi8(a, b); }
};

struct TwoLanes {
    using V = __m256i;
    static constexpr u64 kLanes = 2;
    static TREL_INLINE V gather(const u8* p, u64 stride) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(OneLane::load(p)), OneLane::load(p + stride),
                                       1);
    }
    static TREL_INLINE void store(u8* p, V a) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a); }
    static TREL_INLINE V every_lane(__m128i a) { return _mm256_broadcastsi128_si256(a); }
    static TREL_INLINE V every_word(u64 a) { return _mm256_set1_epi64x(static_cast<long long>(a)); }
    static TREL_INLINE V sum_pairs_8(V a, V b) { return _mm256_maddubs_epi16(a, b); }
    static TREL_INLINE V sum_pairs_16(V a, V b) { return _mm256_madd_epi16(a, b); }
    static TREL_INLINE V narrow_32(V a, V b) { return _mm256_packus_epi32(a, b); }
    static TREL_INLINE V narrow_16(V a, V b) { return _mm256_packus_epi16(a, b); }
    static TREL_INLINE V low_halves(V a, V b) { return _mm256_unpacklo_epi64(a, b); }
    static TREL_INLINE V load_words(const Word* p) {
        return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    }
    static TREL_INLINE V sub_64(V a, V b) { return _mm256_sub_epi64(a, b); }
    static TREL_INLINE V down(V a, __m128i bits) { return _mm256_srl_epi64(a, bits); }
    static TREL_INLINE V mul_32(V a, V b) { return _mm256_mul_epu32(a, b); }
    static TREL_INLINE V add_64(V a, V b) { return _mm256_add_epi64(a, b); }
    static TREL_INLINE V up_32(V a) { return _mm256_slli_epi64(a, 32); }
    static TREL_INLINE V down_32(V a) { return _mm256_srli_epi64(a, 32); }
    static TREL_INLINE V largest_8(V a, V b) { return _mm256_max_epu8(a, b); }
    static TREL_INLINE V shuffle_8(V a, V b) { return _mm256_shuffle_epi8(a, b); }
};

#if defined(TREL_ISA_avx512)
struct FourLanes {
    using V = __m512i;
    static constexpr u64 kLanes = 4;
    static TREL_INLINE V gather(const u8* p, u64 stride) {
        return _mm512_inserti64x4(_mm512_castsi256_si512(TwoLanes::gather(p, stride)),
                                  TwoLanes::gather(p + 2 * stride, stride), 1);
    }
    static TREL_INLINE void store(u8* p, V a) { _mm512_storeu_si512(p, a); }
    static TREL_INLINE V every_lane(__m128i a) { return _mm512_broadcast_i32x4(a); }
    static TREL_INLINE V every_word(u64 a) { return _mm512_set1_epi64(static_cast<long long>(a)); }
    static TREL_INLINE V sum_pairs_8(V a, V b) { return _mm512_maddubs_epi16(a, b); }
    static TREL_INLINE V sum_pairs_16(V a, V b) { return _mm512_madd_epi16(a, b); }
    static TREL_INLINE V narrow_32(V a, V b) { return _mm512_packus_epi32(a, b); }
    static TREL_INLINE V narrow_16(V a, V b) { return _mm512_packus_epi16(a, b); }
    static TREL_INLINE V low_halves(V a, V b) { return _mm512_unpacklo_epi64(a, b); }
    static TREL_INLINE V load_words(const Word* p) { return _mm512_loadu_si512(p); }
    static TREL_INLINE V sub_64(V a, V b) { return _mm512_sub_epi64(a, b); }
    static TREL_INLINE V down(V a, __m128i bits) { return _mm512_srl_epi64(a, bits); }
    static TREL_INLINE V mul_32(V a, V b) { return _mm512_mul_epu32(a, b); }
    static TREL_INLINE V add_64(V a, V b) { return _mm512_add_epi64(a, b); }
    static TREL_INLINE V up_32(V a) { return _mm512_slli_epi64(a, 32); }
    static TREL_INLINE V down_32(V a) { return _mm512_srli_epi64(a, 32); }
    static TREL_INLINE V largest_8(V a, V b) { return _mm512_max_epu8(a, b); }
    static TREL_INLINE V shuffle_8(V a, V b) { return _mm512_shuffle_epi8(a, b); }
};
using Widest = FourLanes;
#else
using Widest = TwoLanes;
#endif

template <class L>
TREL_INLINE bool all_up_to(typename L::V largest, u8 limit) {
    u8 bytes[16 * L::kLanes];
    L::store(bytes, largest);
    bool good = true;
    for (u64 i = 0; i < 16 * L::kLanes; i++) good &= bytes[i] <= limit;
    return good;
}

// Digits are joined in pairs, pairs in fours, fours in eights; those of two vectors then share one. Words 2 i
// come from a, words 2 i + 1 from b, so that the result is in order. Returns the words done.
template <class L>
TREL_INLINE u64 pack_decimal(u8* out, const u8* values, u64 n, bool& good) {
    using V = typename L::V;
    constexpr u64 k10_16 = 10000000000000000ULL;
    const V tens = L::every_lane(_mm_set1_epi16(10 | 1 << 8));
    const V hundreds = L::every_lane(_mm_set1_epi32(100 | 1 << 16));
    const V ten_thousands = L::every_lane(_mm_set1_epi32(10000 | 1 << 16));
    const V head_weights = L::every_lane(_mm_setr_epi8(100, 10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    const V head_sum = L::every_lane(_mm_setr_epi16(1, 1, 0, 0, 0, 0, 0, 0));
    V largest = L::every_word(0);
    u64 i = 0;
    for (; i + 2 * L::kLanes <= n; i += 2 * L::kLanes) {
        const u8* const p = values + 19 * i;
        const V head_a = L::gather(p, 38), tail_a = L::gather(p + 3, 38);
        const V head_b = L::gather(p + 19, 38), tail_b = L::gather(p + 22, 38);
        largest =
            L::largest_8(largest, L::largest_8(L::largest_8(head_a, tail_a), L::largest_8(head_b, tail_b)));
        const V fours = L::narrow_32(L::sum_pairs_16(L::sum_pairs_8(tail_a, tens), hundreds),
                                     L::sum_pairs_16(L::sum_pairs_8(tail_b, tens), hundreds));
        const V eights = L::sum_pairs_16(fours, ten_thousands);
        const V sixteen = L::add_64(L::mul_32(eights, L::every_word(100000000)), L::down_32(eights));
        const V head = L::low_halves(L::sum_pairs_16(L::sum_pairs_8(head_a, head_weights), head_sum),
                                     L::sum_pairs_16(L::sum_pairs_8(head_b, head_weights), head_sum));
        const V high = L::add_64(L::mul_32(head, L::every_word(k10_16 & 0xFFFFFFFF)),
                                 L::up_32(L::mul_32(head, L::every_word(k10_16 >> 32))));
        L::store(out + 8 * i, L::add_64(high, sixteen));
    }
    good &= all_up_to<L>(largest, 9);
    return i;
}

bool decimal(u8* out, const u8* values, u64 n) noexcept {
    bool good = true;
    u64 i = pack_decimal<Widest>(out, values, n, good);
    i += pack_decimal<OneLane>(out + 8 * i, values + 19 * i, n - i, good);
    for (; i < n; i++) {
        u64 word = 0;
        for (u64 d = 0; d < 19; d++) {
            const u8 value = values[19 * i + d];
            good &= value <= 9;
            word = 10 * word + value;
        }
        __builtin_memcpy(out + 8 * i, &word, 8);
    }
    return good;
}

template <class L>
TREL_INLINE u64 pack_hexadecimal(u8* out, const u8* values, u64 n, bool& good) {
    using V = typename L::V;
    const V sixteens = L::every_lane(_mm_set1_epi16(16 | 1 << 8));
    const V reversed = L::every_lane(_mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
    V largest = L::every_word(0);
    u64 i = 0;
    for (; i + 2 * L::kLanes <= n; i += 2 * L::kLanes) {
        const V a = L::gather(values + 16 * i, 32), b = L::gather(values + 16 * i + 16, 32);
        largest = L::largest_8(largest, L::largest_8(a, b));
        const V bytes = L::narrow_16(L::sum_pairs_8(a, sixteens), L::sum_pairs_8(b, sixteens));
        L::store(out + 8 * i, L::shuffle_8(bytes, reversed));
    }
    good &= all_up_to<L>(largest, 15);
    return i;
}

bool hexadecimal(u8* out, const u8* values, u64 n) noexcept {
    bool good = true;
    u64 i = pack_hexadecimal<Widest>(out, values, n, good);
    i += pack_hexadecimal<OneLane>(out + 8 * i, values + 16 * i, n - i, good);
    for (; i < n; i++) {
        u64 word = 0;
        for (u64 d = 0; d < 16; d++) {
            const u8 value = values[16 * i + d];
            good &= value <= 15;
            word = word << 4 | value;
        }
        __builtin_memcpy(out + 8 * i, &word, 8);
    }
    return good;
}

// floor(w / 10^k) = floor((w >> k) / 5^k), 1 <= k <= 18, by one multiplication: with s = floor(log2(5^k)) and
// m = floor(2^(64 + s) / 5^k) + 1 it is (w >> k) m >> (64 + s). The error of m is at most 5^k < 2^(s + 1),
// and w >> k is below 2^63, so their product stays below 2^(64 + s).
struct Divisor {
    u64 multiplier, power, power_of_rest;  // m, 10^k, 10^(19 - k)
    u32 shift;
};
struct Divisors {
    Divisor by[19];
};
constexpr Divisors make_divisors() {
    Divisors divisors{};
    u64 power = 1, five = 1;
    for (u32 k = 0; k < 19; k++) {
        Divisor& d = divisors.by[k];
        d.power = power;
        d.shift = 63 - static_cast<u32>(__builtin_clzll(five));
        d.multiplier = static_cast<u64>((u128(1) << (64 + d.shift)) / five + 1);
        power *= 10;
        five *= 5;
    }
    for (u32 k = 1; k < 19; k++) divisors.by[k].power_of_rest = divisors.by[19 - k].power;
    return divisors;
}
constexpr Divisors kDivisors = make_divisors();

// Half-words of a factor, in every lane.
struct Halves {
    Widest::V low, high;
};
TREL_INLINE Halves halves(u64 factor) {
    return {Widest::every_word(factor & 0xFFFFFFFF), Widest::every_word(factor >> 32)};
}

TREL_INLINE Widest::V mul_low(Widest::V a, const Halves& b) {
    using L = Widest;
    const L::V cross = L::add_64(L::mul_32(L::down_32(a), b.low), L::mul_32(a, b.high));
    return L::add_64(L::mul_32(a, b.low), L::up_32(cross));
}

TREL_INLINE Widest::V mul_high(Widest::V a, const Halves& b) {
    using L = Widest;
    const L::V a_high = L::down_32(a);
    const L::V middle = L::mul_32(a, b.high);
    // Two 32-bit numbers and a product of two: below 2^64.
    const L::V carried = L::add_64(L::add_64(L::down_32(L::mul_32(a, b.low)), L::mul_32(a_high, b.low)),
                                   L::down_32(L::up_32(middle)));
    return L::add_64(L::add_64(L::mul_32(a_high, b.high), L::down_32(middle)), L::down_32(carried));
}

constexpr u64 kVectorWords = 2 * Widest::kLanes;

// q[i] = floor(words[i] / 10^k)
TREL_INLINE void heads(u64* q, const Word* words, u64 n, u32 k, const Divisor& d) {
    using L = Widest;
    const Halves multiplier = halves(d.multiplier);
    const __m128i first = _mm_cvtsi32_si128(static_cast<int>(k));
    const __m128i last = _mm_cvtsi32_si128(static_cast<int>(d.shift));
    u64 i = 0;
    for (; i + kVectorWords <= n; i += kVectorWords) {
        const L::V w = L::down(L::load_words(words + i), first);
        L::store(reinterpret_cast<u8*>(q + i), L::down(mul_high(w, multiplier), last));
    }
    for (; i < n; i++) q[i] = static_cast<u64>(u128(words[i] >> k) * d.multiplier >> 64) >> d.shift;
}

void shift_decimal(u8* out, const Word* words, u64 n, u32 r) noexcept {
    using L = Widest;
    const u32 k = 19 - r;
    const Divisor d = kDivisors.by[k];
    const Halves power = halves(d.power), power_of_rest = halves(d.power_of_rest);
    // Quotients stay in the first-level cache until the words are made of them.
    constexpr u64 kBlock = 512;
    u64 q[kBlock + 1];
    for (u64 done = 0; done < n; done += kBlock) {
        const u64 m = n - done < kBlock ? n - done : kBlock;
        heads(q, words + done, m + 1, k, d);
        const Word* const w = words + done;
        u8* const to = out + 8 * done;
        u64 i = 0;
        for (; i + kVectorWords <= m; i += kVectorWords) {
            const L::V rest = L::sub_64(L::load_words(w + i), mul_low(L::load_words(q + i), power));
            L::store(to + 8 * i, L::add_64(mul_low(rest, power_of_rest), L::load_words(q + i + 1)));
        }
        for (; i < m; i++) {
            const u64 word = (w[i] - q[i] * d.power) * d.power_of_rest + q[i + 1];
            __builtin_memcpy(to + 8 * i, &word, 8);
        }
    }
}

void shift_hexadecimal(u8* out, const Word* words, u64 n, u32 r) noexcept {
    const u32 up = 4 * r, down = 64 - up;
    for (u64 i = 0; i < n; i++) {
        const u64 word = words[i] << up | words[i + 1] >> down;
        __builtin_memcpy(out + 8 * i, &word, 8);
    }
}

bool are_decimal(const Word* words, u64 n) noexcept {
    u64 above = 0;
    for (u64 i = 0; i < n; i++) above |= u64(words[i] > kalvor::kLargestDecimalWord);
    return above == 0;
}

}  // namespace

constinit const kalvor::DigitPacking digit_packing{TREL_TEXT_OF(TREL_ISA), decimal,           hexadecimal,
                                                   shift_decimal,          shift_hexadecimal, are_decimal};

}  // namespace trel::TREL_ISA
