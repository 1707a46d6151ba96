#include "digits/files/digit_hash.h"

#include <cstring>

#include "arith/m61/m61.h"

namespace kalvor {
namespace {

using trel::u128;
using trel::u32;
using trel::u64;
using trel::u8;

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

u64 hexadecimal_word(const u8* values) { return eight_hexadecimal(values) << 32 | eight_hexadecimal(values + 8); }

}  // namespace

u64 extend_digit_hash(u64 hash, const u8* values, u64 n, u32 radix) {
    using namespace trel;
    u64 i = 0;
    if (radix == 10) {
        constexpr u64 kPower = 10000000000000000000ULL % m61::kM61;
        for (; i + 19 <= n; i += 19) hash = m61::add(m61::mul(hash, kPower), m61::fold(decimal_word(values + i)));
    } else {
        constexpr u64 kPower = static_cast<u64>((u128(1) << 64) % m61::kM61);
        for (; i + 16 <= n; i += 16) hash = m61::add(m61::mul(hash, kPower), m61::fold(hexadecimal_word(values + i)));
    }
    for (; i < n; i++) hash = m61::add(m61::mul(hash, radix), values[i]);
    return m61::canonical(hash);
}

}  // namespace kalvor
