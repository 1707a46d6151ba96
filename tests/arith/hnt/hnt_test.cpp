// The ring of the hybrid transform against plain remainders, its products against GMP, its check.
#include "arith/hnt/hnt.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include "arith/fft/fft_algorithm.h"
#include "arith/fft/fft_tables.h"
#include "arith/hnt/fermat_ring.h"
#include "arith/hnt/residue_transform.h"
#include "arith/multiply/transform_tables.h"
#include "arith/ntt/ntt_support.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/monitored_run.h"
#include "support/threads.h"

namespace {

using namespace trel;
using namespace kalvor_test;
using reference::to_mpz;

mpz_class modulus(u64 n) {
    return (mpz_class(1) << (64 * n)) + 1;
}

// An element of n + 1 words: random, or at one of the ends of the range.
std::vector<Word> element(u64 n, std::mt19937_64& rng) {
    std::vector<Word> x(n + 1, 0);
    switch (rng() % 6) {
        case 0:
            break;
        case 1:
            x[0] = rng() % 3;
            break;
        case 2:
            x[n] = 1;
            break;
        case 3:
            std::fill_n(x.begin(), n, ~Word(0));
            x[0] -= rng() % 3;
            break;
        default:
            for (u64 i = 0; i < n; i++) x[i] = rng() % 4 == 0 ? 0 : rng();
    }
    return x;
}

class FermatRingTest : public testing::Test {
  public:
    // x is an element and stands for `want`
    static void expect(const std::vector<Word>& x, u64 n, mpz_class want) {
        mpz_class r;
        mpz_fdiv_r(r.get_mpz_t(), want.get_mpz_t(), modulus(n).get_mpz_t());
        ASSERT_EQ(to_mpz(x), r) << n;
    }
};

TEST_F(FermatRingTest, OperationsAreRemainders) {
    std::mt19937_64 rng(1);
    for (const u64 n : {1, 2, 3, 7, 20}) {
        for (u32 i = 0; i < 2000; i++) {
            const auto x = element(n, rng), y = element(n, rng);
            std::vector<Word> r(n + 1);
            fermat::add(r.data(), x.data(), y.data(), n);
            expect(r, n, to_mpz(x) + to_mpz(y));
            fermat::sub(r.data(), x.data(), y.data(), n);
            expect(r, n, to_mpz(x) - to_mpz(y));
            r = x;
            fermat::add(r.data(), r.data(), r.data(), n);
            expect(r, n, 2 * to_mpz(x));
            r = x;
            fermat::negate(r.data(), n);
            expect(r, n, -to_mpz(x));
            const u64 e = i < 64 * n ? i : rng() % (64 * n);
            fermat::shift(r.data(), x.data(), e, n);
            expect(r, n, to_mpz(x) << e);
            std::vector<Word> number(2 * n);
            for (Word& w : number) w = rng() % 3 == 0 ? 0 : rng() % 3 == 0 ? ~Word(0) : rng();
            fermat::reduce(r.data(), number.data(), n);
            expect(r, n, to_mpz(number));
        }
    }
}

// Both lists' short pairs, pairs with odd m among them (roots from the square root of two), and both ways to
// multiply elements.
TEST(HntTransformTest, ProductsOfShortPairs) {
    u64 seed = 1, odd = 0, small = 0, large = 0;
    for (const auto list : {hnt_list_a(), hnt_list_b()}) {
        for (const HntParameters& p : list) {
            if (p.capacity_bits() > 64 * 8192) break;
            const HntTransform t(p);
            const u64 W = t.convolution_words();
            check_products(t, serial_context(), kKinds[seed % 4], W / 2, W - W / 2, seed);
            seed++;
            odd += p.m % 2;
            (p.element_units() < kHntFftUnits ? small : large)++;
        }
    }
    EXPECT_GE(odd, 5u);
    EXPECT_GE(small, 5u);
    EXPECT_GE(large, 40u);
}

// Elements of 22 and of 24 units, the nearest pairs on both sides of the switch (elements have even lengths).
TEST(HntTransformTest, ElementsAroundTheSwitch) {
    for (const HntParameters& p :
         {HntParameters{7, 22}, HntParameters{7, 24}, HntParameters{8, 11}, HntParameters{8, 12}}) {
        ASSERT_TRUE(p.element_units() == 22 || p.element_units() == 24);
        const HntTransform t(p);
        const u64 W = t.convolution_words();
        check_products(t, serial_context(), Kind::ones, W / 2, W / 2, 1);
        check_products(t, serial_context(), Kind::random, W - 7, 7, 2);
    }
}

TEST(HntTransformTest, TasksAndShapes) {
    SpawnFramework spawn(64);
    for (const HntParameters& p : {HntParameters{12, 2}, HntParameters{11, 3}, HntParameters{9, 32}}) {
        const HntTransform t(p);
        const u64 W = t.convolution_words();
        for (const u64 tds : {1, 2, 7}) {
            const ParallelContext parallel{&spawn, tds};
            const auto A = operand(Kind::random, W / 2, 3), B = operand(Kind::ones, W / 2, 4);
            EXPECT_EQ(multiply(t, parallel, A, B, 0, 2 * (W / 2)), product(A, B));
            EXPECT_EQ(multiply(t, parallel, B, B, 0, 2 * (W / 2)), product(B, B));
        }
    }
}

TEST(HntTransformTest, EveryWindowAndZero) {
    const HntTransform t({6, 16});
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::runs, W / 2, 3), B = operand(Kind::ones, W / 2, 4);
    const auto C = product(A, B);
    for (u64 skip = 0; skip < 2 * (W / 2); skip++) {
        for (u64 total = skip + 1; total <= 2 * (W / 2); total += 5) {
            const std::vector<Word> want(C.begin() + static_cast<std::ptrdiff_t>(skip),
                                         C.begin() + static_cast<std::ptrdiff_t>(total));
            ASSERT_EQ(multiply(t, serial_context(), A, B, skip, total), want) << skip << " " << total;
        }
    }
    const std::vector<Word> none;
    EXPECT_EQ(multiply(t, serial_context(), none, A, 0, W / 2), std::vector<Word>(W / 2, 0));
}

