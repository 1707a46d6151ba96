#include "arith/newton/division.h"

#include <cmath>
#include <map>

#include "arith/multiply/algorithm_table.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "newton_test_support.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

Workspace workspace(const DivisionPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.products.bytes, plan.tds);
}

void expect_quotient(const BigFloat& A, const BigFloat& B, u64 p, const std::string& what, u64 tds,
                     DivisionTransforms transforms) {
    const DivisionPlan plan = DivisionPlan::make(p, tds, transforms);
    Workspace w = workspace(plan);
    Division_BigFloatR::run(plan, w.context, null_status(), w.T, A, B, w.buffer());
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_LE(w.T.L, p + 2) << what;
    ASSERT_GT(w.T.L, 0u) << what;
    ASSERT_NE(w.T.T[w.T.L - 1], 0u) << what;
    ASSERT_EQ(w.T.sign, A.sign == B.sign) << what;
    ASSERT_LE(quotient_error(w.T, A, B, p), quotient_error_bits(w.T, p)) << what;
}

void expect_quotient(const BigFloat& A, const BigFloat& B, u64 p, const std::string& what, u64 tds = 1) {
    for (const DivisionTransforms transforms : {DivisionTransforms::kept, DivisionTransforms::none}) {
        expect_quotient(A, B, p, what + (transforms == DivisionTransforms::kept ? "" : " none kept"), tds,
                        transforms);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

// Runs the last step on its own, with a reciprocal that is `lower` units lower, and tells how the remainder's
// window met A's.
newton::Crossing crossing_of(const BigFloat& A, const BigFloat& B, u64 p, Word lower) {
    const DivisionPlan plan = DivisionPlan::make(p, 1);
    Workspace w = workspace(plan);
    LinearWordBuffer buffer = w.buffer();
    const LinearWordBuffer x_words = buffer.cut_from_bottom(plan.x);
    BigFloat x(x_words.get(), x_words.size());
    Reciprocal_BigFloatR::run(plan.reciprocal, w.context, null_status(), x, B, plan.q, buffer);
    EXPECT_GE(x.T[0], lower);
    x.T[0] -= lower;
    x.seal(serial_context());
    const newton::Crossing crossing =
        newton::division_step(plan, w.context, null_status(), w.T, A, B, x.top(plan.q + 2), buffer);
    EXPECT_LE(quotient_error(w.T, A, B, p), error_bits(p));
    return crossing;
}

TEST(DivisionTest, PlanFollowsItsFormulas) {
    const DivisionPlan plan = DivisionPlan::make(1000, 3);
    EXPECT_EQ(plan.p, 1000u);
    EXPECT_EQ(plan.q, 501u);
    EXPECT_EQ(plan.tds, 3u);
    EXPECT_EQ(plan.reciprocal.p, 501u);
    EXPECT_EQ(plan.x, 520u);
    EXPECT_EQ(plan.y, 504u);
    EXPECT_EQ(plan.correction, 512u);
    EXPECT_EQ(plan.result, 1002u);
    EXPECT_EQ(plan.temporaries, 504u + 512u + 520u);
    const MultiplySizes sizes = basic_table64().get_algorithm(1009).sizes(1009);
    EXPECT_GE(plan.products.bytes, 2 * sizes.transform_data + sizes.transform_scratch);
    EXPECT_EQ(plan.products.product_words, 1009u);
    EXPECT_EQ(plan.products.bytes % 64, 0u);
}

TEST(DivisionTest, AllShapesAtAllPrecisions) {
    std::mt19937_64 rng(11);
    for (u64 p : precisions())
        for (int a = 0; a < static_cast<int>(Shape::count); a++)
            for (int b = 0; b < static_cast<int>(Shape::count); b++) {
                const u64 lengths[] = {1, 2, p + 1, p + 2, p + 3, 2 * p + 5};
                const Number A(make_words(static_cast<Shape>(a), lengths[rng() % 6], rng),
                               static_cast<i64>(rng() % 9) - 4, rng() % 2 != 0);
                const Number B(make_words(static_cast<Shape>(b), lengths[rng() % 6], rng),
                               static_cast<i64>(rng() % 9) - 4, rng() % 2 != 0);
                expect_quotient(
                    A.value, B.value, p,
                    "p=" + std::to_string(p) + " shapes=" + std::to_string(a) + "," + std::to_string(b));
                if (HasFatalFailure()) return;
            }
}

void expect_all_shapes(u64 p, u64 tds, u64 pairs, std::mt19937_64& rng) {
    for (u64 i = 0; i < pairs; i++) {
        const u64 a = rng() % 8, b = rng() % 8;
        const Number A(make_words(shape_of(a), operand_length(p, rng), rng), static_cast<i64>(rng() % 9) - 4,
                       rng() % 2 != 0);
        const Number B(make_words(shape_of(b), operand_length(p, rng), rng), static_cast<i64>(rng() % 9) - 4,
                       rng() % 2 != 0);
        expect_quotient(A.value, B.value, p,
                        "p=" + std::to_string(p) + " shapes=" + std::to_string(a) + "," + std::to_string(b),
                        tds);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(DivisionTest, UpTo300Words) {
    std::mt19937_64 rng(19);
    for (u64 p = 0; p <= 300; p += kalvor_test::thinned(7)) {
        expect_all_shapes(p, 1, 12, rng);
        if (HasFatalFailure()) return;
    }
    expect_all_shapes(10000, 2, 8, rng);
}

TEST(SlowDivisionTest, HundredThousandWords) {
    std::mt19937_64 rng(20);
    for (u64 tds : {1, 2, 7}) expect_all_shapes(100000, tds, 8, rng);
}

TEST(DivisionTest, LargePrecisions) {
    std::mt19937_64 rng(12);
    for (u64 p : {999, 1000, 5000}) {
        const Number A(make_words(Shape::random, p, rng)), B(make_words(Shape::random, p + 9, rng), 7, false);
        expect_quotient(A.value, B.value, p, "p=" + std::to_string(p));
        const Number C(make_words(Shape::ones, p, rng)), D(make_words(Shape::one_plus, p, rng));
        expect_quotient(C.value, D.value, p, "ones, p=" + std::to_string(p));
    }
}

// Quotients that end: the last words must be right or one unit of the last kept word off.
TEST(DivisionTest, ExactQuotients) {
    std::mt19937_64 rng(13);
    for (u64 p : {12, 20, 33, 81, 200})
        for (u64 k = 1; k <= p; k += 1 + p / 7) {
            const Number B(make_words(Shape::random, p, rng));
            const Number Q(make_words(Shape::random, k, rng));
            const Integer product = Integer(B.value).times(Integer(Q.value));
            std::vector<Word> words(p + k + 1, 0);
            mpz_export(words.data(), nullptr, -1, sizeof(Word), 0, 0, product.z);
            const Number A(words);
            expect_quotient(A.value, B.value, p + 2, "p=" + std::to_string(p) + " k=" + std::to_string(k));
        }
}

// A dividend with a run of zeros or ones where the window begins makes the remainder cross a multiple of
// 2^(64 w).
TEST(DivisionTest, RemainderCrossesTheWindow) {
    std::mt19937_64 rng(14);
    std::map<newton::Crossing, int> taken;
    for (u64 p = 10; p <= 90; p += p < 40 ? 1 : 17)
        for (bool ones : {false, true})
            for (int round = 0; round < 8; round++) {
                const u64 q = p / 2 + 1;
                // as many words below w as A has, with w at mag - q + 3
                std::vector<Word> words(p + 2, ones ? ~Word(0) : 0);
                words[0] = ones ? ~(rng() >> 44) : rng() >> 44;
                for (u64 i = p + 2 - (q - 3); i < p + 2; i++) words[i] = rng() | 1;
                const Number A(words);
                const Number B(make_words(Shape::random, p + 2, rng), -3);
                taken[crossing_of(A.value, B.value, p, round % 2 == 0 ? 0 : 4)]++;
                expect_quotient(A.value, B.value, p, "p=" + std::to_string(p));
                if (HasFatalFailure()) return;
            }
    EXPECT_GT(taken[newton::Crossing::none], 10);
    EXPECT_GT(taken[newton::Crossing::product_above], 10);
    EXPECT_GT(taken[newton::Crossing::product_below], 10);
}

// The same with the remainder on either side of another multiple of 2^(64 (w - 1)): the windows' top words
// differ by one.
TEST(DivisionTest, RemainderCrossesAWord) {
    std::mt19937_64 rng(18);
    u64 below = 0;
    for (u64 p = 10; p <= 90; p += p < 40 ? 1 : 17)
        for (int round = 0; round < 8; round++) {
            const u64 q = p / 2 + 1;
            std::vector<Word> words(p + 2, 0);
            words[p + 1] = rng() | 1;
            words[p + 4 - q] = 512;  // position w - 1
            const Number A(words);
            const Number B(make_words(Shape::random, p + 2, rng), -3);
            EXPECT_EQ(crossing_of(A.value, B.value, p, round % 2 == 0 ? 0 : 4), newton::Crossing::none);
            expect_quotient(A.value, B.value, p, "p=" + std::to_string(p));
            if (HasFatalFailure()) return;
            below++;
        }
    EXPECT_GT(below, 200u);
}

TEST(DivisionTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(15);
    for (u64 p : {9, 10, 40, 41, 80, 100, 1500, 20000}) {
        const Number A(make_words(Shape::random, p + 2, rng)), B(make_words(Shape::random, p, rng));
        std::vector<Word> first;
        for (u64 tds : {1, 2, 7}) {
            const DivisionPlan plan = DivisionPlan::make(p, tds);
            Workspace w = workspace(plan);
            Division_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, B.value, w.buffer());
            EXPECT_TRUE(w.intact());
            const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
            if (first.empty()) first = words;
            EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
        }
    }
}

TEST(DivisionTest, TheQuotientMayTakeTheDivisorsPlace) {
    std::mt19937_64 rng(21);
    for (const u64 p : {0, 1, 3, 9, 10, 11, 12, 13, 40, 41, 300, 1501, 20000}) {
        for (int round = 0; round < 24; round++) {
            const Number A(make_words(shape_of(rng() % 8), operand_length(p, rng), rng),
                           static_cast<i64>(rng() % 9) - 4, rng() % 2 != 0);
            const Number B(make_words(shape_of(rng() % 8), 1 + rng() % (p + 2), rng), 2, rng() % 2 != 0);
            const auto transforms = round % 2 == 0 ? DivisionTransforms::kept : DivisionTransforms::none;
            const DivisionPlan plan = DivisionPlan::make(p, round % 3 + 1, transforms);
            Workspace apart = workspace(plan), inside = workspace(plan);
            Division_BigFloatR::run(plan, apart.context, null_status(), apart.T, A.value, B.value,
                                    apart.buffer());
            inside.T.set_BigFloat(p, serial_context(), B.value);
            const BigFloat divisor = inside.T;
            Division_BigFloatR::run(plan, inside.context, null_status(), inside.T, A.value, divisor,
                                    inside.buffer());
            ASSERT_TRUE(inside.intact()) << p;
            ASSERT_EQ(inside.T.exp, apart.T.exp) << p;
            ASSERT_EQ(inside.T.sign, apart.T.sign) << p;
            ASSERT_EQ(std::vector<Word>(inside.T.T, inside.T.T + inside.T.L),
                      std::vector<Word>(apart.T.T, apart.T.T + apart.T.L))
                << p;
            inside.T.verify(serial_context(), "quotient");
        }
    }
}

// Without a kept transform a division takes the memory of its longest product.
TEST(DivisionTest, NoKeptTransformIsLessMemory) {
    for (u64 p : {1000, 20000, 1000000, 20000000}) {
        const DivisionPlan kept = DivisionPlan::make(p, 1);
        const DivisionPlan none = DivisionPlan::make(p, 1, DivisionTransforms::none);
        EXPECT_EQ(none.temporaries, kept.temporaries);
        EXPECT_LT(static_cast<double>(none.products.bytes), 0.8 * static_cast<double>(kept.products.bytes))
            << p;
    }
}

TEST(DivisionTest, ZeroDividendAndZeroDivisor) {
    for (u64 p : {3, 9, 10, 50}) {
        const DivisionPlan plan = DivisionPlan::make(p, 1);
        Workspace w = workspace(plan);
        const Number zero({}), three({3});
        Division_BigFloatR::run(plan, w.context, null_status(), w.T, zero.value, three.value, w.buffer());
        EXPECT_EQ(w.T.L, 0u);
        try {
            Division_BigFloatR::run(plan, w.context, null_status(), w.T, three.value, zero.value, w.buffer());
            ADD_FAILURE();
        } catch (const ArithmeticException& e) {
            EXPECT_EQ(e.message, "Divide by zero.");
        }
    }
}

TEST(DivisionTest, PlanLimits) {
    const DivisionPlan plan = DivisionPlan::make(50, 2);
    Workspace w = workspace(plan);
    const Number A({7}), B({3});
    for (u64 tds : {1, 3}) try {
            Division_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, A.value, B.value,
                                    w.buffer());
            ADD_FAILURE();
        } catch (const InvalidParametersException& e) {
            EXPECT_EQ(e.function, "Division_BigFloatR<wtype>::run()");
            EXPECT_EQ(e.message, "Mismatching tds.");
        }
    try {
        Division_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, B.value,
                                LinearWordBuffer(w.temporaries.get(), plan.temporaries - 1));
        ADD_FAILURE();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "Division_BigFloatR::run()");
        EXPECT_EQ(e.buffer_size, plan.temporaries - 1);
        EXPECT_EQ(e.required_size, plan.temporaries);
    }
    BigFloat small(w.result.get(), plan.result - 1);
    try {
        Division_BigFloatR::run(plan, w.context, null_status(), small, A.value, B.value, w.buffer());
        ADD_FAILURE();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "Division_BigFloatR::run()");
        EXPECT_EQ(e.required_size, plan.result);
    }
    const MultiplyContext tight =
        w.context.with_scratch(AlignedBufferC(w.scratch.get(), plan.products.bytes - 64));
    try {
        Division_BigFloatR::run(plan, tight, null_status(), w.T, A.value, B.value, w.buffer());
        ADD_FAILURE();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "TransformHelper::TransformHelper()");
    }
}

