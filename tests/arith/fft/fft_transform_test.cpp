// Products of the FFT against GMP at every length, its rounding errors, windows, tasks and errors.
#include <gtest/gtest.h>

#include <algorithm>

#include "arith/fft/fft_algorithm.h"
#include "arith/fft/fft_transform.h"
#include "arith/multiply/transform_tables.h"
#include "base/errors/exceptions.h"
#include "fft_support.h"
#include "platform/parallel/spawn_framework.h"
#include "support/effort.h"

namespace {

using namespace trel;
using namespace kalvor_test;

class FftTransformTest : public testing::TestWithParam<Isa> {
  protected:
    const FftKernels& kernels() const { return fft_kernels(GetParam()); }
    FftTransform transform(u64 entry) const { return {kernels(), fft_parameter_table()[entry], nullptr}; }
};
class SlowFftTransformTest : public FftTransformTest {};

std::string isa_of(const testing::TestParamInfo<Isa>& info) {
    return isa_name(info.param);
}
INSTANTIATE_TEST_SUITE_P(Levels, FftTransformTest, testing::ValuesIn(available_isas()), isa_of);
INSTANTIATE_TEST_SUITE_P(SlowLevels, SlowFftTransformTest, testing::ValuesIn(available_isas()), isa_of);

// One product with all its words; returns the largest distance of a coefficient from an integer.
double check_product(const FftTransform& t, const std::vector<Word>& A, const std::vector<Word>& B) {
    Scratch x(t.data_bytes()), y(t.data_bytes());
    const bool square = &A == &B;
    t.forward(serial_context(), x.data(), A.data(), A.size(), nullptr);
    if (!square) t.forward(serial_context(), y.data(), B.data(), B.size(), nullptr);
    Output out(A.size() + B.size());
    const double error =
        t.inverse_error(out.data(), 0, A.size() + B.size(), x.data(), x.data(), square ? x.data() : y.data());
    EXPECT_EQ(out.words(), product(A, B)) << "a=" << t.plan().a << " k=" << t.plan().k << " b=" << t.plan().b
                                          << " words=" << A.size() << "+" << B.size();
    EXPECT_TRUE(out.guards_intact() && x.guards_intact() && y.guards_intact());
    return error;
}

// The products that fill the convolution.
void check_entry(const FftTransform& t, u64 entry) {
    const u64 W = t.convolution_words(), half = W / 2;
    const u32 b = t.plan().b;
    const u64 seed = 1000 * entry;
    double worst = 0;
    // The reference costs seconds at the largest lengths: there, the worst data and random data only.
    const bool large = entry >= 70;
    for (Kind kind :
         large ? std::vector<Kind>{Kind::random, Kind::positive}
               : std::vector<Kind>{Kind::random, Kind::ones, Kind::high, Kind::positive, Kind::negative}) {
        const auto A = operand(kind, half, b, seed), B = operand(kind, W - half, b, seed + 1);
        worst = std::max(worst, check_product(t, A, B));
        if (!large || kind == Kind::positive) worst = std::max(worst, check_product(t, A, A));
    }
    if (large) {
        const auto A = operand(Kind::ones, half, b, 0);
        EXPECT_LT(std::max(worst, check_product(t, A, A)), 0.125) << "entry " << entry;
        return;
    }
    const u64 most = W - W / 4;
    worst = std::max(worst, check_product(t, operand(Kind::positive, most, b, seed + 2),
                                          operand(Kind::positive, W - most, b, seed + 3)));
    worst = std::max(worst, check_product(t, operand(Kind::ones, W - 1, b, 0), operand(Kind::ones, 1, b, 0)));
    EXPECT_LT(worst, 0.125) << "entry " << entry;
    EXPECT_GT(worst, 0) << "entry " << entry;
}

TEST_P(FftTransformTest, EveryLengthUpTo32768Points) {
    for (u64 entry = 0; entry <= 48; entry++) check_entry(transform(entry), entry);
}
TEST_P(FftTransformTest, LargerLengths) {
    for (u64 entry : {52, 54, 60}) check_entry(transform(entry), entry);
}
TEST_P(SlowFftTransformTest, AllOtherLengths) {
    for (u64 entry = 49; entry < 105; entry++) check_entry(transform(entry), entry);
}

TEST_P(FftTransformTest, OperandsOfAllShapes) {
    std::mt19937_64 rng(7);
    for (u64 entry : {0, 4, 8, 10, 12, 16, 23, 25, 28, 31, 33, 43, 45, 47}) {
        const FftTransform t = transform(entry);
        const u64 W = t.convolution_words();
        for (int i = 0; i < 12; i++) {
            const u64 la = i == 0 ? 1 : 1 + rng() % (W - 1), lb = 1 + rng() % (W - la);
            const Kind kind = static_cast<Kind>(rng() % 6);
            check_product(t, operand(kind, la, t.plan().b, rng()), operand(kind, lb, t.plan().b, rng()));
        }
    }
}

TEST_P(FftTransformTest, EmptyOperandIsZero) {
    for (u64 entry : {1, 12, 27}) {
        const FftTransform t = transform(entry);
        Scratch x(t.data_bytes()), y(t.data_bytes());
        const auto A = operand(Kind::random, t.convolution_words() / 2, 16, 3);
        t.forward(serial_context(), x.data(), A.data(), A.size(), nullptr);
        t.forward(serial_context(), y.data(), nullptr, 0, nullptr);
        Output out(t.convolution_words());
        t.inverse(serial_context(), out.data(), 0, t.convolution_words(), y.data(), x.data(), y.data(),
                  nullptr);
        EXPECT_EQ(out.words(), std::vector<Word>(t.convolution_words(), 0));
    }
}

// Bounds of a window around every kind of boundary, and the same words from each.
TEST_P(FftTransformTest, SkipAndTotal) {
    std::mt19937_64 rng(11);
    for (u64 entry : {1, 5, 9, 13, 21, 26, 29, 31, 33, 37, 45, 49}) {
        const FftTransform t = transform(entry);
        const u64 W = t.convolution_words();
        for (Kind kind : {Kind::ones, Kind::random, Kind::sparse}) {
            const auto A = operand(kind, W / 2, t.plan().b, entry),
                       B = operand(kind, W - W / 2, t.plan().b, entry + 1);
            const auto want = product(A, B);
            Scratch x(t.data_bytes()), y(t.data_bytes()), work(t.data_bytes());
            t.forward(serial_context(), x.data(), A.data(), A.size(), nullptr);
            t.forward(serial_context(), y.data(), B.data(), B.size(), nullptr);
            for (int i = 0; i < 24; i++) {
                u64 skip = rng() % (W + 1), total = skip + rng() % (W - skip + 1);
                if (i == 0) skip = total = 0;
                if (i == 1) skip = W - 1, total = W;
                if (i == 2) skip = 1, total = W;
                if (i == 3) skip = W / 2, total = W;
                if (i == 4) skip = 0, total = 1;
                if (i == 5) skip = 0, total = W - 1;
                Output out(total - skip);
                Scratch ring(t.scratch_bytes());
                t.inverse(serial_context(), out.data(), skip, total, work.data(), x.data(), y.data(),
                          ring.data());
                EXPECT_EQ(out.words(), std::vector<Word>(want.begin() + skip, want.begin() + total))
                    << "entry " << entry << " window " << skip << ".." << total;
                EXPECT_TRUE(out.guards_intact() && work.guards_intact());
            }
        }
    }
}

// A product of n > W words: the clean words n - W .. W - 1 are right, the lowest of them up to one unit.
void check_wrap(const FftTransform& t, Kind kind, u64 la, u64 lb, u64 seed) {
    const u64 W = t.convolution_words(), n = la + lb;
    ASSERT_GT(n, W);
    const auto A = operand(kind, la, t.plan().b, seed), B = operand(kind, lb, t.plan().b, seed + 1);
    const auto want = product(A, B);
    Scratch x(t.data_bytes()), y(t.data_bytes());
    t.forward(serial_context(), x.data(), A.data(), la, nullptr);
    t.forward(serial_context(), y.data(), B.data(), lb, nullptr);
    const u64 skip = n - W;
    Output out(W - skip);
    const double error = t.inverse_error(out.data(), skip, W, x.data(), x.data(), y.data());
    EXPECT_LT(error, 0.125) << "k " << t.plan().k << " b " << t.plan().b;
    std::vector<Word> got = out.words();
    ASSERT_TRUE(out.guards_intact());
    // got + delta = want modulo the window, |delta| <= 1
    bool right = false;
    for (int delta : {0, 1, -1}) {
        std::vector<Word> moved = got;
        if (delta > 0) {
            for (Word& w : moved) {
                if (++w != 0) break;
            }
        } else if (delta < 0) {
            for (Word& w : moved) {
                if (w-- != 0) break;
            }
        }
        right = right || std::equal(moved.begin(), moved.end(), want.begin() + skip);
    }
    EXPECT_TRUE(right) << "a " << t.plan().a << " k " << t.plan().k << " words " << la << "+" << lb;
}

TEST_P(FftTransformTest, WrappedWindows) {
    for (u64 entry : {1, 5, 9, 13, 21, 26, 29, 31, 33, 37, 43, 45, 47}) {
        const FftTransform t = transform(entry);
        const u64 W = t.convolution_words();
        for (Kind kind :
             {Kind::random, Kind::ones, Kind::high, Kind::sparse, Kind::positive, Kind::negative}) {
            check_wrap(t, kind, W, W / 2, entry);
            check_wrap(t, kind, W, 1, entry);
            check_wrap(t, kind, W - 1, W - 1, entry);
            check_wrap(t, kind, W / 2 + 1, W / 2 + 1, entry);
            check_wrap(t, kind, 2 * W / 3, W / 2, entry);
        }
    }
}

TEST_P(FftTransformTest, TasksDoNotChangeWords) {
    SpawnFramework spawn(64);
    for (u64 entry : {57, 60, 63}) {  // a = 1, 5, 3, long enough to be split
        const FftTransform t = transform(entry);
        const u64 W = t.convolution_words();
        for (Kind kind : {Kind::random, Kind::ones}) {
            const auto A = operand(kind, W / 2, t.plan().b, 1), B = operand(kind, W - W / 2, t.plan().b, 2);
            const auto want = product(A, B);
            for (u64 tds : {1, 2, 7}) {
                const ParallelContext parallel{&spawn, tds};
                Scratch x(t.data_bytes()), y(t.data_bytes());
                t.forward(parallel, x.data(), A.data(), A.size(), nullptr);
                t.forward(parallel, y.data(), B.data(), B.size(), nullptr);
                const u64 skip = W / 3, total = W - 5;
                Output out(total - skip);
                Scratch ring(t.scratch_bytes());
                t.inverse(parallel, out.data(), skip, total, x.data(), x.data(), y.data(), ring.data());
                EXPECT_EQ(out.words(), std::vector<Word>(want.begin() + skip, want.begin() + total))
                    << "entry " << entry << " tds " << tds;
                EXPECT_TRUE(out.guards_intact());
            }
        }
    }
}

TEST_P(FftTransformTest, BuffersMayCoincide) {
    const FftTransform t = transform(27);
    const u64 W = t.convolution_words();
    const auto A = operand(Kind::random, W / 2, 16, 1), B = operand(Kind::random, W - W / 2, 16, 2);
    const auto want = product(A, B);
    for (int where = 0; where < 3; where++) {
        Scratch x(t.data_bytes()), y(t.data_bytes()), z(t.data_bytes());
        t.forward(serial_context(), x.data(), A.data(), A.size(), nullptr);
        t.forward(serial_context(), y.data(), B.data(), B.size(), nullptr);
        Output out(W);
        t.inverse(serial_context(), out.data(), 0, W,
                  where == 0   ? x.data()
                  : where == 1 ? y.data()
                               : z.data(),
                  x.data(), y.data(), nullptr);
        EXPECT_EQ(out.words(), want) << where;
        if (where == 2) {  // both transforms are still there
            Output again(W);
            t.inverse(serial_context(), again.data(), 0, W, z.data(), x.data(), y.data(), nullptr);
            EXPECT_EQ(again.words(), want);
        }
    }
}

// Transforms at addresses that no vector store would take: slower, and the same words. The last one is stored
// past the caches where it is aligned.
TEST_P(FftTransformTest, MisalignedData) {
    for (const u64 entry : {u64(7), u64(27), u64(40), u64(63)}) {
        const FftTransform t = transform(entry);
        const u64 W = t.convolution_words();
        const auto A = operand(Kind::random, W / 2, t.plan().b, 1),
                   B = operand(Kind::ones, W - W / 2, t.plan().b, 2);
        const auto want = product(A, B);
        for (const u64 shift : {u64(8), u64(16), u64(32)}) {
            Scratch x(t.data_bytes() + 64), y(t.data_bytes() + 64);
            u8 *const a = static_cast<u8*>(x.data()) + shift, *const b = static_cast<u8*>(y.data()) + shift;
            t.forward(serial_context(), a, A.data(), A.size(), nullptr);
            t.forward(serial_context(), b, B.data(), B.size(), nullptr);
            Output out(W);
            t.inverse(serial_context(), out.data(), 0, W, a, a, b, nullptr);
            EXPECT_EQ(out.words(), want) << "entry " << entry << " shift " << shift;
            EXPECT_TRUE(out.guards_intact() && x.guards_intact() && y.guards_intact());
        }
    }
}

TEST_P(FftTransformTest, TooLongThrows) {
    const FftTransform t = transform(7);
    const std::vector<Word> A(t.convolution_words() + 1, 1);
    Scratch x(t.data_bytes());
    try {
        t.forward(serial_context(), x.data(), A.data(), A.size(), nullptr);
        FAIL();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.function, "FFT");
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 9216u);
        EXPECT_EQ(e.requested_size, 9216u + 64);
    }
    t.forward(serial_context(), x.data(), A.data(), A.size() - 1, nullptr);
}