// A product of n > W words folds onto its bottom; what lies above the fold is right.
TEST(HntTransformTest, WrappedWindows) {
    const HntTransform t({8, 8});
    const u64 W = t.convolution_words();
    for (const Kind kind : kKinds) {
        for (const u64 over : {u64(1), W / 7, W / 2, W - 1}) {
            const auto A = operand(kind, W, over), B = operand(kind, over, over + 1);
            const auto C = product(A, B);
            const auto T = multiply(t, serial_context(), A, B, over, W);
            const std::vector<Word> want(C.begin() + static_cast<std::ptrdiff_t>(over),
                                         C.begin() + static_cast<std::ptrdiff_t>(W));
            std::vector<Word> below = T;  // the fold may have added one
            for (u64 i = 0; below != want && i < below.size(); i++) {
                if (below[i]-- != 0) break;
            }
            EXPECT_TRUE(T == want || below == want) << "over=" << over;
        }
    }
}

TEST(HntTransformTest, RefusesWhatIsTooLong) {
    const HntTransform t({6, 16});
    const u64 W = t.convolution_words();
    Scratch data(t.data_bytes()), scratch(t.scratch_bytes());
    const std::vector<Word> A(W + 1, 1);
    try {
        t.forward(serial_context(), data.data(), A.data(), W + 1, scratch.data());
        ADD_FAILURE();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.function, "HNT");
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 64 * W);
        EXPECT_EQ(e.requested_size, 64 * (W + 1));
    }
    std::vector<Word> T(W + 1);
    t.forward(serial_context(), data.data(), A.data(), W, scratch.data());
    EXPECT_THROW(t.inverse(serial_context(), T.data(), 0, W + 1, data.data(), data.data(), data.data(),
                           scratch.data()),
                 ConvolutionTooSmallException);
}

