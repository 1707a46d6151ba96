#include "arith/kernels/shoup_divider.h"

#include <gmp.h>

#include <random>

#include "base/errors/exceptions.h"
#include "kernel_fixture.h"
#include "reference/mpz_u64.h"

namespace trel {
namespace {

using reference::pattern;
using reference::Words;

// Divisors at the edges and random ones of every length.
std::vector<Word> divisors() {
    std::vector<Word> d = {3,
                           5,
                           7,
                           10,
                           (Word(1) << 63) - 1,
                           (Word(1) << 63) - 2,
                           (Word(1) << 62) + 1,
                           (Word(1) << 62) - 1,
                           (Word(1) << 32) + 1,
                           0xffffffff,
                           10000000000000000000u / 2};
    std::mt19937_64 rng(9);
    for (int i = 0; i < 200; i++) {
        const Word w = rng() >> (1 + rng() % 61) | 1;
        if (w > 2) d.push_back(w);
    }
    return d;
}

TEST(ShoupDividerTest, RefusedDivisors) {
    const auto message = [](Word d) -> std::string {
        try {
            ShoupDivider divider(d);
        } catch (const InvalidParametersException& e) {
            EXPECT_EQ(e.function, "ShoupDivider()");
            return e.message;
        }
        return "";
    };
    EXPECT_EQ(message(Word(1) << 63), "Divisor is too large.");
    EXPECT_EQ(message(~Word(0)), "Divisor is too large.");
    for (int k = 0; k < 63; k++) EXPECT_EQ(message(Word(1) << k), "Untested with power-of-two.");
    EXPECT_EQ(message(0), "Untested with power-of-two.");
    EXPECT_EQ(message((Word(1) << 63) - 1), "");
    EXPECT_EQ(message(3), "");
}

TEST(ShoupDividerTest, ReciprocalIsTheFloor) {
    for (Word d : divisors()) {
        const ShoupDivider divider(d);
        mpz_t n, q;
        mpz_inits(n, q, nullptr);
        mpz_setbit(n, 128);
        mpz_fdiv_q(q, n, reference::mpz_of(d).get_mpz_t());
        Word words[2] = {};
        mpz_export(words, nullptr, -1, 8, 0, 0, q);
        EXPECT_EQ(divider.reciprocal_low(), words[0]) << d;
        EXPECT_EQ(divider.reciprocal_high(), words[1]) << d;
        EXPECT_EQ(divider.divisor(), d);
        EXPECT_EQ(divider.negated() + d, 0u);
        mpz_clears(n, q, nullptr);
    }
}

TEST(ShoupDividerTest, OneStepAndModularProducts) {
    std::mt19937_64 rng(1);
    for (Word d : divisors()) {
        const ShoupDivider divider(d);
        for (int i = 0; i < 500; i++) {
            const Word r = i % 4 == 0 ? d - 1 : i % 4 == 1 ? 0 : rng() % d;
            const Word a = i % 3 == 0 ? ~Word(0) - rng() % 4 : i % 3 == 1 ? rng() % 4 : rng();
            const u128 x = u128(r) << 64 | a;
            Word rest = r;
            ASSERT_EQ(divider.step(rest, a), Word(x / d)) << d << " " << r << " " << a;
            ASSERT_EQ(rest, Word(x % d));
            const Word b = rng() % d;
            ASSERT_EQ(divider.mulmod(r, b), Word(u128(r) * b % d));
        }
        Word power = 1;
        const Word radix = Word((u128(1) << 64) % d);
        for (u64 n = 0; n < 40; n++, power = Word(u128(power) * radix % d)) {
            ASSERT_EQ(divider.pow2_64_mod(n), power) << d << " " << n;
        }
    }
}

// Dividends where the estimate is at its worst: multiples of d and their neighbours, of which the estimate
// may fall one short, with words of all ones and without. Long divisors leave the least room.
TEST(ShoupDividerTest, StepsBesideMultiplesOfLongDivisors) {
    std::mt19937_64 rng(4);
    for (int bits = 33; bits <= 63; bits++) {
        for (int i = 0; i < 30; i++) {
            const Word top = Word(1) << (bits - 1);
            const Word d = i == 0   ? top | (top - 1)
                           : i == 1 ? top + 1
                           : i == 2 ? top | (top >> 1)
                                    : top | (rng() % top);
            if (d == top) continue;
            const ShoupDivider divider(d);
            for (int k = 0; k < 300; k++) {
                const Word q = k % 3 == 0 ? ~Word(0) - rng() % 8 : k % 3 == 1 ? rng() : rng() >> rng() % 64;
                const Word offset = k % 4 == 0 ? 0 : k % 4 == 1 ? d - 1 : k % 4 == 2 ? 1 : rng() % d;
                const u128 x = u128(q) * d + offset;
                const Word ones_r = k < 2 ? d - 1 : rng() % d;
                for (const u128 n : {x, u128(ones_r) << 64 | ~Word(0)}) {
                    Word rest = Word(n >> 64);
                    ASSERT_EQ(divider.step(rest, Word(n)), Word(n / d))
                        << d << " " << Word(n >> 64) << " " << Word(n);
                    ASSERT_EQ(rest, Word(n % d)) << d;
                }
            }
        }
    }
}

// Against GMP's division by one word.
void check_division(const ShoupDivider& divider, const Words& a, Word r, const ParallelContext& parallel) {
    const u64 n = a.size();
    const Word d = divider.divisor();
    Words dividend = a, want(n + 1);
    dividend.push_back(r);
    const Word rest = mpn_divrem_1(reinterpret_cast<mp_ptr>(want.data()), 0,
                                   reinterpret_cast<mp_srcptr>(dividend.data()), mp_size_t(n + 1), d);
    ASSERT_EQ(want[n], 0u);
    want.pop_back();
    Words q(n, 77);
    ASSERT_EQ(bp_div_np(divider, q.data(), a.data(), n, r, parallel), rest)
        << n << " " << d << " " << parallel.tds;
    ASSERT_EQ(q, want) << n << " " << d << " " << parallel.tds;
    q = a;
    ASSERT_EQ(bp_div_np(divider, q.data(), q.data(), n, r, parallel), rest);
    ASSERT_EQ(q, want);

    std::fill(dividend.begin(), dividend.end() - 1, 0);
    want.resize(n + 1);
    const Word rest_ex = mpn_divrem_1(reinterpret_cast<mp_ptr>(want.data()), 0,
                                      reinterpret_cast<mp_srcptr>(dividend.data()), mp_size_t(n + 1), d);
    want.pop_back();
    ASSERT_EQ(bp_div_ex(divider, q.data(), n, r, parallel), rest_ex) << n << " " << d << " " << parallel.tds;
    ASSERT_EQ(q, want) << n << " " << d << " " << parallel.tds;
}

TEST(ShoupDividerTest, SerialDivision) {
    std::mt19937_64 rng(2);
    for (Word d : divisors()) {
        const ShoupDivider divider(d);
        for (u64 n : {0, 1, 2, 17, 100}) {
            check_division(divider, pattern(n, rng), n % 2 ? d - 1 : rng() % d, serial_context());
            if (HasFatalFailure()) return;
        }
    }
}

// Dividends of all ones, with words of zeros below, by long divisors.
TEST(ShoupDividerTest, OnesByLongDivisors) {
    std::mt19937_64 rng(5);
    std::vector<Word> long_divisors = {1539025054188903444};
    for (int bits = 56; bits <= 63; bits++) {
        for (int i = 0; i < 40; i++)
            long_divisors.push_back((Word(1) << (bits - 1)) + 1 + rng() % (Word(1) << (bits - 2)));
    }
    for (Word d : long_divisors) {
        const ShoupDivider divider(d);
        Words ones(21, 0);
        std::fill(ones.begin() + 12, ones.end(), ~Word(0));
        check_division(divider, ones, 0, serial_context());
        check_division(divider, Words(60, ~Word(0)), d - 1, serial_context());
        if (HasFatalFailure()) return;
    }
}

TEST(ShoupDividerTest, LongDivisorsInTasks) {
    std::mt19937_64 rng(6);
    ReverseFramework reverse;
    for (int i = 0; i < 40; i++) {
        const Word d = (rng() >> 1 | Word(1) << 62) | 1;
        check_division(ShoupDivider(d), i % 2 ? pattern(5000, rng) : Words(5000, ~Word(0)), rng() % d,
                       {&reverse, 4});
        if (HasFatalFailure()) return;
    }
}

TEST(ShoupDividerTest, DivisionInTasks) {
    std::mt19937_64 rng(3);
    ReverseFramework reverse;
    ThreadFramework threads;
    for (const ParallelContext& parallel : {ParallelContext{&reverse, 2}, ParallelContext{&reverse, 7},
                                            ParallelContext{&reverse, 64}, ParallelContext{&threads, 3}}) {
        for (u64 n : {999, 1000, 1001, 1999, 2000, 2001, 5000, 70001}) {
            const u64 before = reverse.dispatches;
            for (int round = 0; round < 4; round++) {
                const Word d = divisors()[rng() % 60];
                check_division(ShoupDivider(d), pattern(n, rng), round ? rng() % d : d - 1, parallel);
                if (HasFatalFailure()) return;
            }
            if (parallel.framework == &reverse) {
                EXPECT_EQ(reverse.dispatches > before, n > 1000 && parallel.tds > 2)
                    << n << " " << parallel.tds;
            }
        }
    }
}

TEST(ShoupDividerTest, RemainderMustBeBelowTheDivisor) {
    ReverseFramework framework;
    const ShoupDivider divider(10);
    Words q(5000), a(5000, 1);
    const auto function = [&](auto&& call) -> std::string {
        try {
            call();
        } catch (const InvalidParametersException& e) {
            EXPECT_EQ(e.message, "Top word is too large.");
            return e.function;
        }
        return "";
    };
    EXPECT_EQ(function([&] { divmod(divider, q.data(), a.data(), 5, 10); }), "divmod(A)");
    EXPECT_EQ(function([&] { divmod(divider, q.data(), 5, 11); }), "divmod()");
    EXPECT_EQ(function([&] {
                  bp_div_np(divider, q.data(), a.data(), 5000, 10, {&framework, 8});
              }),
              "divmod(A)");
    EXPECT_EQ(function([&] { bp_div_ex(divider, q.data(), 5000, 10, {&framework, 8}); }), "divmod()");
    EXPECT_EQ(function([&] { divmod(divider, q.data(), a.data(), 5, 9); }), "");
}

// A framework that flips a bit of the dividend between the two passes: what a memory fault looks like.
class FaultyFramework final : public BasicParallelizer {
  public:
    explicit FaultyFramework(Word* victim) : victim_(victim) {}
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        for (u64 i = begin; i < end; i++) action.run(i);
        *victim_ ^= 1;
    }
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        a.run(0);
        b.run(0);
    }

  private:
    Word* victim_;
};

TEST(ShoupDividerTest, FaultBetweenThePassesIsSeen) {
    Words a(4000, 123456789), q(4000);
    for (u64 at : {0, 1500, 3999}) {
        FaultyFramework framework(&a[at]);
        try {
            bp_div_np(ShoupDivider(1000003), q.data(), a.data(), a.size(), 0, {&framework, 4});
            ADD_FAILURE() << "fault at " << at << " not seen";
        } catch (const AlgorithmFailedException& e) {
            EXPECT_EQ(e.message, "Mismatching block residuals.");
            EXPECT_EQ(e.function, "bp_div_np(A)");
        }
    }
}

}  // namespace
}  // namespace trel
