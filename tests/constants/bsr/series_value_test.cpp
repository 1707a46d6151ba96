// The value of a series from its binary splitting: a series whose Q is a power of two, so that Q drops nearly
// all of its words and P reaches far below it.
#include "constants/bsr/series_value.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/common_p2b3.h"
#include "reference/mpz_words.h"
#include "support/changed_numbers.h"
#include "support/message_of.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using trel::BasicIntR;
using trel::BigFloat;
using trel::DoubleDouble;
using trel::i64;
using trel::MultiplyContext;
using trel::serial_context;
using trel::u64;
using trel::Word;

namespace {

constexpr u64 kBits = 32;
constexpr double kLn2 = 0.6931471805599453;

// The sum over k > 0 of 2^(-32 k) = 1 / (2^32 - 1).
class GeometricSeries final : public CommonP2B3::Series {
  public:
    explicit GeometricSeries(u64 precision)
        : Series({precision * 64 / kBits + 2, precision, 4, 10, false}, {1, 2, 1}) {}
    double log_size_to(u64 k) const override { return (kBits * kLn2 + 1e-9) * static_cast<double>(k); }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    DoubleDouble log_remaining(u64 k) const override {
        const double rest = (64 * static_cast<double>(precision()) - kBits * static_cast<double>(k)) * kLn2;
        return DoubleDouble(rest > 0 ? rest : 0);
    }
    double log_size_R(u64, u64) const override { return 1; }
    u64 zero_bits_Q(u64 a, u64 b) const override { return kBits * (b - a); }
    void term(u64, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override {
        P.set_word(1);
        Q.set_word(Word(1) << kBits);
        R.set_word(1);
    }
};

// 1 + 1 / (2^32 - 1) = 2^32 / (2^32 - 1)
TEST(SeriesValueTest, WordsBelowAStrippedDenominatorCount) {
    for (const u64 p : {3, 5, 10, 20, 50, 200, 1000}) {
        for (const u64 tds : {1, 2}) {
            const SeriesEvaluator<CommonP2B3::Family> plan(std::make_shared<const GeometricSeries>(p),
                                                           {1, 1, 1, 1, false}, {p, tds}, SeriesMemory::full);
            Scratch result(plan.needs().result_words * sizeof(Word)), memory(plan.needs().bytes);
            BigFloat x(result.view().word_pointer(), plan.needs().result_words);
            plan.run(MultiplyContext{{thread_framework(), tds}, memory.view(), nullptr}, trel::null_status(),
                     x);
            EXPECT_TRUE(result.guards_intact() && memory.guards_intact());

            // |x (2^32 - 1) - 2^32| in units of 2^(64 exp)
            ASSERT_LT(x.exp, 0);
            const mpz_class got = reference::to_mpz(x.T, x.L) * 4294967295UL;
            const mpz_class want = mpz_class(1) << (kBits + 64 * static_cast<u64>(-x.exp));
            const mpz_class error = abs(got - want);
            const u64 bits = error == 0 ? 0 : mpz_sizeinbase(error.get_mpz_t(), 2);
            EXPECT_LT(bits + 64 * p, 64 * static_cast<u64>(-x.exp) + kBits + 64)
                << "p=" << p << " tds=" << tds;
        }
    }
}

// The value of P/Q, one or two words each.
struct SmallValue {
    SmallValue(const Coefficients& c, i64 P_value, u64 Q_value, u64 p = 20) : plan(p, c, 1) {
        P.set_double(1, 0);
        P.mul_uW(serial_context(), static_cast<Word>(P_value < 0 ? -P_value : P_value));
        if (P.L != 0) P.set_sign(P_value > 0);
        Q.set_double(1, 0);
        Q.mul_uW(serial_context(), Q_value);
        Scratch memory(plan.needs().bytes);
        error = plan.run({serial_context(), memory.view(), nullptr}, trel::null_status(), P, Q, x);
    }
    // x D - N in units of 2^(-64 low)
    mpz_class difference(const mpz_class& N, const mpz_class& D, u64 low) const {
        mpz_class z = reference::magnitude_at(x, -static_cast<i64>(low));
        if (!x.sign) z = -z;
        return z * D - reference::shifted(1, static_cast<i64>(low)) * N;
    }