TEST(HntTransformTest, CorruptedCoefficientIsFound) {
    const HntTransform t({6, 16});
    const u64 n = t.parameters().element_units() / 2, W = t.convolution_words();
    std::vector<Word> elements(t.parameters().elements() * (n + 1), 0), T(W);
    Scratch scratch(t.scratch_bytes());
    t.join(serial_context(), T.data(), 0, W, elements.data(), scratch.data());
    EXPECT_EQ(T, std::vector<Word>(W, 0));
    const auto fails = [&] {
        try {
            t.join(serial_context(), T.data(), 0, W, elements.data(), scratch.data());
            return false;
        } catch (const ConvolutionFailedException& e) {
            EXPECT_EQ(e.message, "Coefficient is too large.");
            EXPECT_EQ(e.first, u64(1) << 7);
            return e.second >= e.first;
        }
    };
    // words of a product and of the sums that are possible pass
    elements[9 * (n + 1) + n - 1] = 127;
    EXPECT_FALSE(fails());
    elements[9 * (n + 1) + n - 1] = 128;
    EXPECT_TRUE(fails());
    elements[9 * (n + 1) + n - 1] = 0;
    elements[63 * (n + 1) + n] = 1;
    EXPECT_TRUE(fails());
}

// Changes one bit at the n-th stage "pass" of so many bytes. Products of elements have stages of their own.
class FlipAtPass final : public ComputationStages {
  public:
    FlipAtPass(u64 of_bytes, u64 pass, u64 place) : of_bytes_(of_bytes), pass_(pass), place_(place) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (bytes != of_bytes_ || std::string(stage) != "pass" || passes++ != pass_) return;
        const u64 bit = place_ % (8 * bytes);
        static_cast<u8*>(memory)[bit / 8] ^= static_cast<u8>(1u << bit % 8);
    }
    u64 passes = 0;

  private:
    u64 of_bytes_, pass_, place_;
};

// Between the levels, which tasks go through together. Roots with the root of two in them change coefficients
// by 2^a - 2^b: with a pair where a - b is a multiple of 192, the order of two modulo the prime of other
// residues, and one where it is not.
TEST(HntTransformTest, ChangedBitsBetweenLevelsAreFound) {
    std::mt19937_64 rng(61);
    for (const HntParameters& p : {HntParameters{12, 3}, HntParameters{12, 1}}) {
        const HntTransform t(p);
        ASSERT_EQ(p.element_units() / 2 % 6 == 0, p.m == 3);
        const u64 n = t.convolution_words() / 2;
        const auto A = operand(Kind::random, n, 1), B = operand(Kind::random, n, 2);
        const auto C = product(A, B);
        Scratch memory(t.plain_bytes());
        std::vector<Word> T(2 * n);
        const u64 bytes = p.elements() * (p.element_units() / 2 + 1) * sizeof(Word);
        u64 passes = 0, corrected = 0;
        for (u64 k = 0; k <= 40; k++) {
            // of the first run none, then those of the inverse transform, the last ones first
            FlipAtPass flip(bytes, k == 0 ? ~u64(0) : passes - 1 - k % 6, rng());
            RunMonitor monitor;
            monitor.stages = &flip;
            const ParallelContext parallel{thread_framework(), 4, &monitor};
            std::fill(T.begin(), T.end(), 0);
            t.multiply_plain(parallel, T.data(), 0, 2 * n, A.data(), n, B.data(), n, memory.view().get());
            ASSERT_EQ(T, C) << p.m << " " << k;
            if (k == 0) {
                passes = flip.passes;
                ASSERT_EQ(passes, 4u + 4 + 5);
            }
            corrected += monitor.checks.corrected;
        }
        EXPECT_GE(corrected, 38u) << "of 40; the highest word of an element may be ignored";
    }
}

