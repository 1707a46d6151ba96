#include "arith/ntt/ntt_prime_sets.h"

#include <array>
#include <bit>
#include <cmath>
#include <mutex>
#include <utility>

#include "arith/residue/modulus48.h"
#include "arith/residue/residue_power.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

using u128 = unsigned __int128;

constexpr u32 kMaxA = 11;

struct FamilyRule {
    u32 min_a, max_a;
    // by a - min_a and b / 2: the largest exponent whose primes leave exponent + floor(log2 b) + slack bits
    // above the payload of a product of points (slack 2 for N32, 1 for C17, 2.25 for N64)
    u8 max_exponent[9][4];
};

constexpr FamilyRule kN32{3,
                          10,
                          {{25, 25, 22, 22},
                           {25, 24, 22, 22},
                           {24, 23, 21, 21},
                           {23, 22, 20, 21},
                           {22, 21, 19, 20},
                           {21, 20, 19, 19},
                           {20, 19, 18, 18},
                           {19, 18, 17, 17}}};
constexpr FamilyRule kC17{4,
                          11,
                          {{43, 41, 39, 39},
                           {42, 40, 39, 38},
                           {42, 39, 39, 38},
                           {41, 39, 38, 38},
                           {40, 39, 38, 37},
                           {40, 39, 38, 37},
                           {39, 39, 38, 37},
                           {39, 38, 38, 37}}};
constexpr FamilyRule kN64{3,
                          11,
                          {{55, 54, 53, 52},
                           {54, 54, 53, 52},
                           {54, 53, 52, 52},
                           {54, 52, 52, 51},
                           {53, 52, 51, 51},
                           {52, 51, 51, 50},
                           {51, 50, 50, 49},
                           {51, 50, 49, 49},
                           {50, 49, 48, 48}}};

const FamilyRule& rule_of(NttFamily family) {
    return family == NttFamily::n32 ? kN32 : family == NttFamily::n64 ? kN64 : kC17;
}

// Jacobi's symbol of a modulo n, odd n.
int jacobi(u64 a, u64 n) {
    int sign = 1;
    for (a %= n; a != 0; a %= n) {
        const int twos = std::countr_zero(a);
        a >>= twos;
        if (twos % 2 != 0 && (n % 8 == 3 || n % 8 == 5)) sign = -sign;
        if (a % 4 == 3 && n % 4 == 3) sign = -sign;
        std::swap(a, n);
    }
    return n == 1 ? sign : 0;
}

// Whether n = k 2^e + 1 is prime, k < 2^e, e > 1: exactly if q^((n-1)/2) = -1 for a q with the symbol -1
// (Proth, 1878). The symbol of q modulo n is that of n modulo q, because n is 1 modulo 4. A square has no
// such q; of other numbers below 2^64 none lacks one this long.
template <class Multiply>
bool is_proth_prime(u64 n, Multiply&& multiply) {
    constexpr u64 kLastBase = 1000;
    // Most others have a small factor, found without a product.
    for (u64 q = 3; q < 64; q += 2) {
        if (n % q == 0) return n == q;
    }
    for (u64 q = 3; q < kLastBase; q += 2) {
        if (jacobi(n, q) == -1) return residue_power(q, (n - 1) / 2, multiply) == n - 1;
    }
    return false;
}

bool is_prime(u64 n) {
    if (n >> 48 == 0) {
        const Modulus48 modulus(n);
        return is_proth_prime(n, [&](u64 x, u64 y) { return modulus.mul(x, y); });
    }
    return is_proth_prime(n, [n](u64 x, u64 y) { return static_cast<u64>(u128(x) * y % n); });
}

struct Slot {
    std::once_flag made;
    std::array<u64, kMaxA> primes;
    NttPrimeSet set;
};

void fill(Slot& slot, NttFamily family, u32 a, u32 b) {
    const NttFamilyConstants& constants = ntt_constants(family);
    const u32 exponent = ntt_max_exponent(family, a, b);
    const u64 step = u64(b) << exponent;
    double bits = 0;
    u32 n = 0;
    for (u64 k = ((u64(1) << constants.prime_bits) - 2) / step; n < a; k--) {
        const u64 p = k * step + 1;
        if (!is_prime(p)) continue;
        slot.primes[n++] = p;
        bits += std::log2(static_cast<double>(p));
    }
    slot.set = {a, b, exponent, {slot.primes.data(), a}, bits - 2.0 * ntt_point_bits(family, a)};
}

}  // namespace

u32 ntt_max_exponent(NttFamily family, u32 a, u32 b) {
    const FamilyRule& rule = rule_of(family);
    if (a < rule.min_a || a > rule.max_a || b > 7 || b % 2 == 0) {
        throw InvalidParametersException("ntt_prime_set()", "Out-of-bounds.");
    }
    return rule.max_exponent[a - rule.min_a][b / 2];
}

const NttPrimeSet& ntt_prime_set(NttFamily family, u32 a, u32 b) {
    ntt_max_exponent(family, a, b);  // throws where there is no set
    // one row a kind of prime; VST works with C17's
    static std::array<std::array<Slot, 4 * (kMaxA + 1)>, 3> slots;
    const NttFamily kind = family == NttFamily::vst ? NttFamily::c17 : family;
    Slot& slot = slots[static_cast<u64>(kind)][4 * a + b / 2];
    std::call_once(slot.made, [&] { fill(slot, kind, a, b); });
    return slot.set;
}

}  // namespace trel
