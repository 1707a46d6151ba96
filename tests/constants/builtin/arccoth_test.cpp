#include "constants/builtin/arccoth.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "constants/bsr/block_run.h"
#include "support/changed_numbers.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::Form;
using kalvor_test::kReferenceWords;
using kalvor_test::message_of;
using trel::ExactFloat;
using trel::i64;
using trel::InvalidParametersException;
using trel::u64;
using trel::Word;

namespace {

constexpr Word kLargest = 4294967295;

mpz_class mpz(u64 w) {
    return reference::to_mpz(&w, 1);
}

// floor(|c| arccoth(m) 2^(64 words)) but for some units, from its series in integers.
mpz_class arccoth(u64 c, u64 m, u64 words) {
    const mpz_class square = mpz(m) * mpz(m);
    mpz_class power = reference::shifted(mpz(c), static_cast<i64>(words + 1)) / mpz(m), sum = 0;
    for (u64 k = 0; power != 0; k++, power /= square) sum += power / mpz(2 * k + 1);
    return reference::shifted(sum, -1);
}

// The numbers of a leaf in buffers of the planned sizes.
struct Leaf {
    Leaf(const ArcCothSeries& series, u64 a, u64 b, bool edge = false,
         trel::ComputationStages* stages = nullptr)
        : words(BinarySplitting::CommonP2B3::Family::capacities(series, a, b)),
          memory(8 * (words[0] + words[1] + words[2])),
          scratch(8 * series.leaf_scratch_words(a, b)) {
        Word* at = memory.words();
        for (int i = 0; i < 3; at += words[i++]) numbers[i] = ExactFloat(at, words[i]);
        trel::RunMonitor monitor;
        monitor.stages = stages;
        trel::ParallelContext parallel = trel::serial_context();
        parallel.run = &monitor;
        series.leaf(a, b, numbers[0], numbers[1], numbers[2], edge, scratch.words(), parallel);
    }
    bool guards_intact() const { return memory.guards_intact() && scratch.guards_intact(); }
    mpz_class value(int i) const {
        return reference::shifted(reference::to_mpz(numbers[i].T, numbers[i].L), numbers[i].exp);
    }

