// The divisors by which products that wrap are checked.
#include "arith/fft/fft_moduli.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "reference/mpz_u64.h"

namespace {

using namespace trel;

mpz_class two_to(u64 e, u64 m) {
    mpz_class r;
    const mpz_class two(2), modulus(reference::mpz_of(m));
    mpz_powm(r.get_mpz_t(), two.get_mpz_t(), reference::mpz_of(e).get_mpz_t(), modulus.get_mpz_t());
    return r;
}

TEST(FftModuliTest, DivideTheRing) {
    u64 none = 0, good = 0;
    for (const FftParameters& p : fft_parameter_table()) {
        const u64 m = fft_modulus(p).value();
        if (m == 0) {
            none++;
            EXPECT_FALSE(fft_modulus_is_good(p));
            continue;
        }
        EXPECT_LT(m, u64(1) << 62);
        EXPECT_EQ(reference::u64_of(two_to(p.capacity(), m)), m - 1) << p.a << " " << p.k << " " << p.b;
        if (!fft_modulus_is_good(p)) continue;
        good++;
        if (p.a == 1) continue;
        // some of its primes divide 2^(capacity / a) + 1, others do not
        const mpz_class rest = (two_to(p.capacity() / p.a, m) + 1) % reference::mpz_of(m);
        mpz_class common;
        mpz_gcd(common.get_mpz_t(), rest.get_mpz_t(), reference::mpz_of(m).get_mpz_t());
        EXPECT_GT(reference::u64_of(common), 1u);
        EXPECT_LT(reference::u64_of(common), m);
    }
    EXPECT_EQ(none, 5u);
    EXPECT_EQ(good, 60u);
}

TEST(OddModulusTest, AgreesWithGmp) {
    std::mt19937_64 rng(1);
    for (const u64 m : {u64(3), u64(13631489), u64(2327042503868417), (u64(1) << 62) - 57}) {
        const OddModulus modulus(m);
        u64 residues[2] = {};
        for (u64 n = 0; n < 40; n++) {
            std::vector<Word> A(n + 1);
            for (Word& w : A) w = n % 3 == 0 ? ~Word(0) : rng();
            mpz_class value;
            mpz_import(value.get_mpz_t(), n, -1, 8, 0, 0, A.data());
            const mpz_class right = value % reference::mpz_of(m);
            const u64 found = modulus.residue(A.data(), n);
            EXPECT_TRUE(modulus.equal(found, reference::u64_of(right))) << m << " " << n;
            residues[n % 2] = found;
            const mpz_class product =
                reference::mpz_of(residues[0]) * reference::mpz_of(residues[1]) % reference::mpz_of(m);
            EXPECT_TRUE(modulus.equal(modulus.product(residues[0], residues[1]), reference::u64_of(product)));
            EXPECT_TRUE(modulus.equal(modulus.add(m - 1, 5), 4 % m));
            EXPECT_TRUE(modulus.equal(modulus.add(2, -5), (m + m - 3 % m) % m));
        }
    }
}

}  // namespace