// A wrong reciprocal leaves a remainder that does not cancel.
TEST(DivisionTest, WrongReciprocalIsFound) {
    const u64 p = 40;
    std::mt19937_64 rng(16);
    const Number A(make_words(Shape::random, p, rng)), B(make_words(Shape::random, p, rng));
    for (u64 depth : {0, 1, 7}) {
        const DivisionPlan plan = DivisionPlan::make(p, 1);
        Workspace w = workspace(plan);
        LinearWordBuffer buffer = w.buffer();
        const LinearWordBuffer x_words = buffer.cut_from_bottom(plan.x);
        BigFloat x(x_words.get(), x_words.size());
        Reciprocal_BigFloatR::run(plan.reciprocal, w.context, null_status(), x, B.value, plan.q, buffer);
        x.T[x.L - 1 - depth] ^= Word(1) << 20;
        x.seal(serial_context());
        try {
            newton::division_step(plan, w.context, null_status(), w.T, A.value, B.value, x.top(plan.q + 2),
                                  buffer);
            ADD_FAILURE() << depth;
        } catch (const AlgorithmFailedException& e) {
            EXPECT_EQ(e.function, "Division_BigFloatR::run()");
            EXPECT_EQ(e.message.rfind("Convergence Failure:\n    topA = ", 0), 0u) << e.message;
            const u64 second = e.message.find("\n    topB = ");
            ASSERT_NE(second, std::string::npos) << e.message;
            // topA is A's word below w = mag - q + 3
            const Word top = A.words[p - plan.q + 2];
            EXPECT_EQ(e.message.substr(32, second - 32), std::to_string(top));
        }
    }
}

