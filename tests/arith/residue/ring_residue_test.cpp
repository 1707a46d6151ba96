// Residues modulo 2^(64 p) - 1 against GMP.
#include "arith/residue/ring_residue.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "platform/parallel/spawn_framework.h"

namespace {

using namespace trel;

mpz_class value_of(const Word* A, u64 n) {
    mpz_class v;
    mpz_import(v.get_mpz_t(), n, -1, 8, 0, 0, A);
    return v;
}
mpz_class modulus_of(u32 p) {
    return (mpz_class(1) << (64 * p)) - 1;
}
mpz_class value_of(const RingResidue& r) {
    return value_of(r.w, r.p) % modulus_of(r.p);
}

TEST(RingResidueTest, AgreesWithGmp) {
    std::mt19937_64 rng(1);
    SpawnFramework spawn(8);
    for (const u32 p : {3u, 8u, 16u}) {
        const mpz_class m = modulus_of(p);
        for (const u64 n : {0, 1, 2, 3, 47, 48, 511, 512, 513, 1000, 300000}) {
            std::vector<Word> A(n + 1);
            for (Word& w : A) w = n == 512 ? ~Word(0) : rng();
            const u64 at = rng() % 100;
            RingResidue r(p), by_tasks(p), none(p);
            r.add(A.data(), n, at);
            const mpz_class right = (value_of(A.data(), n) << (64 * at)) % m;
            EXPECT_TRUE(value_of(r) == right) << p << " " << n;
            by_tasks.add(ParallelContext{&spawn, 3}, A.data(), n, at);
            EXPECT_TRUE(by_tasks.equals(r));
            EXPECT_TRUE(value_of(r.times(r)) == mpz_class(right * right % m));
            for (const u64 bits : {0, 1, 64, 100, 128, 192, 511, 512, 1023, 1024, 64 * 1000 + 63}) {
                EXPECT_TRUE(value_of(r.rotated(bits)) == mpz_class((right << bits) % m)) << bits;
            }
            RingResidue difference = r;
            difference.subtract(r);
            EXPECT_TRUE(difference.equals(none));
            // any single bit is seen
            if (n == 0) continue;
            A[rng() % n] ^= u64(1) << rng() % 64;
            RingResidue changed(p);
            changed.add(A.data(), n, at);
            EXPECT_FALSE(changed.equals(r));
        }
    }
}

}  // namespace