TEST_P(FftTransformTest, CompatibleOnlyWithItsOwnLength) {
    const FftTransform t = transform(13), same = transform(13), other_b = transform(14),
                       other_n = transform(19);
    EXPECT_TRUE(t.compatible(same));
    EXPECT_FALSE(t.compatible(other_b));
    EXPECT_FALSE(t.compatible(other_n));
}

// Every level gives the same words, in windows that wrap as well.
TEST(FftLevelsTest, AllLevelsAgree) {
    for (u64 entry : {5, 13, 31, 45, 54}) {
        std::vector<Word> first;
        for (Isa isa : available_isas()) {
            const FftTransform t(fft_kernels(isa), fft_parameter_table()[entry], nullptr);
            const u64 W = t.convolution_words();
            const auto A = operand(Kind::random, W, t.plan().b, 1), B = operand(Kind::high, W, t.plan().b, 2);
            Scratch x(t.data_bytes()), y(t.data_bytes());
            t.forward(serial_context(), x.data(), A.data(), W, nullptr);
            t.forward(serial_context(), y.data(), B.data(), W, nullptr);
            Output out(W);
            t.inverse(serial_context(), out.data(), 0, W, x.data(), x.data(), y.data(), nullptr);
            if (first.empty()) first = out.words();
            EXPECT_EQ(out.words(), first) << isa_name(isa) << " entry " << entry;
        }
    }
}

