#include "arith/newton/log_agm.h"

#include <mpfr.h>

#include <limits>

#include "newton_test_support.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

struct Mpfr {
    explicit Mpfr(u64 words) { mpfr_init2(f, static_cast<mpfr_prec_t>(64 * words)); }
    ~Mpfr() { mpfr_clear(f); }
    Mpfr(const Mpfr&) = delete;
    Mpfr& operator=(const Mpfr&) = delete;
    void set(const BigFloat& A) {
        mpfr_set_z_2exp(f, Integer(A).z, 64 * static_cast<long>(A.exp), MPFR_RNDN);
        if (!A.sign) mpfr_neg(f, f, MPFR_RNDN);
    }
    mpfr_t f;
};

// floor(f 2^(64 words)) as words of a Number at -words.
std::vector<Word> words_of(mpfr_t f, u64 words) {
    mpz_t z;
    mpz_init(z);
    mpfr_mul_2ui(f, f, 64 * words, MPFR_RNDN);
    mpfr_get_z(z, f, MPFR_RNDD);
    std::vector<Word> result(words + 1, 0);
    mpz_export(result.data(), nullptr, -1, sizeof(Word), 0, 0, z);
    mpz_clear(z);
    return result;
}

// Memory of exactly the planned size and the two constants.
struct LogRun {
    LogRun(const BigFloat& x, u64 p, u64 tds) : plan(LogAgmPlan::make(p, tds)), space(plan.needs(), tds) {
        Mpfr f(plan.mean.p + 6);
        mpfr_const_pi(f.f, MPFR_RNDN);
        const Number pi(words_of(f.f, plan.mean.p + 2), -static_cast<i64>(plan.mean.p) - 2);
        mpfr_const_log2(f.f, MPFR_RNDN);
        const Number log2(words_of(f.f, plan.mean.p + 2), -static_cast<i64>(plan.mean.p) - 2);
        Log_AGM_BigFloatR::run(plan, space.context, status, space.T, x, pi.value, log2.value);
    }

    RecordingStatus status;
    LogAgmPlan plan;
    Workspace space;
};

void expect_log(const BigFloat& x, u64 p, u64 tds, const std::string& what) {
    const LogRun run(x, p, tds);
    ASSERT_TRUE(run.space.intact()) << what;
    Mpfr want(p + 60), got(p + 60);
    {
        Mpfr exact(std::max<u64>(x.L, 1) + 2);
        exact.set(x);
        mpfr_log(want.f, exact.f, MPFR_RNDN);
    }
    got.set(run.space.T);
    mpfr_sub(got.f, got.f, want.f, MPFR_RNDN);
    if (mpfr_zero_p(got.f)) return;
    ASSERT_FALSE(mpfr_zero_p(want.f)) << what;
    const long bits = mpfr_get_exp(got.f) - std::max<long>(mpfr_get_exp(want.f), 0);
    ASSERT_LE(bits, -64 * static_cast<long>(p)) << what;
}

TEST(LogAgmTest, SmallIntegersAndFractions) {
    for (u64 p = 1; p <= 100; p += p < 30 ? 1 : kalvor_test::thinned(9)) {
        for (const Word w : {Word(2), Word(3), Word(10), ~Word(0)}) {
            for (const i64 exp : {-2, -1, 0, 3}) {
                const Number x({w}, exp);
                expect_log(x.value, p, 1 + p % 2,
                           std::to_string(w) + " exp=" + std::to_string(exp) + " p=" + std::to_string(p));
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(LogAgmTest, AllShapes) {
    std::mt19937_64 rng(81);
    for (const u64 p : {3, 8, 9, 10, 11, 40, 150}) {
        for (u64 i = 0; i < static_cast<u64>(Shape::count); i++) {
            const u64 n = operand_length(p, rng);
            const Number x(make_words(shape_of(i), n, rng),
                           -static_cast<i64>(n) + static_cast<i64>(rng() % 3));
            expect_log(x.value, p, 1, "p=" + std::to_string(p) + " shape=" + std::to_string(i));
            if (HasFatalFailure()) return;
        }
    }
}

// The logarithms of 1 + 2^-1000 and 1 - 2^-1000 begin fifteen words below the point. They are as exact there
// as others are.
TEST(LogAgmTest, NumbersNearOne) {
    std::vector<Word> above(17, 0), below(16, ~Word(0));
    above[16] = 1;
    above[0] = Word(1) << 24;
    below[0] = Word(0) - (Word(1) << 24);
    const Number x(above, -16), y(below, -16);
    for (const u64 p : {3, 10, 40}) {
        expect_log(x.value, p, 1, "above, p=" + std::to_string(p));
        expect_log(y.value, p, 1, "below, p=" + std::to_string(p));
    }
}

TEST(LogAgmTest, HugeAndTinyNumbers) {
    for (const u64 p : {3, 20}) {
        for (const i64 exp : {-15625, 15625}) {  // 2^(+-10^6)
            const Number x({1}, exp);
            expect_log(x.value, p, 1, "exp=" + std::to_string(exp));
        }
    }
    const Number x({5}, std::numeric_limits<i64>::min() / 8);
    EXPECT_THROW(LogRun(x.value, 3, 1), ExponentOverflowException);
}

TEST(LogAgmTest, OneIsZero) {
    const Number one({1}), longer({0, 0, 1}, -2);
    for (const BigFloat* x : {&one.value, &longer.value}) EXPECT_EQ(LogRun(*x, 20, 1).space.T.L, 0u);
}

TEST(LogAgmTest, Refusals) {
    const Number zero({}), negative({3}, 0, false), two({2});
    EXPECT_EQ(thrown([&] { LogRun(zero.value, 20, 1); }),
              "InvalidParametersException Log_AGM_BigFloatR::run() Log(0) is negative infinity.");
    EXPECT_EQ(thrown([&] { LogRun(negative.value, 20, 1); }),
              "InvalidParametersException Log_AGM_BigFloatR::run() Log of a negative number is complex.");
}

TEST(LogAgmTest, AnnouncesItself) {
    const Number two({2});
    const LogRun run(two.value, 20, 1);
    EXPECT_EQ(run.status.sections, (std::vector<std::string>{"Scaling...", "AGM(1,x)...", "Large Multiply...",
                                                             "log2", "Finishing Log(x)..."}));
    EXPECT_EQ(run.status.count("Multiplying: "), 1u);
    EXPECT_EQ(run.status.count("Iterating: "), 0u);
    EXPECT_EQ(run.status.frames.back(), "Adding: ");
    EXPECT_EQ(run.status.depth, 0u);
}

TEST(SlowLogAgmTest, AHundredThousandDigits) {
    const Number two({2}), ten({10});
    expect_log(two.value, 5193, 2, "2");
    expect_log(ten.value, 5193, 1, "10");
}

}  // namespace
}  // namespace trel
