#include "arith/newton/power_word.h"

#include <cmath>

#include "base/errors/exceptions.h"
#include "newton_test_support.h"

namespace trel {
namespace {

using namespace newton_test;

Integer power(Word w, u64 n) {
    Integer r;
    mpz_pow_ui(r.z, Integer(u64(w)).z, static_cast<unsigned long>(n));
    return r;
}

Workspace workspace(const PowerWordPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.scratch_bytes, plan.tds);
}

TEST(PowerWordTest, ExactPowers) {
    std::mt19937_64 rng(31);
    for (u64 n :
         {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 18, 19, 27, 64, 65, 100, 255, 256, 257, 1000, 1023, 4097})
        for (Word w :
             {Word(1), Word(2), Word(3), Word(5), Word(10), Word(12), Word(1) << 63, ~Word(0), Word(rng())}) {
            for (bool exact_plan : {false, true}) {
                const u64 p = PowerWordPlan::exact_words(w, n);
                const PowerWordPlan plan =
                    exact_plan ? PowerWordPlan::make_exact(w, n, 1) : PowerWordPlan::make(p, 1);
                ASSERT_EQ(plan.p, p);
                Workspace space = workspace(plan);
                Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, w, n, p,
                                           space.temporaries.get());
                ASSERT_TRUE(space.intact());
                ASSERT_TRUE(space.T.sign);
                ASSERT_NE(space.T.T[space.T.L - 1], 0u);
                ASSERT_GE(space.T.exp, 0);
                ASSERT_LE(static_cast<u64>(space.T.mag()), p);
                ASSERT_TRUE(Integer(space.T).shifted_words(space.T.exp) == power(w, n)) << w << "^" << n;
            }
        }
}

TEST(PowerWordTest, LargeExactPowersOfTen) {
    for (u64 n : {19 * 300, 31000, 19 * 4096}) {
        for (u64 tds : {1, 2, 7}) {
            const PowerWordPlan plan = PowerWordPlan::make_exact(10, n, tds);
            Workspace space = workspace(plan);
            Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, 10, n, plan.p,
                                       space.temporaries.get());
            ASSERT_TRUE(space.intact());
            EXPECT_EQ(space.T.exp, static_cast<i64>(n / 64));
            ASSERT_TRUE(Integer(space.T).shifted_words(space.T.exp) == power(10, n)) << n;
        }
    }
}

TEST(SlowPowerWordTest, LargeExactPower) {
    const u64 n = 19 * 100000;  // 69 thousand words
    const Integer want = power(5, n);
    for (u64 tds : {1, 2, 7}) {
        const PowerWordPlan plan = PowerWordPlan::make_exact(5, n, tds);
        Workspace space = workspace(plan);
        Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, 5, n, plan.p,
                                   space.temporaries.get());
        ASSERT_TRUE(space.intact());
        ASSERT_TRUE(Integer(space.T).shifted_words(space.T.exp) == want) << tds;
    }
}

void expect_truncated(Word w, u64 n, u64 p, u64 tds) {
    const PowerWordPlan plan = PowerWordPlan::make(p, tds);
    Workspace space = workspace(plan);
    Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, w, n, p, space.temporaries.get());
    ASSERT_TRUE(space.intact());
    const Integer want = power(w, n);
    const Integer got = Integer(space.T).shifted_words(space.T.exp);
    const double relative = got.minus(want).log2() - want.log2();
    ASSERT_LE(relative, -64.0 * static_cast<double>(p + 1) + std::log2(4.0 * static_cast<double>(n)))
        << "p=" << p << " " << w << "^" << n;
}

// Powers at every precision, in their planned memory.
TEST(PowerWordTest, UpTo300Words) {
    std::mt19937_64 rng(34);
    for (u64 p = 0; p <= 300; p++) {
        expect_truncated(rng() | 1, 1 + rng() % (2 * p + 2), p, 1);
        if (HasFatalFailure()) return;
    }
}

