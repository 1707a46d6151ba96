#include "arith/c17/c17_end_constants.h"

#include <array>
#include <memory>
#include <mutex>

#include "arith/residue/residue_power.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

using u128 = unsigned __int128;

u64 multiply_mod(u64 x, u64 y, u64 p) {
    return static_cast<u64>(u128(x) * y % p);
}
u64 inverse_mod(u64 x, u64 p) {  // x^(p - 2)
    return residue_power(x, p - 2, [p](u64 a, u64 b) { return multiply_mod(a, b, p); });
}
// The representative of x, 0 <= x < p, between -p / 2 and p / 2.
i64 balanced(u64 x, u64 p) {
    return x > p / 2 ? static_cast<i64>(x) - static_cast<i64>(p) : static_cast<i64>(x);
}

// 48-bit digits of the product of all primes but number i, lowest first.
std::array<u64, C17PrimeConstants::kMaxLimbs> product_of_others(const NttPrimeSet& set, u32 i) {
    constexpr u64 kMask = (u64(1) << 48) - 1;
    std::array<u64, C17PrimeConstants::kMaxLimbs> digits{1};
    for (u32 j = 0; j < set.a; j++) {
        if (j == i) continue;
        u64 carry = 0;
        for (u64& digit : digits) {
            const u128 t = u128(digit) * set.primes[j] + carry;
            digit = static_cast<u64>(t) & kMask;
            carry = static_cast<u64>(t >> 48);
        }
    }
    return digits;
}

void fill(C17PrimeConstants& prime, const NttPrimeSet& set, u32 i) {
    const u64 p = set.primes[i];
    prime.p = static_cast<double>(p);
    prime.p_inverse = 1.0 / prime.p;
    prime.p_low = prime.p / 16777216.0;

    u64 power = 1;
    for (u32 k = 0; k < C17PrimeConstants::kMaxLimbs; k++) {
        const i64 c = balanced(power, p);
        const i64 high = (c + (i64(1) << 23)) >> 24;
        prime.high[k] = static_cast<double>(high);
        prime.low[k] = static_cast<double>(c - high * (i64(1) << 24));
        power = multiply_mod(power, u64(1) << 24, p);
    }

    // Digits above 2^47 become negative and carry into the next one; the top one has no next.
    const auto digits = product_of_others(set, i);
    i64 carry = 0;
    for (u32 k = 0; k < C17PrimeConstants::kMaxLimbs; k++) {
        i64 digit = static_cast<i64>(digits[k]) + carry;
        carry = k + 2 < set.a && digit > (i64(1) << 47) ? 1 : 0;
        digit -= carry << 48;
        prime.others[k] = static_cast<double>(digit);
    }

    u64 others = 1;
    for (u32 j = 0; j < set.a; j++) {
        if (j != i) others = multiply_mod(others, set.primes[j] % p, p);
    }
    u64 scale = inverse_mod(multiply_mod(others, set.b, p), p);
    for (u32 c = 0; c <= set.max_exponent; c++) {
        prime.scale[c] = static_cast<double>(balanced(scale, p));
        scale = scale % 2 == 0 ? scale / 2 : scale / 2 + p / 2 + 1;
    }
}

struct Slot {
    std::once_flag made;
    std::unique_ptr<C17SetConstants> constants;
};

}  // namespace

const C17SetConstants& c17_set_constants(const NttPrimeSet& set) {
    static std::array<Slot, 4 * (C17EndConstants::kMaxPrimes + 1)> slots;
    if (set.a < 4 || set.a > C17EndConstants::kMaxPrimes || set.b > 7 || set.b % 2 == 0 ||
        set.max_exponent >= C17PrimeConstants::kMaxExponent) {
        throw InvalidParametersException("c17_set_constants()", "Out-of-bounds.");
    }
    Slot& slot = slots[4 * set.a + set.b / 2];
    std::call_once(slot.made, [&] {
        slot.constants = std::make_unique<C17SetConstants>();
        slot.constants->a = set.a;
        for (u32 i = 0; i < set.a; i++) fill(slot.constants->primes[i], set, i);
    });
    return *slot.constants;
}

void make_c17_end_constants(C17EndConstants* out, const NttPrimeSet& set, u32 c) {
    out->set = &c17_set_constants(set);
    for (u32 i = 0; i < set.a; i++) out->scale[i] = out->set->primes[i].scale[c];
}

}  // namespace trel
