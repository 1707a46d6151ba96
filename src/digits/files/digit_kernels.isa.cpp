#include "digits/files/digit_kernels.h"

#include "base/simd/kernel.h"

namespace trel::TREL_ISA {
extern const kalvor::DigitKernels digit_kernels;

namespace {

// Written on the compiler's vectors, as wide as the level's registers (wider ones would pass through memory).
#if defined(TREL_ISA_avx512)
constexpr u64 kWidth = 64;
#else
constexpr u64 kWidth = 32;
#endif
using Bytes = u8 __attribute__((vector_size(kWidth)));
using Words = u64 __attribute__((vector_size(kWidth)));

inline Bytes load(const void* p) {
    Bytes v;
    __builtin_memcpy(&v, p, kWidth);
    return v;
}
inline void store(void* p, Bytes v) {
    __builtin_memcpy(p, &v, kWidth);
}
inline bool any(Bytes v) {
    const Words w = (Words)v;
    u64 all = 0;
    for (u64 i = 0; i < kWidth / 8; i++) all |= w[i];
    return all != 0;
}

bool to_text(char* out, const u8* values, u64 n, u32 radix) noexcept {
    const u8 largest = static_cast<u8>(radix - 1);
    Bytes bad = {};
    u64 i = 0;
    if (radix <= 10) {
        for (; i + kWidth <= n; i += kWidth) {
            const Bytes v = load(values + i);
            bad |= (Bytes)(v > largest);
            store(out + i, v + u8('0'));
        }
    } else {
        for (; i + kWidth <= n; i += kWidth) {
            const Bytes v = load(values + i);
            bad |= (Bytes)(v > largest);
            store(out + i, v + u8('0') + ((Bytes)(v > u8(9)) & u8('a' - '9' - 1)));
        }
    }
    bool good = !any(bad);
    for (; i < n; i++) {
        const u8 v = values[i];
        good &= v <= largest;
        out[i] = static_cast<char>(v + (v > 9 ? 'a' - 10 : '0'));
    }
    return good;
}

bool to_values(u8* out, const char* text, u64 n, u32 radix) noexcept {
    const u8 largest = static_cast<u8>(radix - 1);
    Bytes bad = {};
    u64 i = 0;
    if (radix <= 10) {
        for (; i + kWidth <= n; i += kWidth) {
            const Bytes v = load(text + i) - u8('0');
            bad |= (Bytes)(v > largest);
            store(out + i, v);
        }
    } else {
        for (; i + kWidth <= n; i += kWidth) {
            const Bytes c = load(text + i);
            const Bytes digit = c - u8('0');
            const Bytes letter = c - u8('a');
            // A letter a-f becomes 10 .. 15; what is neither stays above 15.
            const Bytes is_letter = (Bytes)(letter < u8(6));
            const Bytes is_digit = (Bytes)(digit < u8(10));
            const Bytes v = (is_digit & digit) | (is_letter & (letter + u8(10))) | ~(is_digit | is_letter);
            bad |= (Bytes)(v > largest);
            store(out + i, v);
        }
    }
    bool good = !any(bad);
    for (; i < n; i++) {
        const u8 digit = static_cast<u8>(text[i] - '0');
        const u8 letter = static_cast<u8>(text[i] - 'a');
        const u8 v = digit < 10 ? digit : letter < 6 ? static_cast<u8>(letter + 10) : u8(255);
        good &= v <= largest;
        out[i] = v;
    }
    return good;
}

u64 sum_of_bytes(Bytes v) {
    u64 sum = 0;
    const Words w = (Words)v;
    constexpr u64 kEvenBytes = 0x00FF00FF00FF00FFULL;
    for (u64 i = 0; i < kWidth / 8; i++) {
        // Four sums of up to 510 in 16-bit fields; the multiplication adds them up in the top field.
        const u64 pairs = (w[i] & kEvenBytes) + (w[i] >> 8 & kEvenBytes);
        sum += (pairs * 0x0001000100010001ULL) >> 48;
    }
    return sum;
}

template <u32 kRadix>
void count_below(u64* counts, const u8* values, u64 n) noexcept {
    u64 i = 0;
    while (i + kWidth <= n) {
        // A byte counter holds 255 vectors.
        const u64 left = (n - i) / kWidth;
        const u64 vectors = left < 255 ? left : 255;
        Bytes hits[kRadix] = {};
        for (u64 j = 0; j < vectors; j++, i += kWidth) {
            const Bytes v = load(values + i);
            TREL_UNROLL for (u32 d = 0; d < kRadix; d++) hits[d] -= (Bytes)(v == u8(d));
        }
        for (u32 d = 0; d < kRadix; d++) counts[d] += sum_of_bytes(hits[d]);
    }
    for (; i < n; i++) {
        if (values[i] < kRadix) counts[values[i]]++;
    }
}

void count(u64* counts, const u8* values, u64 n, u32 radix) noexcept {
    radix <= 10 ? count_below<10>(counts, values, n) : count_below<16>(counts, values, n);
}

}  // namespace

constinit const kalvor::DigitKernels digit_kernels{TREL_TEXT_OF(TREL_ISA), to_text, to_values, count};

}  // namespace trel::TREL_ISA
