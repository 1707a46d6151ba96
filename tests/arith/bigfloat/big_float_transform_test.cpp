#include "arith/bigfloat/big_float_transform.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>

#include "arith/bigfloat/number.h"
#include "arith/bigfloat/transform_helper.h"
#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "reference/fold_transform.h"
#include "support/capture_console.h"
#include "support/changed_numbers.h"
#include "support/effort.h"
#include "support/monitored_run.h"
#include "support/scratch.h"

using namespace trel;
using reference::Fold;
using reference::low_words;
using reference::magnitude_at;
using reference::shifted;
using reference::Words;

namespace {

const ParallelContext& parallel = serial_context();

// Where the transforms of a test come from.
enum class Source { cyclic, negacyclic, basecase, table };

std::string source_name(const testing::TestParamInfo<Source>& info) {
    static const char* const names[] = {"Cyclic", "Negacyclic", "Basecase", "Table"};
    return names[static_cast<int>(info.param)];
}

void make(TransformHolder& holder, Source source, u64 words) {
    switch (source) {
        case Source::cyclic:
            holder.emplace<reference::FoldTransform>(Fold::cyclic, words);
            break;
        case Source::negacyclic:
            holder.emplace<reference::FoldTransform>(Fold::negacyclic, words);
            break;
        case Source::basecase:
            find_algorithm(TableSlot::basic64, "BKT")
                ->algorithm->make_transform(holder, words, {serial_context(), {}});
            break;
        case Source::table: {
            const MultiplyContext context{parallel, {}};
            make_transform(holder, words, context);
        }
    }
}

// A transform with the memory of its BigFloatTransformR.
struct Bound {
    Bound(Source source, u64 words) {
        make(holder, source, words);
        data.emplace(holder->data_bytes());
        second.emplace(holder->data_bytes());
        scratch.emplace(holder->data_bytes() + holder->scratch_bytes());
        object.emplace(*holder, data->data());
        other.emplace(*holder, second->data());
        EXPECT_EQ(object->scratch_bytes(), scratch->size());
    }
    ~Bound() {
        EXPECT_TRUE(data->guards_intact());
        EXPECT_TRUE(second->guards_intact());
        EXPECT_TRUE(scratch->guards_intact());
    }
    MultiplyContext context(u64 tds = 1) const { return {parallel.with_tds(tds), scratch->view()}; }

