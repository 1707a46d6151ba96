#include "arith/intntt/integer_ntt_tables.h"

#include <array>
#include <bit>
#include <memory>
#include <mutex>
#include <vector>

#include "arith/ntt/ntt_prime_sets.h"

namespace trel {
namespace {

u64 times(u64 x, u64 y, u64 p) {
    return static_cast<u64>(u128(x) * y % p);
}

u64 power(u64 x, u64 n, u64 p) {
    u64 r = 1;
    for (u64 bit = std::bit_floor(n); bit != 0; bit >>= 1) {
        r = times(r, r, p);
        if (n & bit) r = times(r, x, p);
    }
    return r;
}

u64 inverse_of(u64 x, u64 p) {
    return power(x, p - 2, p);
}

// The smallest number whose power (p - 1) / q is not 1: its power (p - 1) / q^e has order q^e.
u64 generator_for(u64 q, u64 p) {
    u64 x = 2;
    while (power(x, (p - 1) / q, p) == 1) x++;
    return x;
}

template <class W>
struct Slot {
    std::once_flag made;
    std::unique_ptr<IntegerNttSet<W>> set;
    std::vector<std::array<W, 256>> digits;  // of all primes, forward and inverse
};

template <class W>
W times_radix(u64 x, u64 p) {
    return static_cast<W>((u128(x) << (8 * sizeof(W))) % p);
}

// table[d][v] = W(v 2^(8 d)) R for a root of order 2^exponent; nodes that need more bits do not exist.
template <class W>
void fill_digits(std::array<W, 256>* table, u32 n_digits, u64 root, u32 exponent, u64 p) {
    for (u32 d = 0; d < n_digits; d++) {
        u64 factor[256] = {1};
        for (u32 bit = 0; bit < 8; bit++) {
            const u32 order = 8 * d + bit + 2;  // W(2^(8 d + bit)) has order 2^order
            const u64 w = order > exponent ? 1 : power(root, u64(1) << (exponent - order), p);
            for (u32 v = 0; v < 1u << bit; v++) factor[(1u << bit) + v] = times(factor[v], w, p);
        }
        for (u32 v = 0; v < 256; v++) table[d][v] = times_radix<W>(factor[v], p);
    }
}

template <class W>
void fill_prime(IntegerNttPrime<W>& prime, u64 p, u32 a, u32 b, u32 exponent, std::array<W, 256>* forward,
                std::array<W, 256>* backward, u32 n_digits) {
    prime = {};
    prime.p = static_cast<W>(p);
    W inverse = static_cast<W>(p);  // right in three bits, twice as many with each step
    for (u32 bits = 3; bits < 8 * sizeof(W); bits *= 2) inverse *= 2 - prime.p * inverse;
    prime.inverse = inverse;

    const u64 root = power(generator_for(2, p), (p - 1) >> exponent, p);
    fill_digits(forward, n_digits, root, exponent, p);
    fill_digits(backward, n_digits, inverse_of(root, p), exponent, p);
    prime.node = reinterpret_cast<const W(*)[256]>(forward);
    prime.node_inverse = reinterpret_cast<const W(*)[256]>(backward);
    for (u32 level = 0; level < 4; level++) {
        for (u32 e = 0; e < 1u << level; e++) {
            for (u32 lane = 0; lane < 16; lane++) {
                const u32 node = (lane << level) + e;
                prime.tail[(1u << level) - 1 + e][lane] = forward[0][node];
                prime.tail_inverse[(1u << level) - 1 + e][lane] = backward[0][node];
            }
        }
    }
    if (b > 1) {
        const u64 z = power(generator_for(b, p), (p - 1) / b, p), half = (p + 1) / 2;
        for (u32 i = 1; i <= b / 2; i++) {
            for (u32 j = 1; j <= b / 2; j++) {
                const u64 x = power(z, i * j, p), y = inverse_of(x, p);
                prime.cosine[i - 1][j - 1] = times_radix<W>(times(half, (x + y) % p, p), p);
                prime.sine[i - 1][j - 1] = times_radix<W>(times(half, (x + p - y) % p, p), p);
            }
        }
    }
    for (u32 i = 0; i + 1 < a; i++) {
        prime.units[i] = times_radix<W>(power(2, 4 * sizeof(W) * i, p), p);
    }
}

// Numbers of 64-bit words, least significant first.
using Number = std::array<u64, 12>;

void multiply_in(Number& n, u64 x) {
    u64 carry = 0;
    for (u64& word : n) {
        const u128 t = u128(word) * x + carry;
        word = static_cast<u64>(t);
        carry = static_cast<u64>(t >> 64);
    }
}

u64 bits_at(const Number& n, u32 from, u32 count) {
    const u32 word = from / 64, shift = from % 64;
    u64 x = word < n.size() ? n[word] >> shift : 0;
    if (shift + count > 64 && word + 1 < n.size()) x |= n[word + 1] << (64 - shift);
    return x & ((u64(1) << count) - 1);
}

template <class W>
void fill_recombination(IntegerNttSet<W>& set, std::span<const u64> primes, u32 max_exponent) {
    using Types = IntegerNttTypes<W>;
    set.limbs = (set.a * 8 * sizeof(W) + Types::kLimbBits - 1) / Types::kLimbBits;
    Number product = {1};
    for (const u64 p : primes) multiply_in(product, p);
    u64 carry = 1;
    for (u32 l = 0; l < set.limbs; l++) {
        const u64 mask = (u64(1) << Types::kLimbBits) - 1;
        const u64 limb = (bits_at(product, l * Types::kLimbBits, Types::kLimbBits) ^ mask) + carry;
        set.complement[l] = static_cast<W>(limb & mask);
        carry = limb >> Types::kLimbBits;
    }
    for (u32 i = 0; i < set.a; i++) {
        const u64 p = primes[i];
        Number cofactor = {1};
        u64 residue = 1;
        for (const u64 q : primes) {
            if (q == p) continue;
            multiply_in(cofactor, q);
            residue = times(residue, q % p, p);
        }
        for (u32 l = 0; l < set.limbs; l++) {
            set.cofactor[i][l] = static_cast<W>(bits_at(cofactor, l * Types::kLimbBits, Types::kLimbBits));
        }
        set.fraction[i] = static_cast<W>((u128(1) << Types::kFractionBits) / p);
        // 1 / (N cofactor) R^2: one R for the pointwise product's, one for this product's
        u64 scale = times(times_radix<W>(times_radix<W>(1, p), p), inverse_of(residue, p), p);
        scale = times(scale, inverse_of(set.b, p), p);
        for (u32 c = 0; c <= max_exponent; c++) {
            set.prime[i].scale[c] = static_cast<W>(scale);
            scale = times(scale, (p + 1) / 2, p);
        }
    }
}

template <class W>
void fill(Slot<W>& slot, const NttPrimeSet& primes) {
    static_assert(sizeof(IntegerNttPrime<W>::scale) / sizeof(W) > 55);
    const u32 n_digits = (primes.max_exponent + 6) / 8;  // nodes have max_exponent - 1 bits
    slot.set = std::make_unique<IntegerNttSet<W>>();
    slot.digits.resize(2 * n_digits * primes.a);
    IntegerNttSet<W>& set = *slot.set;
    set.a = primes.a;
    set.b = primes.b;
    std::array<W, 256>* table = slot.digits.data();
    for (u32 i = 0; i < primes.a; i++, table += 2 * n_digits) {
        fill_prime(set.prime[i], primes.primes[i], primes.a, primes.b, primes.max_exponent, table,
                   table + n_digits, n_digits);
    }
    fill_recombination(set, primes.primes, primes.max_exponent);
}

}  // namespace

template <class W>
const IntegerNttSet<W>& integer_ntt_set(u32 a, u32 b) {
    const NttPrimeSet& primes = ntt_prime_set(kIntegerNttFamily<W>, a, b);
    static std::array<Slot<W>, 4 * (IntegerNttTypes<W>::kMaxPrimes + 1)> slots;
    Slot<W>& slot = slots[4 * a + b / 2];
    std::call_once(slot.made, [&] { fill(slot, primes); });
    return *slot.set;
}

template const IntegerNttSet<u32>& integer_ntt_set<u32>(u32 a, u32 b);
template const IntegerNttSet<u64>& integer_ntt_set<u64>(u32 a, u32 b);

}  // namespace trel