// Residues of points give those of coefficients.
// Rings that are a multiple of neither three nor sixteen words: a bit that changes in the words of a product
// that wraps is found by every eighth word.
TEST(HntTransformTest, ProductsThatWrapAroundAMultipleOfEightWordsAreCompared) {
    class FlipWords final : public ComputationStages {
      public:
        explicit FlipWords(u64 place) : place_(place) {}
        void at(const char* stage, void* memory, u64 bytes) override {
            if (std::string(stage) != "product" || flipped) return;
            flipped = true;
            static_cast<u8*>(memory)[place_ / 8 % bytes] ^= static_cast<u8>(1u << place_ % 8);
        }
        bool flipped = false;

      private:
        u64 place_;
    };
    std::mt19937_64 rng(67);
    std::vector<u64> lengths;
    for (const auto list : {hnt_list_a(), hnt_list_b()}) {
        for (const HntParameters& p : list) {
            const u64 W = p.capacity_bits() / 64;
            if (W % 3 == 0 || W % 16 == 0) continue;
            ASSERT_EQ(p.capacity_bits() % 512, 0u);
            lengths.push_back(W);
            const HntTransform t(p);
            const auto A = operand(Kind::random, W, 1), B = operand(Kind::random, W / 2, 2);
            const std::vector<Word> right = multiply(t, serial_context(), A, B, W / 2, W);
            Scratch memory(t.plain_bytes());
            for (int k = 0; k < (W < 100 ? 30 : 3); k++) {
                FlipWords flip(rng());
                RunMonitor monitor;
                monitor.stages = &flip;
                ParallelContext parallel = serial_context();
                parallel.run = &monitor;
                std::vector<Word> T(W - W / 2);
                const u64 residue = t.multiply_plain(parallel, T.data(), W / 2, W, A.data(), W, B.data(),
                                                     W / 2, memory.view().get());
                ASSERT_TRUE(flip.flipped);
                ASSERT_EQ(T, right) << W;
                ASSERT_EQ(residue, goldilocks::of_words(T.data(), T.size())) << W;
                ASSERT_EQ(monitor.checks.corrected, 1u) << W;
            }
        }
    }
    EXPECT_EQ(lengths, (std::vector<u64>{8, 40, 56, 46072}));
}

TEST(ResidueTransformTest, IsACyclicConvolution) {
    std::mt19937_64 rng(67);
    namespace r = residue_transform;
    for (u32 k = 0; k <= 6; k++) {
        const u64 n = u64(1) << k;
        std::vector<u64> x(n), y(n), z(n, 0);
        for (u64& v : x) v = rng() % 5 == 0 ? r::kQ - 1 : rng() % r::kQ;
        for (u64& v : y) v = rng() % r::kQ;
        for (u64 i = 0; i < n; i++) {
            for (u64 j = 0; j < n; j++) {
                u64& to = z[(i + j) % n];
                to = static_cast<u64>((u128(x[i]) * y[j] + to) % r::kQ);
            }
        }
        r::forward(x.data(), k);
        r::forward(y.data(), k);
        r::multiply(x.data(), x.data(), y.data(), k);
        r::inverse(x.data(), k);
        EXPECT_EQ(x, z) << k;
    }
    const mpz_class q = to_mpz(std::vector<Word>{r::kQ});
    EXPECT_NE(mpz_probab_prime_p(q.get_mpz_t(), 30), 0);
    for (u64 n = 1; n < 30; n++) {
        const auto words = operand(Kind::random, n, n);
        const mpz_class rest = to_mpz(words) % q;
        EXPECT_EQ(to_mpz(std::vector<Word>{r::of_words(words.data(), n)}), rest);
    }
}

TEST(HntTransformTest, CompatibleWithItsOwnShapeOnly) {
    const HntTransform t({6, 16});
    EXPECT_TRUE(t.compatible(HntTransform({6, 16})));
    EXPECT_FALSE(t.compatible(HntTransform({7, 8})));
}

// With the FFT's tables at hand or without: the same product. Elements are long enough to need them.
TEST(HntTransformTest, UsesTablesOfTheFft) {
    constexpr u64 n = 60000;
    ASSERT_GT(fft_algorithm().table_bytes(n), 0u);
    Scratch memory(TransformTables::bytes(n));
    const TransformTables tables(n, memory.view(), serial_context());
    const HntParameters p{5, 30720};
    ASSERT_GE(p.capacity_bits() / 64, n);
    const auto* fft = static_cast<const FftSharedTables*>(tables.find(fft_algorithm()));
    ASSERT_NE(fft, nullptr);
    const auto A = operand(Kind::random, n / 2, 1), B = operand(Kind::runs, n - n / 2, 2);
    const auto C = product(A, B);
    const HntTransform with(p, fft), without(p);
    EXPECT_EQ(multiply(with, serial_context(), A, B, 0, n), C);
    EXPECT_EQ(multiply(without, serial_context(), A, B, 0, n), C);
    // as an algorithm: tables of the context
    Scratch scratch(hnt_algorithm().mSBsize(n));
    std::vector<Word> T(n);
    hnt_algorithm().mul({serial_context(), scratch.view(), &tables}, T.data(), A.data(), A.size(), B.data(),
                        B.size());
    EXPECT_EQ(T, C);
}