    SeriesValuePlan plan;
    std::vector<Word> words[3] = {std::vector<Word>(64), std::vector<Word>(64), std::vector<Word>(64)};
    BigFloat P{words[0].data(), 64}, Q{words[1].data(), 64}, x{words[2].data(), 64};
    kalvor::ErrorBound error;
};

TEST(SeriesValueTest, CoefficientsHaveSigns) {
    constexpr i64 kMost = INT64_MAX, kLeast = INT64_MIN;
    const std::vector<i64> coefficients = {1, -1, 2, -7, kMost, -kMost, kLeast};
    for (const i64 cP : coefficients) {
        for (const i64 cQ : {i64(0), i64(1), i64(-1), i64(-3), kMost, -kMost, kLeast}) {
            for (const i64 cD : {i64(1), i64(9), kMost}) {
                for (const int power : {1, -1}) {
                    for (const bool negative : {false, true}) {
                        for (const i64 P : {i64(3), i64(-3), kMost, i64(0)}) {
                            const u64 Q = 1000003;
                            const auto wide = [](i64 n) { return reference::mpz_of_signed(n); };
                            mpz_class N = (negative ? -1 : 1) * wide(cP) * wide(P) + wide(cQ) * wide(Q);
                            mpz_class D = wide(cD) * wide(Q);
                            SCOPED_TRACE(testing::Message() << cP << " " << cQ << " " << cD << " " << power
                                                            << " " << negative << " " << P);
                            const Coefficients c = {cP, cQ, static_cast<Word>(cD), power, negative};
                            if (N == 0 && power < 0) continue;
                            const SmallValue got(c, P, Q);
                            if (power < 0) std::swap(N, D);
                            const mpz_class off = abs(got.difference(N, D, 40)), limit = abs(D) << (64 * 21);
                            ASSERT_LE(off, limit) << "19 words behind the point";
                        }
                    }
                }
            }
        }
    }
}

TEST(SeriesValueTest, ANumeratorThatIsZero) {
    // 5 (3/5) - 3
    const SmallValue zero({5, -3, 7, 1, false}, 3, 5);
    EXPECT_EQ(zero.x.L, 0u);
    EXPECT_EQ(zero.x.residue, 0u);
    // Unknown below the precision of the terms that cancelled: 3 / 7 2^(-64 20) and roundings.
    EXPECT_GE(zero.error.limit, (kalvor::PowerOfTwo{-20, 0}));
    EXPECT_LE(zero.error.limit, (kalvor::PowerOfTwo{-20, 10}));
    for (const Coefficients& c : {Coefficients{5, -3, 7, -1, false}, Coefficients{5, 3, 7, -1, true},
                                  Coefficients{-5, 3, 7, -1, false}}) {
        EXPECT_EQ(kalvor_test::message_of<trel::ArithmeticException>(kalvor_test::Form::message,
                                                                     [&] { SmallValue(c, 3, 5); }),
                  "Divide by zero.");
    }
    // A sum of zero without a constant.
    EXPECT_EQ(SmallValue({5, 0, 7, 1, false}, 0, 5).x.L, 0u);
    EXPECT_EQ(kalvor_test::message_of<trel::ArithmeticException>(kalvor_test::Form::message,
                                                                 [&] {
                                                                     SmallValue({5, 0, 7, -1, false}, 0, 5);
                                                                 }),
              "Divide by zero.");
}

// A sum far above the constant, and far below it: the numerator is cut to the words of the larger one.
TEST(SeriesValueTest, SumsOfAnySize) {
    const u64 p = 20;
    std::mt19937_64 rng(5);
    for (const i64 place : {-60, -24, -23, -1, 0, 1, 5, 6, 7, 20, 23, 24, 25, 60}) {
        for (const i64 cQ : {i64(3), i64(-3)}) {
            const SeriesValuePlan plan(p, {7, cQ, 1, 1, false}, 1);
            std::vector<Word> words[3] = {std::vector<Word>(32), std::vector<Word>(32),
                                          std::vector<Word>(64)};
            BigFloat numbers[2];
            for (int i = 0; i < 2; i++) {
                for (Word& word : words[i]) word = rng() >> 1 | 1;
                numbers[i] = BigFloat(words[i].data(), 32);
                numbers[i].L = p + 2;
                numbers[i].exp = i == 0 ? place : 0;
                numbers[i].sign = true;
                numbers[i].seal(serial_context());
            }
            const i64 low = -200;
            const mpz_class P = reference::magnitude_at(numbers[0], low),
                            Q = reference::magnitude_at(numbers[1], low);
            Scratch memory(plan.needs().bytes);
            BigFloat x(words[2].data(), 64);
            const kalvor::ErrorBound error = plan.run({serial_context(), memory.view(), nullptr},
                                                      trel::null_status(), numbers[0], numbers[1], x);
            EXPECT_TRUE(memory.guards_intact());
            mpz_class got = reference::magnitude_at(x, low);
            if (!x.sign) got = -got;
            const mpz_class want =
                reference::shifted(1, -low) * (7 * P + mpz_class(static_cast<long>(cQ)) * Q) / Q;
            const mpz_class difference = abs(got - want);
            const mpz_class limit = (mpz_class(1) << static_cast<mp_bitcnt_t>(64 * (error.limit.words - low) +
                                                                              error.limit.bits)) +
                                    2;
            EXPECT_LE(difference, limit) << place;
            EXPECT_LE(error.limit, (kalvor::PowerOfTwo{x.mag() - static_cast<i64>(p), 12})) << place;
        }
    }
}

// What cancels in the numerator is missing in the value, and the bound says so.
TEST(SeriesValueTest, LostDigitsAreReported) {
    const kalvor::ErrorBound none = SmallValue({1, 1, 1, 1, false}, 1, 3).error;
    EXPECT_EQ(none.limit, (kalvor::PowerOfTwo{1 - 20, kValueErrorBits}));
    EXPECT_EQ(SmallValue({1, -4, 1, 1, false}, 1, 3).error.limit, none.limit);
    // 2^62 (2^62 / (2^62 + 1)) - 2^62 + 1 = 1 / (2^62 + 1): 124 bits lost.
    const u64 n = u64(1) << 62;
    const kalvor::ErrorBound lost =
        SmallValue({static_cast<i64>(n), 1 - static_cast<i64>(n), 1, 1, false}, static_cast<i64>(n), n + 1)
            .error;
    // The true bound is 2^62 2^(-64 20), to some bits.
    EXPECT_GE(lost.limit, (kalvor::PowerOfTwo{-20, 62}));
    EXPECT_LE(lost.limit, (kalvor::PowerOfTwo{-18, 20}));
}

// A bit of P, Q or of what the finishing step makes of them, changed when it is taken up.
TEST(SeriesValueTest, ChangedNumbersAreFound) {
    const u64 p = 200;
    const SeriesValuePlan plan(p, {3, 5, 7, 1, false}, 1);
    trel::RunMonitor monitor;
    const trel::ParallelContext parallel{thread_framework(), 1, &monitor};
    const auto run = [&](trel::ComputationStages& stages) {
        std::mt19937_64 rng(1);
        std::vector<Word> words[2] = {std::vector<Word>(p + 8), std::vector<Word>(p + 8)};
        BigFloat numbers[2];
        for (int i = 0; i < 2; i++) {
            for (Word& word : words[i]) word = rng() | 1;
            numbers[i] = BigFloat(words[i].data(), p + 8);
            numbers[i].L = p + 3;
            numbers[i].sign = true;
            numbers[i].seal(parallel);
        }
        Scratch result((p + 32) * sizeof(Word)), scratch(plan.needs().bytes);
        BigFloat x(result.words(), p + 32);
        monitor.stages = &stages;
        plan.run({parallel, scratch.view(), nullptr}, trel::null_status(), numbers[0], numbers[1], x);
        monitor.stages = nullptr;
        x.verify(parallel, "the value");
    };
    kalvor_test::OneChangedNumber counter;
    run(counter);
    ASSERT_GT(counter.count, 20u);
    std::mt19937_64 rng(2);
    for (u64 i = 0; i < counter.count; i++) {
        kalvor_test::OneChangedNumber change(i, rng());
        EXPECT_ANY_THROW(run(change)) << i << " of " << counter.count;
    }
}

}  // namespace