// Whole products through the algorithm's operations.
TEST(FftAlgorithmTest, Products) {
    const MultiplyAlgorithm& fft = fft_algorithm();
    std::mt19937_64 rng(5);
    for (u64 n : {1, 2, 17, 40, 41, 81, 127, 128, 300, 777, 1632, 3000, 9001}) {
        for (u64 m : {n, n / 2 + 1, u64(1)}) {
            const auto A = operand(Kind::random, n, 16, rng()), B = operand(Kind::random, m, 16, rng());
            Scratch scratch(fft.sizes(n + m).scratch);
            const MultiplyContext context{serial_context(), scratch.view(), nullptr};
            Output out(n + m);
            fft.mul(context, out.data(), A.data(), n, B.data(), m);
            EXPECT_EQ(out.words(), product(A, B)) << n << " x " << m;
            const u64 skip = (n + m) / 3;
            Output top(n + m - skip);
            fft.mul_skip(context, top.data(), skip, n + m, A.data(), n, B.data(), m);
            const auto want = product(A, B);
            EXPECT_EQ(top.words(), std::vector<Word>(want.begin() + skip, want.end())) << n << " x " << m;
            EXPECT_TRUE(out.guards_intact() && top.guards_intact() && scratch.guards_intact());
        }
        const auto A = operand(Kind::ones, n, 16, 1);
        Scratch scratch(fft.sizes(2 * n).scratch);
        const MultiplyContext context{serial_context(), scratch.view(), nullptr};
        Output out(2 * n);
        fft.sqr(context, out.data(), A.data(), n);
        EXPECT_EQ(out.words(), product(A, A)) << n;
        EXPECT_TRUE(out.guards_intact() && scratch.guards_intact());
    }
}

