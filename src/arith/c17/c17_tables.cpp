#include "arith/c17/c17_tables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <memory>
#include <mutex>

#include "arith/residue/modulus48.h"
#include "arith/residue/residue_power.h"

namespace trel {
namespace {

// Arithmetic modulo one prime below 2^48, on numbers below it.
struct Field {
    u64 p;
    Modulus48 modulus{p};

    u64 mul(u64 x, u64 y) const { return modulus.mul(x, y); }
    u64 add(u64 x, u64 y) const { return (x + y) % p; }
    u64 sub(u64 x, u64 y) const { return (x + p - y) % p; }
    u64 power(u64 x, u64 e) const {
        return residue_power(x, e, [this](u64 a, u64 b) { return mul(a, b); });
    }
    u64 inverse(u64 x) const { return power(x, p - 2); }
    // The representative of least magnitude.
    double balanced(u64 x) const {
        return static_cast<double>(static_cast<i64>(x) - static_cast<i64>(x > p / 2 ? p : 0));
    }
};

void fill(C17PrimeTables::Direction& d, const Field& F, const std::array<u64, 64>& rho, u32 depths) {
    // T[i] for indices with few bits: those of shift 0, and all that are i 2^u; the product of the rho_l of
    // its bits
    std::array<u64, 64> T;
    T[0] = 1;
    for (u64 i = 1; i < 64; i++) {
        const u64 top = static_cast<u64>(std::bit_width(i)) - 1;
        T[i] = F.mul(T[i - (u64(1) << top)], rho[top]);
    }
    for (u64 i = 0; i < 64; i++) d.low[i] = F.balanced(T[i]);
    const double heap[8] = {1, 1, d.low[0], d.low[1], d.low[0], d.low[1], d.low[2], d.low[3]};
    std::copy_n(heap, 8, d.heap);
    // Each depth has half of its products from the depth below: i 2^u is i/2 2^(u+1). Three depths more give
    // the last ones all that they have.
    T.fill(1);
    for (u32 u = C17PrimeTables::kDepths + 3; u-- > 0;) {
        for (u64 i = 16; i > 0;) {
            i -= 2;
            T[i] = T[i / 2];
            T[i + 1] = F.mul(T[i], rho[u]);
        }
        if (u >= C17PrimeTables::kDepths) continue;
        for (u64 i = 0; i < 16; i++) {
            const u32 bits = static_cast<u32>(std::bit_width(i));
            d.child[i][u] = u + bits <= depths ? F.balanced(T[i]) : 1.0;
        }
        if (u == 3) {
            for (u64 i = 0; i < 16; i++) d.stride8[i] = F.balanced(T[i]);
        }
    }
}

std::unique_ptr<C17PrimeTables> make_prime_tables(u64 p) {
    const Field F{p};
    auto t = std::make_unique<C17PrimeTables>();
    t->p = static_cast<double>(p);
    t->inverse_p = 1.0 / t->p;
    // a non-residue's power generates the 2-part of the group
    const u32 twos = static_cast<u32>(std::countr_zero(p - 1));
    u64 g = 2;
    while (F.power(g, (p - 1) / 2) != p - 1) g++;
    std::array<u64, 64> rho{}, inverse{};
    u64 r = F.power(g, (p - 1) >> twos), s = F.inverse(r);  // of order 2^twos
    rho.fill(1);
    inverse.fill(1);
    const u32 depths = twos - 1;  // rho_l has order 2^(l+2) <= 2^twos
    for (u32 l = depths; l-- > 0;) {
        rho[l] = r;
        inverse[l] = s;
        r = F.mul(r, r);
        s = F.mul(s, s);
    }
    fill(t->forward, F, rho, depths);
    fill(t->inverse, F, inverse, depths);
    return t;
}

const C17PrimeTables& prime_tables(u64 p) {
    static std::mutex mutex;
    static std::map<u64, std::unique_ptr<C17PrimeTables>> all;
    const std::lock_guard lock(mutex);
    auto& place = all[p];
    if (!place) place = make_prime_tables(p);
    return *place;
}

void fill_split(C17Prime& prime, u64 p, u32 b) {
    const Field F{p};
    u64 zeta = 1;
    for (u64 g = 2; b != 1 && zeta == 1; g++) zeta = F.power(g, (p - 1) / b);
    u64 z[8];
    z[0] = 1;
    for (u32 i = 1; i < 8; i++) z[i] = F.mul(z[i - 1], zeta);
    for (u32 i = 0; i < 8; i++) prime.zeta[i] = F.balanced(z[i % b]);
    const u64 half = F.inverse(2), quarter = F.inverse(4);
    // (zeta^i + zeta^-i) / 2 and (zeta^i - zeta^-i) / 2
    const auto even = [&](u32 i) { return F.mul(F.add(z[i], z[b - i]), half); };
    const auto odd = [&](u32 i) { return F.mul(F.sub(z[i], z[b - i]), half); };
    std::fill_n(prime.split, 8, 0.0);
    if (b == 3) prime.split[0] = F.balanced(z[1]);
    if (b == 5) {
        prime.split[0] = F.balanced(F.mul(F.sub(even(1), even(2)), half));
        prime.split[1] = F.balanced(F.sub(0, quarter));
        prime.split[2] = F.balanced(odd(1));
        prime.split[3] = F.balanced(F.sub(odd(2), odd(1)));
        prime.split[4] = F.balanced(F.add(odd(1), odd(2)));
    }
    if (b == 7) {
        for (u32 i = 1; i <= 3; i++) {
            prime.split[i - 1] = F.balanced(even(i));
            prime.split[2 + i] = F.balanced(odd(i));
        }
    }
}

std::unique_ptr<C17SetTables> make_set_tables(u32 a, u32 b) {
    auto t = std::make_unique<C17SetTables>();
    t->set = &ntt_prime_set(NttFamily::c17, a, b);
    for (u32 i = 0; i < a; i++) {
        const u64 p = t->set->primes[i];
        t->primes[i].tables = &prime_tables(p);
        fill_split(t->primes[i], p, b);
    }
    return t;
}

}  // namespace

const C17SetTables& c17_set_tables(u32 a, u32 b) {
    static std::mutex mutex;
    static std::map<u32, std::unique_ptr<C17SetTables>> all;
    const std::lock_guard lock(mutex);
    auto& place = all[8 * a + b];
    if (!place) place = make_set_tables(a, b);
    return *place;
}

}  // namespace trel
