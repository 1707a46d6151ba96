#include "arith/newton/power.h"

#include <algorithm>
#include <cmath>

#include "newton_test_support.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace newton_test;

Workspace workspace(const PowerFloatPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.scratch_bytes, plan.tds);
}

// log2 of |T - A^n| / |A^n|
double relative_error(const BigFloat& T, const BigFloat& A, u64 n) {
    Integer want;
    mpz_pow_ui(want.z, Integer(A).z, static_cast<unsigned long>(n));
    const i64 exp = static_cast<i64>(n) * A.exp;
    const i64 low = std::min(T.exp, exp);
    const Integer scaled = want.shifted_words(exp - low);
    return Integer(T).shifted_words(T.exp - low).minus(scaled).log2() - scaled.log2();
}

void expect_power(const BigFloat& A, u64 n, u64 p, u64 tds, const std::string& what) {
    const PowerFloatPlan plan = PowerFloatPlan::make(p, tds);
    Workspace w = workspace(plan);
    Power_BF_uL_BigFloatR::run(plan, w.mp, null_status(), w.T, A, n, p, w.buffer());
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_GT(w.T.L, 0u) << what;
    ASSERT_LE(w.T.L, p + 3) << what;
    ASSERT_NE(w.T.T[w.T.L - 1], 0u) << what;
    ASSERT_EQ(w.T.sign, A.sign || n % 2 == 0) << what;
    // p + 3 words kept of every product, the top one may hold a single bit; errors add up to about n units,
    // and those of the base's cut
    ASSERT_LE(relative_error(w.T, A, n),
              -64.0 * static_cast<double>(p + 1) + std::log2(8.0 * static_cast<double>(n)))
        << what;
}

const u64 kExponents[] = {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 33};