TEST(HntTransformTest, SizesAreWhatTransformsNeed) {
    for (u64 words = 1; words < 100000; words += 1 + words / 5) {
        TransformHolder holder;
        hnt_algorithm().make_transform(holder, words, {serial_context(), {}});
        const MultiplySizes s = hnt_algorithm().sizes(words);
        EXPECT_GE(holder->convolution_words(), words);
        EXPECT_GE(s.transform_data, holder->data_bytes());
        EXPECT_GE(s.transform_scratch, holder->scratch_bytes());
        EXPECT_GE(s.scratch, holder->plain_bytes());
    }
    EXPECT_GT(hnt_algorithm().sizes(kHntMaxBits / 64).scratch, 0u);
    EXPECT_THROW(hnt_algorithm().sizes(~u64(0)), LimitExceededException);
}

TEST(SlowHntTransformTest, ProductsOfLongPairs) {
    SpawnFramework spawn(64);
    std::mt19937_64 rng(1);
    for (const auto list : {hnt_list_a(), hnt_list_b()}) {
        for (u32 done = 0; done < 8;) {
            const HntParameters& p = list[rng() % list.size()];
            if (p.capacity_bits() < 64 << 14 || p.capacity_bits() > u64(64) << 20) continue;
            const HntTransform t(p);
            const u64 W = t.convolution_words();
            const auto A = operand(kKinds[done % 4], W / 2, done),
                       B = operand(kKinds[done % 4], W / 2, done + 9);
            ASSERT_EQ(multiply(t, {&spawn, 1 + done % 2}, A, B, 0, 2 * (W / 2)), product(A, B))
                << p.k << " " << p.m;
            done++;
        }
    }
}

// Every pair from 8192 words to 2^22: a product, a window of it and a square.
TEST(SlowHntTransformTest, EveryLongPair) {
    SpawnFramework spawn(64);
    u64 done = 0;
    for (const auto list : {hnt_list_a(), hnt_list_b()}) {
        for (const HntParameters& p : list) {
            const u64 words = p.capacity_bits() / 64;
            if (words < 8192 || words > u64(1) << 22) continue;
            done++;
            if (is_for_another_level(done)) continue;
            const HntTransform t(p);
            const u64 W = t.convolution_words(), LA = done % 3 == 2 ? W / 7 : W / 2;
            const auto A = operand(kKinds[done % 4], LA, done),
                       B = operand(kKinds[(done + 1) % 4], W - LA, done + 1);
            const ParallelContext parallel{&spawn, 1 + done % 2};
            check_long_products(t, parallel, A, B, done, done % 16 == 0 && W <= u64(1) << 19);
            ASSERT_FALSE(HasFatalFailure()) << p.k << " " << p.m;
        }
    }
    EXPECT_GE(done, 80u);
}

// Elements that the floating-point FFT multiplies, in an area that is misaligned: a warning an operation,
// right words.
TEST(HntTransformTest, MisalignedAreaOfLongElements) {
    const HntTransform t({8, 16});
    ASSERT_GE(t.parameters().element_units(), kHntFftUnits);
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::random, W / 2, 1), B = operand(Kind::ones, W - W / 2, 2);
    const std::string warning = "\n{R}Data Misalignment. Possible performance penalty.\n{w}";
    Scratch x(t.data_bytes()), y(t.data_bytes()), scratch(t.scratch_bytes() + 64);
    u8* const area = static_cast<u8*>(scratch.data()) + 8;
    Output T(W);
    CaptureConsole console(CaptureConsole::terminal, true);
    MonitoredRun run;
    t.forward(run.context(), x.data(), A.data(), A.size(), area);
    t.forward(run.context(), y.data(), B.data(), B.size(), area);
    t.inverse(run.context(), T.data(), 0, W, x.data(), x.data(), y.data(), area);
    run.show();
    EXPECT_EQ(console.take(), warning + warning + warning);
    EXPECT_EQ(T.words(), product(A, B));
    EXPECT_TRUE(scratch.guards_intact());
}

}  // namespace