    std::array<u64, 3> words;
    Scratch memory, scratch;
    ExactFloat numbers[3];
};

// P / Q is the sum of its definition, Q = R M^n, every odd number divides R, and the residues are those of
// the words.
void expect_leaf(u64 m, u64 a, u64 b) {
    const std::string what = std::to_string(m) + " " + std::to_string(a) + " " + std::to_string(b);
    const ArcCothSeries series(ArcCothArgument(m), 519054);
    const Leaf leaf(series, a, b);
    ASSERT_TRUE(leaf.guards_intact()) << what;
    const mpz_class P = leaf.value(0), Q = leaf.value(1), R = leaf.value(2), M = mpz(m) * mpz(m);
    mpz_class sum = 0, power = 1;
    for (u64 k = b; k > a; k--, power *= M) {
        const mpz_class odd = 2 * mpz(k) + 1;
        ASSERT_EQ(mpz_class(R % odd), 0) << what;
        sum += R / odd * power;
    }
    ASSERT_EQ(Q, mpz_class(R * power)) << what;
    ASSERT_EQ(P, sum) << what;
    for (const ExactFloat& A : leaf.numbers) {
        ASSERT_TRUE(A.sign);
        ASSERT_EQ(A.residue, A.computed_residue()) << what;
    }
    if (b - a == 1) {
        ASSERT_EQ(P, 1);
        ASSERT_EQ(R, mpz_class(2 * mpz(b) + 1));
    }
    // What the plans take from its sizes.
    const double nats = 64 * std::log(2.0);
    const auto size = [&](int i) {
        return nats * static_cast<double>(leaf.numbers[i].L) - nats;  // at least
    };
    ASSERT_LE(size(1), series.log_size_Q(a, b)) << what;
    ASSERT_LE(size(2), series.log_size_R(a, b)) << what;
    const Leaf edge(series, a, b, true);
    ASSERT_EQ(edge.value(0), P) << what;
    ASSERT_EQ(edge.value(1), Q) << what;
    ASSERT_EQ(edge.numbers[2].L, 0u) << what;
}

constexpr u64 kArguments[] = {2, 3, 26, 4801, 65536, 938224561, kLargest - 1, kLargest};

TEST(ArcCothLeafTest, EveryShortRange) {
    for (u64 n = 1; n <= 140; n++) {
        for (const u64 a : {u64(0), u64(1), 1000 + n}) {
            expect_leaf(kArguments[n % 8], a, a + n);
            if (HasFatalFailure()) return;
        }
    }
    for (const u64 m : kArguments) {
        for (const u64 n : {31, 32, 33, 64, 65, 127, 128, 129, 256, 257, 300}) {
            expect_leaf(m, 12345, 12345 + n);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(ArcCothLeafTest, LongRanges) {
    for (const u64 n : {599, 600, 640, 1638, 2047, 2048, 2049, 3000, 4095}) {
        for (const u64 m : {u64(2), u64(26), u64(4801), kLargest}) {
            expect_leaf(m, n % 2 == 0 ? 0 : 1700000 + n, (n % 2 == 0 ? 0 : 1700000 + n) + n);
            if (HasFatalFailure()) return;
        }
    }
}

// Where two terms at a time just fit, and where the sum is shorter than the product of the odd numbers.
TEST(ArcCothLeafTest, AroundTheEndsOfWords) {
    for (const u64 limit : {(u64(1) << 32) / (26 * 26), ~u64(0) / (u64(4801) * 4801)}) {
        for (u64 back = 0; back < 40; back += 3) {
            const u64 b = limit / 2 + 10 - back;
            expect_leaf(limit < (u64(1) << 32) ? 26 : 4801, b - 30, b);
            if (HasFatalFailure()) return;
        }
    }
    for (const u64 a : {(u64(1) << 21) + 5, (u64(1) << 30) + 5, u64(1) << 40}) expect_leaf(2, a, a + 90);
    for (u64 a = 2600000; a < 2700000; a += 9999) expect_leaf(26, a, a + 3);
}

TEST(ArcCothLeafTest, FarOut) {
    for (const u64 m : kArguments) {
        for (const u64 n : {1, 2, 3, 50, 99, 100, 101, 129, 700}) {
            expect_leaf(m, (u64(1) << 51) - n / 2, (u64(1) << 51) - n / 2 + n);
            if (HasFatalFailure()) return;
        }
    }
    expect_leaf(kLargest, (u64(1) << 51) - 4095, u64(1) << 51);
}

// The sieve takes out what the sizes count on, wherever a range begins.
TEST(ArcCothLeafTest, WhatIsSaved) {
    for (const u64 n : {400, 600, 999, 1000, 1638, 2048, 4095}) {
        for (const u64 a : {u64(0), u64(777), u64(3000000), u64(1) << 50}) {
            const ArcCothSeries series(ArcCothArgument(26), 100000);
            const Leaf leaf(series, a, a + n);
            double product = 0;
            for (u64 k = a + 1; k <= a + n; k++) product += std::log(static_cast<double>(2 * k + 1));
            long exponent;
            const double mantissa = mpz_get_d_2exp(&exponent, leaf.value(2).get_mpz_t());
            const double size = std::log(mantissa) + static_cast<double>(exponent) * std::log(2.0);
            EXPECT_GE(product - size, ArcCothLeaf::saved(n)) << n << " " << a;
            EXPECT_GT(ArcCothLeaf::saved(n), 2.2 * static_cast<double>(n));
        }
    }
    EXPECT_EQ(ArcCothLeaf::saved(399), 0);
    EXPECT_GT(ArcCothLeaf::usually_saved_per_term(), 4.4);
}

// One bit changed in what the sieve leaves, a term's rest or a power of a prime: a leaf ends with an error,
// whichever it is.
TEST(ArcCothLeafTest, NoFlipInTheSieveComesOut) {
    std::mt19937_64 random(41);
    for (const u64 n : {129, 256, 300, 1000, 4095}) {
        for (const u64 m : {u64(2), u64(4801), kLargest}) {
            const ArcCothSeries series(ArcCothArgument(m), 519054);
            const u64 a = n == 300 ? 0 : 70000 + random() % 1000000;
            kalvor_test::ChangedNumbers none("sieve");
            const Leaf right(series, a, a + n, false, &none);
            ASSERT_EQ(none.count, 2u);
            for (u64 i = 0; i < 40 / kalvor_test::thinned(4); i++) {
                const u64 place = random();
                SCOPED_TRACE(testing::Message() << n << " " << m << " " << a << ", " << place);
                kalvor_test::ChangedNumbers flip("sieve", {i % 2}, place);
                EXPECT_THROW(Leaf(series, a, a + n, i % 4 < 2, &flip), trel::AlgorithmFailedException);
            }
        }
    }
}

// Changes a bit of the table of primes for one leaf, and gives it back before the next one.
class OneLeafsPrimes final : public trel::ComputationStages {
  public:
    explicit OneLeafsPrimes(u64 place) : place_(place) {}
    ~OneLeafsPrimes() override { restore(); }
    void at(const char* stage, void* memory, u64 bytes) override {
        if (stage != std::string("primes")) return;
        if (changed_ != nullptr) return restore();
        if (done_) return;
        const u64 bit = place_ % (8 * bytes);
        done_ = true;
        mask_ = static_cast<trel::u8>(1u << bit % 8);
        changed_ = static_cast<trel::u8*>(memory) + bit / 8;
        *changed_ ^= mask_;
    }

  private:
    void restore() {
        if (changed_ != nullptr) *changed_ ^= mask_;
        changed_ = nullptr;
    }
    const u64 place_;
    bool done_ = false;
    trel::u8 mask_ = 0;
    trel::u8* changed_ = nullptr;
};

// Results of leaves and of their merges. In what the sieve leaves every bit counts; of the table of primes
// those are changed that spoil a denominator, for others leave it right, though longer.
TEST(ArcCothLeafTest, RangesWithDamagedFactorsAreDoneAgain) {
    using Family = BinarySplitting::CommonP2B3::Family;
    constexpr u64 kFirst = 5000, kTerms = 9001;
    const ArcCothSeries series(ArcCothArgument(26), 519054);
    const auto run = [&](trel::ComputationStages& stages, u64& corrected) {
        const BinarySplitting::BSR_BlockB<Family> plan(series, {kFirst, kFirst + kTerms, 100000, 100000},
                                                       false, true, 1);
        Scratch results(BinarySplitting::total_words(plan.capacities()) * sizeof(Word)),
            stack(plan.needs().bytes);
        trel::AlignedBufferC memory = results.view();
        auto range = BinarySplitting::carve_range<ExactFloat>(memory, plan.capacities());
        trel::RunMonitor monitor;
        monitor.stages = &stages;
        BinarySplitting::BlockRun<Family>(plan).run(
            {{thread_framework(), 1, &monitor}, stack.view(), nullptr}, trel::null_status(), range);
        corrected = monitor.checks.corrected;
        const auto value = [](const ExactFloat& A) {
            return reference::shifted(reference::to_mpz(A.T, A.L), A.exp);
        };
        return std::pair(value(range[0]), value(range[1]));
    };
    std::mt19937_64 random(42);
    kalvor_test::ChangedNumbers none("sieve");
    u64 corrected = 0;
    const auto right = run(none, corrected);
    EXPECT_EQ(corrected, 0u);
    ASSERT_GE(none.count, 6u);
    for (u64 at = 0; at < none.count; at++) {
        kalvor_test::ChangedNumbers flip("sieve", {at}, random());
        EXPECT_EQ(run(flip, corrected), right) << at;
        EXPECT_EQ(corrected, 1u) << at;
    }
    // Of small primes, which every leaf has: the prime itself, and the bound by which a division is exact.
    constexpr u64 kBitsOfARow = 192, kTopOfTheBound = 191;
    for (u64 prime = 0; prime < 8; prime += kalvor_test::thinned(3)) {
        for (const u64 bit : {u64(0), u64(1), u64(2), u64(3), kTopOfTheBound}) {
            OneLeafsPrimes flip(kBitsOfARow * prime + bit);
            EXPECT_EQ(run(flip, corrected), right) << prime << " " << bit;
            EXPECT_EQ(corrected, 1u) << prime << " " << bit;
        }
    }
}

// A change of an exponent below 256 of any prime of the table changes the residue.
TEST(ArcCothLeafTest, NoSmallPowerOfAPrimeIsOne) {
    for (u64 p = 3; p < 2048; p += 2) {
        u64 power = 1;
        for (int e = 1; e < 256; e++) {
            power = trel::goldilocks::mul(power, p);
            ASSERT_NE(power, 1u) << p << " " << e;
        }
    }
}

// Both variants name themselves where a destination is too small.
TEST(ArcCothLeafDeathTest, DestinationsTooSmall) {
    const ArcCothSeries series(ArcCothArgument(26), 1000), far(ArcCothArgument(kLargest), 1000);
    Word words[8];
    Scratch scratch(8 * (far.leaf_scratch_words(0, 1) + series.leaf_scratch_words(0, 32)));
    const auto run = [&](const ArcCothSeries& s, u64 a, u64 b) {
        ExactFloat P(words, 2), Q(words + 2, 2), R(words + 4, 2);
        s.leaf(a, b, P, Q, R, false, scratch.words(), trel::serial_context());
    };
    EXPECT_DEATH(run(series, 0, 32), "ArcCoth_BSR_End_small\\(\\)");
    EXPECT_DEATH(run(far, u64(1) << 40, (u64(1) << 40) + 8), "ArcCoth_BSR_End_large\\(\\)");
}

TEST(ArcCothTest, Values) {
    const struct {
        i64 c;
        u64 m;
    } cases[] = {{1, 2},
                 {1, 26},
                 {-1, 26},
                 {-7, 4801},
                 {1694, 559},
                 {9223372036854775807, 3},
                 {-9223372036854775807, 2}};
    for (const auto& [c, m] : cases) {
        for (const u64 p : {3, 4, 7, 20, 100, 700}) {
            const mpz_class want =
                arccoth(c < 0 ? u64(0) - static_cast<u64>(c) : static_cast<u64>(c), m, p + kReferenceWords);
            const std::string what = std::to_string(c) + " " + std::to_string(m) + " p=" + std::to_string(p);
            EvaluatorRun run(ArcCoth(c, m), p, 1 + p % 3);
            trel::BigFloat x = run.value();
            ASSERT_TRUE(run.result.guards_intact() && run.working.guards_intact()) << what;
            EXPECT_EQ(x.sign, c > 0) << what;
            if (c > 0) expect_value(ArcCoth(c, m), p, 2, want, what);
            mpz_class difference = reference::magnitude_at(x, -static_cast<i64>(p + kReferenceWords)) - want;
            mpz_class bound = 1;
            mpz_mul_2exp(bound.get_mpz_t(), bound.get_mpz_t(), 64 * (kReferenceWords + 1) + 8);
            ASSERT_LT(mpz_class(abs(difference)), bound) << what;
        }
    }
    for (const u64 p : {3, 20}) {
        expect_value(ArcCoth(4294967295, kLargest), p, 1, arccoth(4294967295, kLargest, p + kReferenceWords),
                     "largest");
        // 1 / (5 arccoth(26))
        const mpz_class one = reference::shifted(1, static_cast<i64>(2 * (p + kReferenceWords + 2)));
        const mpz_class inverse = one / arccoth(5, 26, p + kReferenceWords + 2);
        expect_value(ArcCoth(5, 26, -1), p, 1, reference::shifted(inverse, -2), "inverse");
    }
}

TEST(ArcCothTest, Labels) {
    EXPECT_EQ(ArcCoth(1, 26).label(), "ArcCoth( 26 ):");
    EXPECT_EQ(ArcCoth(-1, 26).label(), "- ArcCoth( 26 ):");
    EXPECT_EQ(ArcCoth(18, 26).label(), "18 ArcCoth( 26 ):");
    EXPECT_EQ(ArcCoth(-2, 4801).label(), "-2 ArcCoth( 4801 ):");
}

TEST(ArcCothTest, Refusals) {
    const auto refused = [](i64 c, Word m, i64 power) {
        return message_of<InvalidParametersException>(Form::message, [&] { ArcCoth(c, m, power); });
    };
    for (const Word m : {0, 1}) EXPECT_EQ(refused(1, m, 1), "Argument is too small.");
    for (const Word m : {Word(4294967296), ~Word(0)}) EXPECT_EQ(refused(1, m, 1), "Argument is too large.");
    EXPECT_NO_THROW(ArcCoth(1, kLargest));
    EXPECT_EQ(refused(0, 26, 1), "CoefficientP cannot be zero.");
    for (const i64 power : {0, 2, -2}) EXPECT_EQ(refused(1, 26, power), "Power must be 1 or -1.");
}

// The first omitted term is below the precision.
TEST(ArcCothTest, TermCounts) {
    for (const u64 m : kArguments) {
        const ArcCothArgument argument(m);
        for (u64 p = 1; p <= 200; p++) {
            const double first =
                static_cast<double>(ArcCothSeries::term_count(argument, p)) * argument.gain.high;
            const double target = 64 * std::log(2.0) * static_cast<double>(p);
            EXPECT_GT(first, target) << m;
            EXPECT_LT(first, target + 2.1 * argument.gain.high) << m;
        }
    }
}

// Sizes grow with the index, in doubles and in double-doubles.
TEST(ArcCothTest, SizesIncrease) {
    for (const u64 m : {2, 26, 4801}) {
        const ArcCothSeries series(ArcCothArgument(m), 519054);
        for (u64 k = 0; k < 5000; k++) {
            ASSERT_LT(series.log_size_to(k), series.log_size_to(k + 1)) << m << " " << k;
            const double exact = series.log_size_to_dd(k).high;
            ASSERT_NEAR(series.log_size_to(k), exact, 1e-12 * exact + 1e-12);
        }
    }
}

}  // namespace
