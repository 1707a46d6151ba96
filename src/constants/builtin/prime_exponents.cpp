#include "constants/builtin/prime_exponents.h"

#include <vector>

namespace kalvor {
namespace {

// The primes below 2^16, which decide every number up to 2^32.
const std::vector<u32>& small_primes() {
    static const std::vector<u32> primes = [] {
        constexpr u32 kEnd = 1 << 16;
        std::vector<bool> composite(kEnd);
        std::vector<u32> list;
        for (u32 p = 2; p < kEnd; p++) {
            if (composite[p]) continue;
            list.push_back(p);
            for (u64 multiple = u64(p) * p; multiple < kEnd; multiple += p) composite[multiple] = true;
        }
        return list;
    }();
    return primes;
}

}  // namespace

PrimeExponents factor(u64 n) {
    PrimeExponents result;
    for (const u32 p : small_primes()) {
        if (u64(p) * p > n) break;
        i64 exponent = 0;
        for (; n % p == 0; n /= p) exponent++;
        if (exponent != 0) result.emplace_hint(result.end(), p, exponent);
    }
    if (n > 1) result.emplace_hint(result.end(), n, 1);
    return result;
}

PrimeExponents arccoth_ratio(u64 m) {
    PrimeExponents ratio = factor(m + 1);
    // Exponents of numbers below 2^33 do not overflow.
    (void)multiply_power(ratio, factor(m - 1), -1);
    return ratio;
}

bool multiply_power(PrimeExponents& a, const PrimeExponents& b, i64 c) {
    for (const auto& [prime, exponent] : b) {
        i64 change;
        if (__builtin_mul_overflow(exponent, c, &change)) return false;
        const auto at = a.try_emplace(prime, 0).first;
        if (__builtin_add_overflow(at->second, change, &at->second)) return false;
        if (at->second == 0) a.erase(at);
    }
    return true;
}

}  // namespace kalvor