    TransformHolder holder;
    std::optional<Scratch> data, second, scratch;
    std::optional<BigFloatTransformR> object, other;
};

// What a window operation may deliver: the words [max(ie - 2, lowest clean, e0), min(te, top)) of A * B, the
// lowest of them one unit off when the product wraps.
void expect_delivered(const BigFloat& T, const BigFloat& a, const BigFloat& b, u64 W, i64 ie, i64 te) {
    const i64 e0 = a.exp + b.exp;
    const u64 n = a.L + b.L;
    const bool wraps = n > W;
    const i64 clean = e0 + i64(wraps ? n - W : 0);
    const i64 bottom = std::max(ie - 2, clean);
    const i64 top = std::min(te, e0 + i64(n));
    if (top <= bottom) {
        EXPECT_EQ(T.L, 0u);
        return;
    }
    const u64 m = static_cast<u64>(top - bottom);
    const mpz_class product = shifted(magnitude_at(a, a.exp) * magnitude_at(b, b.exp), e0 - bottom);
    if (T.L == 0) {
        EXPECT_EQ(T.exp, 0);
        EXPECT_TRUE(T.sign);
    } else {
        EXPECT_EQ(T.exp, bottom);
        EXPECT_LE(T.L, m);
        EXPECT_NE(T.T[T.L - 1], 0u);
        EXPECT_EQ(T.sign, a.sign == b.sign);
    }
    const mpz_class got = shifted(magnitude_at(T, T.exp), 0);
    // One unit either way, modulo the window (its top may be cut).
    const mpz_class off = low_words(product - got + 1, m);
    if (wraps) {
        EXPECT_LE(off, 2) << "W=" << W << " n=" << n;
    } else {
        EXPECT_EQ(off, 1) << "W=" << W << " n=" << n;
    }
}

Words to_words(const mpz_class& z) {
    Words words(mpz_sizeinbase(z.get_mpz_t(), 2) / 64 + 1);
    mpz_export(words.data(), nullptr, -1, sizeof(Word), 0, 0, z.get_mpz_t());
    while (words.back() == 0) words.pop_back();
    return words;
}

class WindowedProductsTest : public testing::TestWithParam<Source> {};

TEST_P(WindowedProductsTest, EveryOperationDeliversItsWindow) {
    std::mt19937_64 rng(1);
    for (int repeat = 0; repeat < 1500; repeat++) {
        // A product of LA + LB words on a transform that holds each operand but often not the product.
        const bool large = GetParam() == Source::table && repeat % 10 == 0;
        const u64 limit =
            large ? std::min<u64>(1000, basic_table64().items().back().threshold_words / 2) : 24;
        const u64 largest = basic_table64().items().back().threshold_words;
        const u64 LA = 1 + rng() % limit, LB = 1 + rng() % limit;
        const u64 need = std::max(LA, LB);
        Bound t(GetParam(), std::min(need + rng() % (LA + LB), largest));
        const u64 W = t.holder->convolution_words();
        const MultiplyContext context = t.context(1 + rng() % 3);

        Number A(random_words(LA, rng), i64(rng() % 17) - 8, rng() % 2);
        Number B(random_words(LB, rng), i64(rng() % 17) - 8, rng() % 2);
        const u64 pA = rng() % (LA + 2), pB = rng() % (LB + 2);
        const BigFloat a = A->top(pA + 2), b = B->top(pB + 2);

        // A window inside what the transform can deliver at the top, and reaching beyond the product
        // everywhere else.
        const auto window = [&](const BigFloat& x, const BigFloat& y) {
            const i64 e0 = x.exp + y.exp;
            const u64 n = x.L + y.L;
            const i64 highest = n > W ? e0 + i64(W) : e0 + i64(n) + i64(rng() % 4);
            const i64 te = rng() % 3 == 0 ? highest : highest - i64(rng() % (n + 3));
            return std::pair{te - i64(rng() % (n + 5)), te};
        };
        Number T(2 * (LA + LB) + 4);
        SCOPED_TRACE(testing::Message() << "repeat=" << repeat);
        {
            const auto [ie, te] = window(a, b);
            t.object->mul_rr_xx(context, T, A, pA, B, pB, ie, te);
            expect_delivered(T, a, b, W, ie, te);
            EXPECT_FALSE(t.object->held());
        }
        {
            const auto [ie, te] = window(a, a);
            t.object->sqr_r_x(context, T, A, pA, ie, te);
            expect_delivered(T, a, a, W, ie, te);
            EXPECT_FALSE(t.object->held());
        }
        {
            const auto [ie, te] = window(a, b);
            t.object->mul_rr_xf(context, T, A, pA, B, pB, ie, te);
            expect_delivered(T, a, b, W, ie, te);
            EXPECT_TRUE(t.object->held());
            EXPECT_EQ(t.object->exp(), a.exp);
            EXPECT_EQ(t.object->length(), a.L);
        }
        for (int use = 0; use < 2; use++) {  // the held transform of A survives
            const auto [ie, te] = window(a, b);
            t.object->mul_rf_xf(context, T, B, pB, ie, te);
            expect_delivered(T, b, a, W, ie, te);
        }
        {
            const auto [ie, te] = window(a, a);
            t.object->sqr_rx_xf(context, T, A, pA, ie, te);
            expect_delivered(T, a, a, W, ie, te);
            EXPECT_TRUE(t.object->held());
        }
        t.other->forward(context, B, pB);
        {
            const auto [ie, te] = window(a, b);
            t.object->inverse_fmul(context, T, *t.other, ie, te);
            expect_delivered(T, a, b, W, ie, te);
            EXPECT_FALSE(t.object->held());
            EXPECT_TRUE(t.other->held());
        }
        {
            const auto [ie, te] = window(b, b);
            t.other->inverse_fsqr(context, T, ie, te);
            expect_delivered(T, b, b, W, ie, te);
            EXPECT_FALSE(t.other->held());
        }
    }
}

TEST_P(WindowedProductsTest, ZeroOperandsAndEmptyWindows) {
    Bound t(GetParam(), 20);
    const MultiplyContext context = t.context();
    Number A({1, 2, 3}, 4, false), zero(0), T(10);
    const auto expect_zero = [&] {
        EXPECT_EQ(T->L, 0u);
        T->L = 1;
    };
    t.object->mul_rr_xx(context, T, A, 9, zero, 9, 0, 20);
    expect_zero();
    t.object->mul_rr_xx(context, T, zero, 9, A, 9, 0, 20);
    expect_zero();
    t.object->sqr_r_x(context, T, zero, 9, 0, 20);
    expect_zero();
    t.object->mul_rr_xf(context, T, A, 9, zero, 9, 0, 20);
    expect_zero();
    EXPECT_TRUE(t.object->held());  // A's transform is kept anyway
    t.object->mul_rf_xf(context, T, A, 9, 0, 20);
    EXPECT_EQ(T->L, 5u);
    t.object->mul_rf_xf(context, T, zero, 9, 0, 20);
    expect_zero();
    t.object->mul_rr_xf(context, T, zero, 9, A, 9, 0, 20);
    expect_zero();
    t.object->mul_rf_xf(context, T, A, 9, 0, 20);  // the held zero
    expect_zero();
    t.object->sqr_rx_xf(context, T, zero, 9, 0, 20);
    expect_zero();
    t.other->forward(context, A, 9);
    t.object->inverse_fmul(context, T, *t.other, 0, 20);
    expect_zero();
    t.object->forward(context, zero, 9);
    t.object->inverse_fsqr(context, T, 0, 20);
    expect_zero();
    // Windows that the product does not reach: A * A has the exponents 8 .. 13.
    for (auto [ie, te] : {std::pair<i64, i64>{-5, 8}, {16, 20}, {12, 9}, {10, 8}}) {
        t.object->mul_rr_xx(context, T, A, 9, A, 9, ie, te);
        expect_zero();
        t.object->mul_rr_xf(context, T, A, 9, A, 9, ie, te);
        expect_zero();
        t.object->mul_rf_xf(context, T, A, 9, 0, 20);
        EXPECT_EQ(T->L, 5u);
    }
}

// Operands whose length or exponent has changed so that nothing of the product is left in the window.
TEST_P(WindowedProductsTest, NumbersThatVanishAreNoticed) {
    Bound t(GetParam(), 20);
    const MultiplyContext context = t.context();
    Number A({1, 2, 3}, 4, false), T(10);
    BigFloat gone = A.value, below = A.value;
    gone.L = 0;
    below.exp -= 64;
    for (const BigFloat& damaged : {gone, below}) {
        EXPECT_THROW(t.object->mul_rr_xx(context, T, A, 9, damaged, 9, 0, 20), AlgorithmFailedException);
        EXPECT_THROW(t.object->mul_rr_xx(context, T, damaged, 9, A, 9, 0, 20), AlgorithmFailedException);
        EXPECT_THROW(t.object->sqr_r_x(context, T, damaged, 9, 0, 20), AlgorithmFailedException);
        EXPECT_THROW(t.object->mul_rr_xf(context, T, A, 9, damaged, 9, 0, 20), AlgorithmFailedException);
        EXPECT_THROW(t.object->mul_rf_xf(context, T, damaged, 9, 0, 20), AlgorithmFailedException);
        EXPECT_THROW(t.object->sqr_rx_xf(context, T, damaged, 9, 0, 20), AlgorithmFailedException);
        EXPECT_THROW(t.object->forward(context, damaged, 9), AlgorithmFailedException);
    }
}

// A bit of the place, length or sign of a held transform changes, or of the place of a product while it is
// made. The product's residue would fit.
TEST_P(WindowedProductsTest, ChangedPlacesAreFound) {
    Bound t(GetParam(), 20);
    Number A({1, 2, 3}, 4, false), B({4, 5}, -1, true), T(10);
    RunMonitor monitor;
    MultiplyContext context = t.context();
    context.parallel.run = &monitor;
    const std::function<void()> operations[] = {
        [&] { t.object->mul_rr_xx(context, T, A, 9, B, 9, 0, 20); },
        [&] { t.object->sqr_r_x(context, T, A, 9, 0, 20); },
        [&] { t.object->mul_rr_xf(context, T, A, 9, B, 9, 0, 20); },
        [&] {
            t.object->forward(context, A, 9);
            t.object->mul_rf_xf(context, T, B, 9, 0, 20);
        },
        [&] { t.object->sqr_rx_xf(context, T, A, 9, 0, 20); },
        [&] {
            t.object->forward(context, A, 9);
            t.other->forward(context, B, 9);
            t.object->inverse_fmul(context, T, *t.other, 0, 20);
        },
        [&] {
            t.object->forward(context, A, 9);
            t.object->inverse_fsqr(context, T, 0, 20);
        },
    };
    // Place and sign of the product, and the places of the transforms that are held.
    const u64 stages[] = {2, 2, 3, 3, 3, 4, 3};
    for (u64 k = 0; k < std::size(operations); k++) {
        kalvor_test::OneChangedNumber counter(kalvor_test::OneChangedNumber::kNever, 0, "place");
        monitor.stages = &counter;
        operations[k]();
        T->verify(parallel, "the product");
        ASSERT_EQ(counter.count, stages[k]) << k;
        for (u64 i = 0; i < counter.count; i++) {
            for (u64 bit = 0; bit < 256; bit += 8) {
                kalvor_test::OneChangedNumber change(i, bit, "place");
                monitor.stages = &change;
                EXPECT_THROW(operations[k](), AlgorithmFailedException) << k << " " << i << " " << bit;
            }
        }
    }
}

// A^2 - B for a B that agrees with A^2 above the window, on convolutions down to the window's own length.
TEST_P(WindowedProductsTest, SquareMinusANearNumber) {
    std::mt19937_64 rng(9);
    for (int repeat = 0; repeat < 400; repeat++) {
        const u64 LA = 4 + rng() % 20;
        const u64 shift = rng() % LA;  // B - A^2 reaches up to the middle of the square and beyond
        const u64 te_words = LA + 1 + rng() % (LA - 2);  // the window's top, from A^2's bottom
        const u64 asked = std::max(LA, te_words) + rng() % 8;
        Bound t(GetParam(), asked);
        Number A(random_words(LA, rng), static_cast<i64>(rng() % 7) - 3, true);
        const i64 e0 = 2 * A->exp;
        const mpz_class square = magnitude_at(A, A->exp) * magnitude_at(A, A->exp);
        // a signed difference below 2^(64 (te - 1))
        mpz_class difference = low_words(reference::mpz_of(rng()) << (64 * shift), te_words - 1);
        if (rng() % 2 != 0) difference = -difference;
        if (rng() % 5 == 0) difference = 0;
        const mpz_class b = square - difference;
        if (b <= 0) continue;
        const u64 below = rng() % 3;  // words of B below A^2
        const mpz_class scaled = b << static_cast<unsigned>(64 * below);
        Number B(to_words(scaled), e0 - static_cast<i64>(below), true);
        const u64 from = rng() % (te_words - 1);
        const i64 ie = e0 + static_cast<i64>(from), te = e0 + static_cast<i64>(te_words);
        Number T(te_words - from);
        t.object->sqr_rx_xf_minus(t.context(1 + repeat % 2), T, A, LA, B, ie, te);
        EXPECT_EQ(T->residue, reference_residue(T));
        if (repeat % 4 == 0) {
            // What changes in the window behind its product is not taken for right.
            kalvor_test::OneChangedNumber change(0, rng(), "window");
            RunMonitor monitor;
            monitor.stages = &change;
            MultiplyContext context = t.context();
            context.parallel.run = &monitor;
            Number damaged(te_words - from);
            // Builds that compare every number notice it at once.
            const auto found = [&] {
                t.object->sqr_rx_xf_minus(context, damaged, A, LA, B, ie, te);
                damaged->verify(serial_context(), "window");
            };
            EXPECT_THROW(found(), AlgorithmFailedException);
            EXPECT_EQ(change.count, 1u);
        }
        const u64 m = te_words - from;
        const mpz_class got = T->L == 0 ? mpz_class(0) : shifted(magnitude_at(T, T->exp), T->exp - ie);
        const mpz_class off = low_words(shifted(difference, -static_cast<i64>(from)) - got + 3, m);
        EXPECT_LE(off, 6) << "LA=" << LA << " te=" << te_words << " from=" << from << " W=" << asked;
        EXPECT_TRUE(t.object->held());
    }
    Bound t(GetParam(), 12);
    Number A(random_words(8, rng), 0, true);
    Number T(40);
    EXPECT_THROW(t.object->sqr_rx_xf_minus(t.context(), T, A, 8, A, -1, 5), InvalidTransformException);
    EXPECT_THROW(t.object->sqr_rx_xf_minus(t.context(), T, A, 8, A, 5, 5), InvalidTransformException);
    const i64 W = static_cast<i64>(t.holder->convolution_words());
    EXPECT_THROW(t.object->sqr_rx_xf_minus(t.context(), T, A, 8, A, 0, W + 1), InvalidTransformException);
}

INSTANTIATE_TEST_SUITE_P(Sources, WindowedProductsTest,
                         testing::Values(Source::cyclic, Source::negacyclic, Source::basecase, Source::table),
                         source_name);

// The same where the algorithms fold: the window begins a word or two above A^2's bottom, for the transforms
// whose carries are longer that many words above it.
TEST(BigFloatTransformRTest, SquareMinusANearNumberFoldsInTransforms) {
    struct Case {
        const char* algorithm;
        u64 least, most;  // words of A
        u64 carry;        // words that the carry out of the top point reaches beyond the lowest
    };
    std::mt19937_64 rng(10);
    for (const Case& c : {Case{"FFT", 300, 1500, 0}, Case{"C17", 3300, 6000, 0}, Case{"N32", 600, 1500, 16},
                          Case{"N64", 3000, 8000, 16}, Case{"HNT", 600, 1500, 100}}) {
        u64 folded = 0;
        for (int repeat = 0; repeat < 24; repeat += kalvor_test::thinned(3)) {
            const u64 LA = c.least + rng() % (c.most - c.least);
            const u64 te_words = LA + 1 + rng() % (LA / 8);
            TransformHolder holder;
            find_algorithm(TableSlot::basic64, c.algorithm)
                ->algorithm->make_transform(holder, te_words, {serial_context(), {}});
            Scratch data(holder->data_bytes()), scratch(holder->data_bytes() + holder->scratch_bytes());
            BigFloatTransformR object(*holder, data.data());
            folded += 2 * LA > holder->convolution_words();

            Number A(random_words(LA, rng), static_cast<i64>(rng() % 7) - 3, true);
            if (repeat % 4 == 3) std::fill_n(A->T, LA, ~Word(0));
            A->seal(parallel);
            const i64 e0 = 2 * A->exp;
            const mpz_class square = magnitude_at(A, A->exp) * magnitude_at(A, A->exp);
            Words random(te_words - 1);
            for (Word& word : random) word = rng();
            mpz_class difference = reference::to_mpz(random);
            if (repeat % 2 != 0) difference = -difference;
            Number B(to_words(square - difference), e0, true);
            for (const u64 from : {c.carry + 1, c.carry + 2}) {
                const i64 ie = e0 + static_cast<i64>(from), te = e0 + static_cast<i64>(te_words);
                const u64 m = te_words - from;
                Number T(m);
                object.sqr_rx_xf_minus({parallel, scratch.view()}, T, A, LA, B, ie, te);
                const mpz_class got =
                    T->L == 0 ? mpz_class(0) : shifted(magnitude_at(T, T->exp), T->exp - ie);
                const mpz_class off = low_words(shifted(difference, -static_cast<i64>(from)) - got + 3, m);
                EXPECT_LE(off, 6) << c.algorithm << " LA=" << LA << " te=" << te_words << " from=" << from
                                  << " W=" << holder->convolution_words();
            }
            EXPECT_TRUE(data.guards_intact() && scratch.guards_intact());
        }
        EXPECT_GE(folded, 8 / kalvor_test::thinned(4)) << c.algorithm;
    }
}

TEST(BigFloatTransformRTest, ParamsArithmetic) {
    Bound t(Source::cyclic, 10);
    const auto expect_window = [&](i64 ie, i64 te, i64 e0, u64 n, i64 b, u64 m, u64 skip) {
        const BigFloatTransformR::Window w = t.object->params(ie, te, e0, n);
        EXPECT_FALSE(w.empty);
        EXPECT_EQ(w.b, b);
        EXPECT_EQ(w.m, m);
        EXPECT_EQ(w.skip, skip);
        EXPECT_EQ(w.total, skip + m);
    };
    expect_window(-100, 100, 5, 8, 5, 8, 0);    // no wrap, everything
    expect_window(7, 11, 5, 8, 7, 4, 2);        // cut at both ends
    expect_window(-100, 100, 5, 10, 5, 10, 0);  // n = W: nothing wraps, the top is free
    expect_window(6, 20, 5, 10, 6, 9, 1);
    expect_window(-100, 15, 5, 13, 8, 7, 3);  // 13 words: clean words 3 .. 9
    expect_window(9, 13, 5, 13, 9, 4, 4);
    EXPECT_TRUE(t.object->params(-100, 8, 5, 13).empty);  // entirely below the clean range
    EXPECT_TRUE(t.object->params(-100, 5, 5, 8).empty);
    EXPECT_TRUE(t.object->params(13, 20, 5, 8).empty);
    EXPECT_TRUE(t.object->params(9, 9, 5, 8).empty);
    EXPECT_TRUE(t.object->params(0, 15, 5, 20).empty);  // n = 2 W: nothing is clean
    for (u64 n : {11, 13, 20}) {
        try {
            (void)t.object->params(-7, 16, 5, n);
            FAIL();
        } catch (const InvalidTransformException& e) {
            EXPECT_EQ(e.function, "BigFloatTransformR::params()");
            EXPECT_EQ(e.message, "ie = -7, te = 16");
        }
    }
}

TEST(BigFloatTransformRTest, OperandsLongerThanTheTransform) {
    Bound t(Source::cyclic, 5);
    const MultiplyContext context = t.context();
    Number A({1, 2, 3, 4, 5, 6}, 0, true), T(20);
    const auto expect_short = [](auto&& call) {
        try {
            call();
            FAIL();
        } catch (const TransformTooSmallException& e) {
            EXPECT_EQ(e.function, "BigFloatTransformR::forward()");
            EXPECT_EQ(e.message, "Transform length is too small.");
        }
    };
    expect_short([&] { t.object->forward(context, A, 4); });
    EXPECT_FALSE(t.object->held());
    t.object->forward(context, A, 3);
    EXPECT_EQ(t.object->length(), 5u);
    EXPECT_EQ(t.object->exp(), 1);
    expect_short([&] { t.object->mul_rf_xf(context, T, A, 4, 0, 5); });
    expect_short([&] { t.object->sqr_r_x(context, T, A, 4, 0, 5); });
    expect_short([&] { t.object->mul_rr_xx(context, T, A, 3, A, 4, 0, 5); });
}

TEST(BigFloatTransformRTest, ResultsThatDoNotFit) {
    Bound t(Source::negacyclic, 20);
    const MultiplyContext context = t.context();
    Number A({1, 2, 3}, 0, true), T(3);
    const auto expect_small = [&](const std::string& function, u64 required, auto&& call) {
        try {
            call();
            FAIL() << function;
        } catch (const BufferTooSmallException& e) {
            EXPECT_EQ(e.function, "BigFloatTransformR::" + function + "()");
            EXPECT_EQ(e.buffer_size, 3u);
            EXPECT_EQ(e.required_size, required);
        }
    };
    // Words 4 and 5, and two guard words.
    expect_small("sqr_r_x", 4, [&] { t.object->sqr_r_x(context, T, A, 9, 4, 9); });
    expect_small("mul_rr_xx", 4, [&] { t.object->mul_rr_xx(context, T, A, 9, A, 9, 4, 9); });
    expect_small("mul_rr_xf", 4, [&] { t.object->mul_rr_xf(context, T, A, 9, A, 9, 4, 9); });
    expect_small("mul_rf_xf", 4, [&] { t.object->mul_rf_xf(context, T, A, 9, 4, 9); });
    expect_small("sqr_rx_xf", 6, [&] { t.object->sqr_rx_xf(context, T, A, 9, 0, 9); });
    t.other->forward(context, A, 9);
    expect_small("inverse_fmul", 4, [&] { t.object->inverse_fmul(context, T, *t.other, 4, 9); });
    expect_small("inverse_fsqr", 4, [&] { t.other->inverse_fsqr(context, T, 4, 9); });
    t.object->sqr_r_x(context, T, A, 9, 5, 9);
    EXPECT_EQ(T->exp, 3);
}

TEST(BigFloatTransformRTest, HeldTransformsMustExistAndMatch) {
    Bound t(Source::cyclic, 12), same(Source::cyclic, 12), longer(Source::cyclic, 13);
    const MultiplyContext context = t.context();
    Number A({1, 2, 3}, 0, true), T(20);
    const auto expect_invalid = [](const std::string& function, auto&& call) {
        try {
            call();
            FAIL() << function;
        } catch (const InvalidTransformException& e) {
            EXPECT_EQ(e.function, "BigFloatTransformR::" + function + "()");
            EXPECT_EQ(e.message, "Invalid Transform Parameters");
        }
    };
    CaptureConsole console;
    MonitoredRun run;
    MultiplyContext monitored = context;
    monitored.parallel.run = run.context().run;
    expect_invalid("mul_rf_xf", [&] { t.object->mul_rf_xf(monitored, T, A, 9, 0, 9); });
    run.show();
    std::string dump;
    for (const std::string& line : A->dump()) dump += line + "\n";
    EXPECT_EQ(console.take(), dump);
    expect_invalid("inverse_fsqr", [&] { t.object->inverse_fsqr(context, T, 0, 9); });
    t.object->forward(context, A, 9);
    expect_invalid("inverse_fmul", [&] { t.object->inverse_fmul(context, T, *t.other, 0, 9); });

    same.object->forward(same.context(), A, 9);
    t.object->inverse_fmul(context, T, *same.object, 0, 9);
    EXPECT_EQ(T->L, 5u);

    t.object->forward(context, A, 9);
    longer.object->forward(longer.context(), A, 9);
    try {
        t.object->inverse_fmul(context, T, *longer.object, 0, 9);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_STREQ(e.get_typename(), "InvalidParametersException");
        EXPECT_EQ(e.function, "BigFloatTransformR::inverse_fmul()");
        EXPECT_EQ(e.message, "Mismatching Transform Parameters");
    }
    EXPECT_FALSE(t.object->held());
    EXPECT_FALSE(longer.object->held());
}

TEST(TransformHelperTest, SquaresKeepTheTopWordsAndTwoGuards) {
    std::mt19937_64 rng(2);
    const u64 limit = std::min<u64>(600, basic_table64().items().back().threshold_words / 2 - 3);
    for (int repeat = 0; repeat < 400; repeat++) {
        const u64 longest = repeat % 10 ? 37 : limit;
        const u64 p = 1 + rng() % longest;
        Number A(random_words(1 + rng() % std::min(p + 5, longest), rng), i64(rng() % 17) - 8, rng() % 2);
        const MultiplyContext sizes{parallel, {}};
        Scratch scratch(TransformHelper::scratch_bytes(sizes, A->L, p));
        const TransformHelper helper({parallel, scratch.view()}, A, p);
        EXPECT_GE(helper.transform().convolution_words(), 2 * std::min(p, A->L) + 6);
        Number T(p + 2);
        for (int use = 0; use < 2; use++) {
            helper.sqr(T, A);
            const BigFloat a = A->top(p + 2);
            const mpz_class square = magnitude_at(a, a.exp) * magnitude_at(a, a.exp);
            const i64 bottom = std::max(2 * a.mag() - i64(p), 2 * A->exp) - 2;
            const i64 lowest = std::max(bottom, 2 * a.exp);
            expect_value(T, shifted(square, 2 * a.exp - lowest), lowest, true);
        }
        EXPECT_TRUE(scratch.guards_intact());

        Scratch less(scratch.size() - 64);
        try {
            const TransformHelper refused({parallel, less.view()}, A, p);
            FAIL();
        } catch (const BufferTooSmallException& e) {
            EXPECT_EQ(e.function, "TransformHelper::TransformHelper()");
            EXPECT_EQ(e.buffer_size, less.size());
            EXPECT_EQ(e.required_size, scratch.size());
        }
    }
}

}  // namespace
