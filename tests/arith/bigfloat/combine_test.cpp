#include "arith/bigfloat/combine.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"

using namespace trel;

TEST(CombineTest, SumsAndDifferencesInPlace) {
    std::mt19937_64 rng(8);
    for (int round = 0; round < 3000; round++) {
        const u64 la = 1 + rng() % 8, lb = 1 + rng() % 8;
        std::vector<Word> a(40), b(lb);
        const int kind = rng() % 3;
        const auto word = [&] { return kind == 0 ? ~Word(0) : kind == 1 ? Word(0) : Word(rng()); };
        for (u64 i = 0; i < la; i++) a[i] = word();
        for (Word& w : b) w = word();
        a[la - 1] |= 1;
        b[lb - 1] |= 1;
        BigFloat A(a.data(), a.size()), B(b.data(), b.size());
        A.L = la;
        B.L = lb;
        A.exp = static_cast<i64>(rng() % 12);
        B.exp = static_cast<i64>(rng() % 12);
        A.sign = true;
        const i64 bottom = A.exp;
        const mpz_class x = reference::magnitude_at(A, bottom), y = reference::magnitude_at(B, bottom);
        const bool subtract = rng() % 2;
        if (subtract && y > x) {
            if (B.mag() > A.exp) {
                EXPECT_THROW(combine_ip(serial_context(), A, B, true), UnsupportedNegativeException);
            }
            continue;
        }
        combine_ip(serial_context(), A, B, subtract);
        ASSERT_EQ(reference::magnitude_at(A, bottom), subtract ? mpz_class(x - y) : mpz_class(x + y))
            << round;
        ASSERT_EQ(A.exp, bottom);
        if (A.L != 0) {
            ASSERT_NE(A.T[A.L - 1], 0u);
        }
    }
}