// Powers that are 1.2 to 2 times as long as what is kept of them.
TEST(PowerWordTest, LargePrecisions) {
    std::mt19937_64 rng(35);
    for (const u64 p : {1000, 10000}) {
        for (const u64 tds : {1, 2}) {
            for (const Word w : {~Word(0), Word(rng() | u64(1) << 63)}) {
                expect_truncated(w, p + p / 5 + rng() % (p * 4 / 5), p, tds);
                if (HasFatalFailure()) return;
            }
        }
    }
}
TEST(SlowPowerWordTest, HundredThousandWords) {
    expect_truncated(0x9e3779b97f4a7c15, 160000, 100000, 2);
}

// Truncated powers: relative error of a few units of the last word, times the number of steps that double it.
TEST(PowerWordTest, TruncatedPowers) {
    std::mt19937_64 rng(32);
    for (u64 p : {1, 2, 3, 9, 10, 20, 100})
        for (u64 n : {2, 3, 100, 1000, 4097})
            for (Word w : {Word(3), Word(10), ~Word(0), Word(rng() | 1)}) {
                const PowerWordPlan plan = PowerWordPlan::make(p, 1);
                Workspace space = workspace(plan);
                Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, w, n, p,
                                           space.temporaries.get());
                ASSERT_TRUE(space.intact());
                ASSERT_LE(space.T.L, p + 4);
                const Integer want = power(w, n);
                const Integer got = Integer(space.T).shifted_words(space.T.exp);
                const double relative = got.minus(want).log2() - want.log2();
                // p + 3 words kept of every product, the top one may hold a single bit; errors add up to
                // about n units
                ASSERT_LE(relative,
                          -64.0 * static_cast<double>(p + 1) + std::log2(4.0 * static_cast<double>(n)))
                    << "p=" << p << " " << w << "^" << n;
                ASSERT_LE(mpz_cmp(got.z, want.z), 0);
            }
}

TEST(PowerWordTest, SpecialCases) {
    const PowerWordPlan plan = PowerWordPlan::make(5, 1);
    Workspace space = workspace(plan);
    const auto run = [&](Word w, u64 n) {
        Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, w, n, 5, space.temporaries.get());
    };
    space.T.set_double(1.0, 0);
    run(7, 0);
    EXPECT_EQ(space.T.L, 1u);
    EXPECT_EQ(space.T.T[0], 1u);
    run(7, 1);
    EXPECT_EQ(space.T.T[0], 7u);
    run(0, 5);
    EXPECT_EQ(space.T.L, 0u);
    run(1, ~u64(0));
    EXPECT_EQ(space.T.L, 1u);
    EXPECT_EQ(space.T.T[0], 1u);
    EXPECT_EQ(space.T.exp, 0);
    run(2, 64 * 1000 + 5);
    EXPECT_EQ(space.T.L, 1u);
    EXPECT_EQ(space.T.T[0], 32u);
    EXPECT_EQ(space.T.exp, 1000);
}

TEST(PowerWordTest, ShowsTheExponentReached) {
    const auto shown = [](u64 n) {
        const PowerWordPlan plan = PowerWordPlan::make_exact(5, n, 1);
        Workspace space = workspace(plan);
        RecordingStatus status;
        Power_uW_uL_BigFloatR::run(plan, space.mp, status, space.T, 5, n, plan.p, space.temporaries.get());
        EXPECT_EQ(status.depth, 0u);
        std::string exponents;
        for (const std::string& frame : status.frames) {
            EXPECT_EQ(frame.rfind("Powering: ", 0), 0u) << frame;
            exponents += frame.substr(10) + " ";
        }
        return exponents;
    };
    EXPECT_EQ(shown(1), "");
    EXPECT_EQ(shown(2), "1 ");  // one squaring and no multiplication
    EXPECT_EQ(shown(7), "1 2 3 6 ");
    EXPECT_EQ(shown(17), "1 2 4 8 16 ");
    EXPECT_EQ(shown(2500), "1 2 4 8 9 18 19 38 39 78 156 312 624 625 1,250 ");
}