// Products a little longer than a record: the lowest words come from a product of their own.
TEST(FftAlgorithmTest, ProductsJustAboveARecord) {
    const MultiplyAlgorithm& fft = fft_algorithm();
    std::mt19937_64 rng(6);
    for (u64 entry = 0; entry < 42; entry += kalvor_test::thinned(4)) {
        const u64 W = fft_parameter_table()[entry].capacity() / 64;
        for (u64 k : {u64(1), u64(2), u64(3 + rng() % 20), u64(20 + rng() % 220)}) {
            const u64 n = W + k;
            Scratch scratch(fft.sizes(n).scratch);
            const MultiplyContext context{serial_context(), scratch.view(), nullptr};
            for (const Kind kind : {Kind::random, Kind::ones, Kind::sparse, Kind::positive}) {
                // halves, one operand as long as the record, one of a word or two
                for (u64 m : {n / 2, k, u64(1), std::min(k + 1, n - 1), std::max<u64>(k, 2) - 1}) {
                    const auto A = operand(kind, n - m, 16, rng()), B = operand(kind, m, 16, rng());
                    Output out(n);
                    fft.mul(context, out.data(), A.data(), n - m, B.data(), m);
                    EXPECT_EQ(out.words(), product(A, B)) << n - m << " x " << m << ", record " << W;
                    EXPECT_TRUE(out.guards_intact());
                }
                // The low words of the product are smaller than the high ones: only top words, and a low one.
                for (int low = 0; low < 3; low++) {
                    std::vector<Word> A(n - n / 2), B(n / 2);
                    A.back() = rng() | 1;
                    B.back() = kind == Kind::ones ? ~Word(0) : rng() | 1;
                    if (low != 0) A.front() = low == 1 ? 1 : ~Word(0);
                    if (low != 0) B.front() = 1;
                    Output out(n);
                    fft.mul(context, out.data(), A.data(), A.size(), B.data(), B.size());
                    EXPECT_EQ(out.words(), product(A, B)) << "top words, " << n << ", record " << W;
                }
                if (n % 2 != 0) continue;
                const auto A = operand(kind, n / 2, 16, rng());
                Output out(n);
                fft.sqr(context, out.data(), A.data(), n / 2);
                EXPECT_EQ(out.words(), product(A, A)) << n / 2 << ", record " << W;
                EXPECT_TRUE(out.guards_intact());
            }
            EXPECT_TRUE(scratch.guards_intact());
        }
    }
}

}  // namespace