void expect_all_shapes(u64 p, u64 tds, std::mt19937_64& rng) {
    for (u64 i = 0; i < static_cast<u64>(Shape::count); i++) {
        const u64 length = operand_length(p, rng);
        const Number A(make_words(shape_of(i), length, rng), static_cast<i64>(rng() % 9) - 4, rng() % 2 != 0);
        const u64 n = kExponents[rng() % std::size(kExponents)];
        expect_power(A.value, n, p, tds,
                     "p=" + std::to_string(p) + " n=" + std::to_string(n) + " shape=" + std::to_string(i) +
                         " length=" + std::to_string(length));
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(PowerTest, AllShapesAtAllPrecisions) {
    std::mt19937_64 rng(51);
    for (u64 p = 0; p <= 300; p += kalvor_test::thinned(5)) {
        expect_all_shapes(p, 1, rng);
        if (HasFatalFailure()) return;
    }
}

TEST(PowerTest, LargePrecisions) {
    std::mt19937_64 rng(52);
    for (u64 p : {1000, 1001}) expect_all_shapes(p, 2, rng);
    const Number A(make_words(Shape::random, 10000, rng));
    expect_power(A.value, 3, 10000, 1, "3");
}

TEST(SlowPowerTest, LargePrecisions) {
    std::mt19937_64 rng(53);
    for (u64 tds : {1, 2, 7}) {
        expect_all_shapes(10000, tds, rng);
        const Number A(make_words(Shape::random, 100000, rng)), B(make_words(Shape::ones, 100005, rng));
        expect_power(A.value, 3, 100000, tds, "random");
        expect_power(B.value, 5, 100000, tds, "ones");
    }
}

// Short bases: exact while all words fit.
TEST(PowerTest, ExactPowers) {
    std::mt19937_64 rng(54);
    for (u64 length : {1, 2, 5, 9, 40})
        for (u64 n : {1, 2, 3, 4, 5, 6, 7, 8, 9, 17, 100}) {
            const Number A(make_words(Shape::random, length, rng), -3, false);
            const u64 p = length * n;
            const PowerFloatPlan plan = PowerFloatPlan::make(p, 1);
            Workspace w = workspace(plan);
            Power_BF_uL_BigFloatR::run(plan, w.mp, null_status(), w.T, A.value, n, p, w.buffer());
            ASSERT_TRUE(w.intact());
            ASSERT_LT(relative_error(w.T, A.value, n), -1e17) << length << "^" << n;
        }
}

TEST(PowerTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(55);
    for (u64 p : {9, 40, 100, 1500, 8000})
        for (u64 length : {u64(1), p + 3}) {
            const Number A(make_words(Shape::random, length, rng));
            std::vector<Word> first;
            for (u64 tds : {1, 2, 7}) {
                const PowerFloatPlan plan = PowerFloatPlan::make(p, tds);
                Workspace w = workspace(plan);
                Power_BF_uL_BigFloatR::run(plan, w.mp, null_status(), w.T, A.value, 13, p, w.buffer());
                EXPECT_TRUE(w.intact());
                const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
                if (first.empty()) first = words;
                EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
            }
        }
}

TEST(PowerTest, ShowsTheExponentReached) {
    const auto shown = [](u64 n, u64 length) {
        std::mt19937_64 rng(56);
        const Number A(make_words(Shape::random, length, rng));
        const PowerFloatPlan plan = PowerFloatPlan::make(40, 1);
        Workspace w = workspace(plan);
        RecordingStatus status;
        Power_BF_uL_BigFloatR::run(plan, w.mp, status, w.T, A.value, n, 40, w.buffer());
        EXPECT_EQ(status.depth, 0u);
        std::string exponents;
        for (const std::string& frame : status.frames) {
            EXPECT_EQ(frame.rfind("Powering: ", 0), 0u) << frame;
            exponents += frame.substr(10) + " ";
        }
        return exponents;
    };
    for (u64 length : {1, 50}) {
        EXPECT_EQ(shown(1, length), "");
        EXPECT_EQ(shown(2, length), "1 ");  // one squaring and no multiplication
        EXPECT_EQ(shown(7, length), "1 2 3 6 ");
        EXPECT_EQ(shown(17, length), "1 2 4 8 16 ");
        EXPECT_EQ(shown(2500, length), "1 2 4 8 9 18 19 38 39 78 156 312 624 625 1,250 ");
    }
}

TEST(PowerTest, SpecialCases) {
    const PowerFloatPlan plan = PowerFloatPlan::make(5, 1);
    Workspace w = workspace(plan);
    const Number zero({}), seven({7}), long_number({1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    const auto run = [&](const Number& A, u64 n) {
        Power_BF_uL_BigFloatR::run(plan, w.mp, null_status(), w.T, A.value, n, 5, w.buffer());
    };
    w.T.set_double(1.0, 0);
    run(seven, 0);
    EXPECT_EQ(w.T.L, 1u);
    EXPECT_EQ(w.T.T[0], 1u);
    run(seven, 1);
    EXPECT_EQ(w.T.T[0], 7u);
    run(long_number, 1);
    EXPECT_EQ(w.T.L, 8u);
    EXPECT_EQ(w.T.exp, 2);
    EXPECT_EQ(w.T.T[0], 3u);
    run(zero, 5);
    EXPECT_EQ(w.T.L, 0u);
}

TEST(PowerTest, ExponentLimit) {
    const PowerFloatPlan plan = PowerFloatPlan::make(2, 1);
    Workspace w = workspace(plan);
    const i64 limit = 0x1fffffffffffffff;
    const auto run = [&](i64 exp, u64 n) {
        const Number A({3}, exp);
        Power_BF_uL_BigFloatR::run(plan, w.mp, null_status(), w.T, A.value, n, 2, w.buffer());
    };
    run(limit / 7, 7);
    EXPECT_EQ(w.T.exp, limit / 7 * 7);
    run(-limit / 7, 7);
    EXPECT_EQ(w.T.exp, -limit / 7 * 7);
    for (auto [exp, n] :
         {std::pair<i64, u64>(limit / 7 + 1, 7), {limit, 2}, {-limit / 3 - 1, 3}, {1, ~u64(0)}})
        try {
            run(exp, n);
            ADD_FAILURE() << exp << " " << n;
        } catch (const ExponentOverflowException& e) {
            EXPECT_EQ(e.function, "Power_BF_uL_BigFloatR()");
            EXPECT_EQ(e.limit, limit);
            EXPECT_GT(std::abs(e.value), limit);
            EXPECT_EQ(e.value > 0, exp > 0);
        }
}

TEST(PowerTest, PlanLimits) {
    const PowerFloatPlan plan = PowerFloatPlan::make(10, 2);
    EXPECT_EQ(plan.result, 14u);
    Workspace w = workspace(plan);
    const Number three({3});
    const auto run = [&](u64 p, u64 tds) -> std::string {
        try {
            Power_BF_uL_BigFloatR::run(plan, w.mp.with_tds(tds), null_status(), w.T, three.value, 5, p,
                                       w.buffer());
        } catch (const LimitExceededException& e) {
            return e.function + " " + e.message + " " + std::to_string(e.limit) + " " +
                   std::to_string(e.attempted);
        }
        return "";
    };
    EXPECT_EQ(run(10, 2), "");
    EXPECT_EQ(run(11, 2), "Power_BF_uL_BigFloatR::run() Precision 10 11");
    EXPECT_EQ(run(10, 3), "Power_BF_uL_BigFloatR::run() Task Decomposition 2 3");
    BigFloat small(w.result.get(), 13);
    try {
        Power_BF_uL_BigFloatR::run(plan, w.mp, null_status(), small, three.value, 5, 10, w.buffer());
        ADD_FAILURE();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "Power_BF_uL_BigFloatR::run()");
        EXPECT_EQ(e.required_size, 14u);
    }
}

TEST(PowerTest, LargePowersOfEitherSign) {
    std::mt19937_64 rng(57);
    for (u64 p : {3, 9, 10, 60, 300}) {
        const SignedPowerPlan plan = SignedPowerPlan::make(p, 1);
        const Number A(make_words(Shape::random, p, rng), -2, false);
        for (i64 n : {0, 1, 2, 3, 10, -1, -2, -3, -7}) {
            Workspace w(plan.result, plan.temporaries, plan.scratch_bytes);
            RecordingStatus status;
            large_power(plan, w.mp, status, w.T, A.value, n, w.buffer());
            ASSERT_TRUE(w.intact());
            EXPECT_EQ(status.depth, 0u);
            std::vector<std::string> sections;
            if (n != 0) sections.push_back(std::abs(n) == 2 ? "Squaring..." : "Powering...");
            if (n < 0) sections.push_back("Inverting...");
            EXPECT_EQ(status.sections, sections);
            EXPECT_EQ(w.T.sign, n % 2 == 0);
            if (n >= 0) {
                EXPECT_LE(relative_error(w.T, A.value, static_cast<u64>(n)),
                          -64.0 * static_cast<double>(p + 1) + 6.5);
                continue;
            }
            EXPECT_EQ(status.count("Iterating: "), 1u);
            // T A^|n| = 1
            Integer power;
            mpz_pow_ui(power.z, Integer(A.value).z, static_cast<unsigned long>(-n));
            const i64 exp = w.T.exp - n * A.value.exp;
            ASSERT_LE(exp, 0);
            const Integer difference = Integer(w.T).times(power).minus(Integer::power_of_word(-exp));
            EXPECT_LE(difference.log2() + 64.0 * static_cast<double>(exp),
                      -64.0 * static_cast<double>(p) + 6.5)
                << p << " " << n;
        }
    }
}

}  // namespace
}  // namespace trel