TEST(PowerWordTest, ExponentLimit) {
    const PowerWordPlan plan = PowerWordPlan::make(2, 1);
    Workspace space = workspace(plan);
    const i64 limit = 0x1fffffffffffffff;
    const auto run = [&](Word w, u64 n) {
        Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), space.T, w, n, 2, space.temporaries.get());
    };
    run(Word(1) << 32, 2 * static_cast<u64>(limit));
    EXPECT_EQ(space.T.exp, limit);
    run(~Word(0), static_cast<u64>(limit));
    EXPECT_LE(space.T.exp, limit);
    for (auto [w, n] : {std::pair<Word, u64>(~Word(0), (u64(1) << 61) + 64),
                        {Word(1) << 63, ~u64(0)},
                        {Word(1) << 32, u64(1) << 62},
                        {(Word(1) << 63) + 1, ~u64(0)}})
        try {
            run(w, n);
            ADD_FAILURE() << w << "^" << n;
        } catch (const ExponentOverflowException& e) {
            EXPECT_EQ(e.function, "Power_uW_uL_BigFloatR::run()");
            EXPECT_EQ(e.limit, limit);
            EXPECT_GT(e.value, limit);
        }
}

TEST(PowerWordTest, PlanLimits) {
    const PowerWordPlan plan = PowerWordPlan::make(10, 2);
    EXPECT_EQ(plan.result, 14u);
    Workspace space = workspace(plan);
    const auto run = [&](const PowerWordPlan& used, u64 n, u64 p, u64 tds) -> std::string {
        try {
            Power_uW_uL_BigFloatR::run(used, space.mp.with_tds(tds), null_status(), space.T, 3, n, p,
                                       space.temporaries.get());
        } catch (const LimitExceededException& e) {
            return e.function + " " + e.message + " " + std::to_string(e.limit) + " " +
                   std::to_string(e.attempted);
        }
        return "";
    };
    EXPECT_EQ(run(plan, 5, 10, 2), "");
    EXPECT_EQ(run(plan, 5, 11, 2), "Power_uW_uL_BigFloatR::run() Precision 10 11");
    EXPECT_EQ(run(plan, 5, 10, 3), "Power_uW_uL_BigFloatR::run() Task Decomposition 2 3");
    // a plan for exact powers has no scratch for truncated ones
    const PowerWordPlan exact = PowerWordPlan::make_exact(3, 300, 2);
    ASSERT_EQ(exact.p, 9u);
    EXPECT_EQ(run(exact, 300, 9, 1), "");
    EXPECT_EQ(run(exact, 1200, 9, 1).rfind("Power_uW_uL_BigFloatR::run() Precision 12 ", 0), 0u);
    BigFloat small(space.result.get(), 13);
    EXPECT_THROW(
        Power_uW_uL_BigFloatR::run(plan, space.mp, null_status(), small, 3, 5, 10, space.temporaries.get()),
        BufferTooSmallException);
}

TEST(PowerWordTest, ExactWordsCoverThePower) {
    std::mt19937_64 rng(33);
    for (int i = 0; i < 300; i++) {
        const Word w = (rng() >> rng() % 64) | 2;
        const u64 n = 1 + rng() % 500;
        const u64 words = PowerWordPlan::exact_words(w, n);
        const u64 needed = (mpz_sizeinbase(power(w, n).z, 2) + 63) / 64;
        ASSERT_GE(words, needed) << w << "^" << n;
        ASSERT_LE(words, needed + 1) << w << "^" << n;
    }
    EXPECT_THROW(PowerWordPlan::exact_words(~Word(0), ~u64(0)), LimitExceededException);
}

}  // namespace
}  // namespace trel