TEST(DivisionTest, LargeDivisionAnnouncesItself) {
    const u64 p = 20;
    std::mt19937_64 rng(17);
    const Number A(make_words(Shape::random, p, rng)), B(make_words(Shape::random, p, rng));
    const DivisionPlan plan = DivisionPlan::make(p, 1);
    Workspace w(plan.needs());
    RecordingStatus status;
    large_division(plan, w.context, status, w.T, A.value, B.value);
    EXPECT_TRUE(w.intact());
    EXPECT_EQ(status.sections, std::vector<std::string>{"Large Division..."});
    ASSERT_GE(status.frames.size(), 6u);
    EXPECT_EQ(status.frames[0], "Iterating: ");
    EXPECT_EQ(status.frames[1], " 0M 211");  // the reciprocal, 11 words
    EXPECT_TRUE(status.frames[2] == " O1M 211" || status.frames[2] == " U1M 211") << status.frames[2];
    EXPECT_EQ(status.frames[3], " 0M 211");
    EXPECT_EQ(status.frames[4], " 1M 385");
    EXPECT_EQ(status.frames[5], " 2M 385");
    EXPECT_EQ(status.depth, 0u);
    EXPECT_LE(quotient_error(w.T, A.value, B.value, p), error_bits(p));
}

}  // namespace
}  // namespace trel
