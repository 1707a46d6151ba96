#include "arith/newton/reciprocal.h"

#include <cmath>

#include "arith/kernels/word_array.h"
#include "arith/newton/error_term.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "newton_test_support.h"
#include "support/effort.h"
#include "support/message_of.h"

namespace trel {
namespace {

using namespace kalvor_test;
using kalvor_test::message_of;

Workspace workspace(const ReciprocalPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.products.bytes, plan.tds);
}

void expect_reciprocal(const BigFloat& A, u64 p, u64 tds, Status& status, const std::string& what) {
    const ReciprocalPlan plan = ReciprocalPlan::make(p, tds);
    Workspace w = workspace(plan);
    Reciprocal_BigFloatR::run(plan, w.context, status, w.T, A, p, w.buffer());
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_GT(w.T.L, 0u) << what;
    ASSERT_NE(w.T.T[w.T.L - 1], 0u) << what;
    ASSERT_LE(w.T.L, p + 3) << what;
    ASSERT_EQ(w.T.sign, A.sign) << what;
    const Number one({1});
    ASSERT_LE(quotient_error(w.T, one.value, A, p), error_bits(p)) << what;
}

TEST(ReciprocalTest, PlanFollowsItsFormulas) {
    const ReciprocalPlan plan = ReciprocalPlan::make(1000, 7);
    EXPECT_EQ(plan.p, 1000u);
    EXPECT_EQ(plan.tds, 7u);
    EXPECT_EQ(plan.basic.p, 10u);
    EXPECT_EQ(plan.basic.tds, 7u);
    EXPECT_EQ(plan.basic.result, 13u);
    EXPECT_EQ(plan.basic.temporaries, 16u);
    EXPECT_EQ(plan.result, 1019u);
    EXPECT_EQ(plan.temporaries, 504u + 504u);
    EXPECT_EQ(plan.products.bytes % 64, 0u);
    const ReciprocalPlan small = ReciprocalPlan::make(2, 1);
    EXPECT_EQ(small.basic.result, 5u);
    EXPECT_EQ(small.basic.temporaries, 8u);
    EXPECT_EQ(small.result, 21u);
    EXPECT_EQ(small.temporaries, 16u);
}

TEST(ReciprocalTest, AllShapesAtAllPrecisions) {
    std::mt19937_64 rng(1);
    RecordingStatus status;
    for (u64 p : precisions())
        for (int shape = 0; shape < static_cast<int>(Shape::count); shape++)
            for (u64 n : {u64(1), u64(2), p + 1, p + 2, p + 3, 2 * p + 5}) {
                const Number A(make_words(static_cast<Shape>(shape), n, rng), static_cast<i64>(rng() % 9) - 4,
                               rng() % 2 != 0);
                expect_reciprocal(
                    A.value, p, 1, status,
                    "p=" + std::to_string(p) + " shape=" + std::to_string(shape) + " n=" + std::to_string(n));
                if (HasFatalFailure()) return;
            }
    EXPECT_EQ(status.depth, 0u);
    EXPECT_GT(status.count(" 0M "), 100u);
    EXPECT_GT(status.count(" O1M "), 100u);
    // every level has one product of its own, and no correction when it is exact
    EXPECT_GT(status.count(" 0M "), status.count(" O1M ") + status.count(" U1M ") + 100);
}

void expect_all_shapes(u64 p, u64 tds, std::mt19937_64& rng, Status& status) {
    for (u64 i = 0; i < static_cast<u64>(Shape::count); i++) {
        const u64 n = operand_length(p, rng);
        const Number A(make_words(shape_of(i), n, rng), static_cast<i64>(rng() % 9) - 4, rng() % 2 != 0);
        expect_reciprocal(
            A.value, p, tds, status,
            "p=" + std::to_string(p) + " shape=" + std::to_string(i) + " n=" + std::to_string(n));
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(ReciprocalTest, UpTo300Words) {
    std::mt19937_64 rng(6);
    for (u64 p = 0; p <= 300; p += kalvor_test::thinned(7)) {
        expect_all_shapes(p, 1, rng, null_status());
        if (HasFatalFailure()) return;
    }
    expect_all_shapes(10000, 2, rng, null_status());
}

TEST(SlowReciprocalTest, HundredThousandWords) {
    std::mt19937_64 rng(7);
    for (u64 tds : {1, 2, 7}) expect_all_shapes(100000, tds, rng, null_status());
}

// The upward nudge makes nearly every estimate an over-estimate; a lowered one takes the other branch.
TEST(ReciprocalTest, UnderEstimatesAreCorrected) {
    std::mt19937_64 rng(5);
    RecordingStatus status;
    u64 runs = 0;
    for (u64 p : precisions()) {
        if (p < 10) continue;
        for (Shape shape : {Shape::random, Shape::small_top, Shape::random, Shape::small_top}) {
            const Number A(make_words(shape, p + 1, rng));
            const u64 previous = newton::previous_precision(p);
            const ReciprocalPlan below = ReciprocalPlan::make(previous, 1), plan = ReciprocalPlan::make(p, 1);
            Workspace x = workspace(below), w = workspace(plan);
            Reciprocal_BigFloatR::run(below, x.context, null_status(), x.T, A.value, previous, x.buffer());
            BigFloat estimate = x.T.top(newton::used_estimate_words(p));
            ASSERT_EQ(sub_word_ip(estimate.T, estimate.L, 5), 0);
            estimate.seal(serial_context());
            newton::reciprocal_step(w.context, status, w.T, A.value, estimate, p, w.buffer());
            const Number one({1});
            ASSERT_LE(quotient_error(w.T, one.value, A.value, p), error_bits(p) + 2) << p;
            runs++;
        }
    }
    EXPECT_GT(runs, 100u);
    EXPECT_EQ(status.count(" U1M "), runs);
}

TEST(ReciprocalTest, LargePrecisions) {
    std::mt19937_64 rng(2);
    RecordingStatus status;
    for (u64 p : {999, 1000, 1001, 5000})
        for (Shape shape : {Shape::random, Shape::ones, Shape::above_power, Shape::one_minus}) {
            const Number A(make_words(shape, p + rng() % 20, rng), -static_cast<i64>(p));
            expect_reciprocal(A.value, p, 1, status, "p=" + std::to_string(p));
        }
    const std::string digits = "96,329";  // 5000 words
    EXPECT_GT(status.count(" 0M " + digits), 0u) << status.frames.back();
}

TEST(ReciprocalTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(3);
    for (u64 p : {5, 10, 40, 41, 80, 100, 1500, 20000}) {
        const Number A(make_words(Shape::random, p + 2, rng));
        std::vector<Word> first;
        for (u64 tds : {1, 2, 7}) {
            const ReciprocalPlan plan = ReciprocalPlan::make(p, tds);
            Workspace w = workspace(plan);
            Reciprocal_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, p, w.buffer());
            EXPECT_TRUE(w.intact());
            const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
            if (first.empty()) first = words;
            EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
        }
    }
}

// Powers of two and one itself stay exact: no level has an error, and one word is below every precision from
// 1 up.
TEST(ReciprocalTest, ExactReciprocals) {
    for (u64 p : {1, 2, 3, 9, 10, 11, 40, 300})
        for (unsigned bit : {0u, 1u, 31u, 63u})
            for (i64 exp : {i64(-1000), i64(0), i64(3)}) {
                const Number A({Word(1) << bit}, exp);
                RecordingStatus status;
                const ReciprocalPlan plan = ReciprocalPlan::make(p, 1);
                Workspace w = workspace(plan);
                Reciprocal_BigFloatR::run(plan, w.context, status, w.T, A.value, p, w.buffer());
                ASSERT_EQ(w.T.L, 1u) << p;
                ASSERT_EQ(w.T.T[0], bit == 0 ? 1 : Word(1) << (64 - bit));
                ASSERT_EQ(w.T.exp, bit == 0 ? -exp : -exp - 1);
                EXPECT_EQ(status.count(" O1M ") + status.count(" U1M "), 0u);
                EXPECT_EQ(status.count(" 0M ") > 0, p >= 10);
            }
}

// The result is nudged upward by one unit: 1/3 = 0.5555... does not end below itself.
TEST(ReciprocalTest, ResultIsNudgedUpward) {
    for (u64 p = 2; p <= 30; p++) {
        const Number A({3});
        const ReciprocalPlan plan = ReciprocalPlan::make(p, 1);
        Workspace w = workspace(plan);
        Reciprocal_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, p, w.buffer());
        ASSERT_GT(w.T.L, p);
        // 3 T = 1 + something small, above or below by at most two units of T's lowest word
        const Integer product = Integer(w.T).times(Integer(3));
        const double distance = product.minus(Integer::power_of_word(-w.T.exp)).log2();
        EXPECT_LE(distance, std::log2(6.0)) << p;
        EXPECT_NE(w.T.T[0], 0x5555555555555555u) << p;
    }
}

TEST(ReciprocalTest, BasicFormInItsOwnPlan) {
    std::mt19937_64 rng(4);
    for (u64 p = 0; p <= 10; p++)
        for (int shape = 0; shape < static_cast<int>(Shape::count); shape++)
            for (u64 n : {u64(1), p + 1, p + 2, p + 5}) {
                const ReciprocalPlan plan = ReciprocalPlan::make(p, 1);
                Workspace w(plan.basic.result, plan.basic.temporaries, plan.basic.products.bytes);
                const Number A(make_words(static_cast<Shape>(shape), n, rng), 2, false);
                Reciprocal_BigFloatR_E::run(plan, w.context, w.T, A.value, p, w.buffer());
                ASSERT_TRUE(w.intact()) << p;
                ASSERT_FALSE(w.T.sign);
                const Number one({1});
                ASSERT_LE(quotient_error(w.T, one.value, A.value, p), error_bits(p))
                    << p << " shape " << shape;
            }
}

TEST(ReciprocalTest, PlanLimits) {
    const ReciprocalPlan plan = ReciprocalPlan::make(40, 2);
    Workspace w = workspace(plan);
    const Number A({3});
    const auto run = [&](u64 p, u64 tds) {
        Reciprocal_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, A.value, p, w.buffer());
    };
    const auto run_basic = [&](u64 p, u64 tds) {
        Reciprocal_BigFloatR_E::run(plan, w.context.with_tds(tds), w.T, A.value, p, w.buffer());
    };
    run(40, 1);
    run(39, 2);
    EXPECT_EQ(message_of<InvalidParametersException>([&] { run(41, 1); }),
              "Reciprocal_BigFloatR::run()|p is larger than plan.");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { run(40, 3); }),
              "Reciprocal_BigFloatR::run()|tds is larger than plan.");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { run_basic(11, 1); }),
              "Reciprocal_BigFloatR_E::run()|p is larger than plan.");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { run_basic(5, 3); }),
              "Reciprocal_BigFloatR_E::run()|tds is larger than plan.");
}

TEST(ReciprocalTest, BuffersTooSmall) {
    const ReciprocalPlan plan = ReciprocalPlan::make(40, 1);
    Workspace w = workspace(plan);
    const Number A({3});
    const auto function = [&](auto&& f) -> std::string {
        try {
            f();
        } catch (const BufferTooSmallException& e) {
            return e.function;
        }
        return "nothing thrown";
    };
    BigFloat small(w.result.get(), 42);
    EXPECT_EQ(function([&] {
                  Reciprocal_BigFloatR::run(plan, w.context, null_status(), small, A.value, 40, w.buffer());
              }),
              "Reciprocal_BigFloatR::run()");
    small.buffer_size = 7;
    EXPECT_EQ(function([&] { Reciprocal_BigFloatR_E::run(plan, w.context, small, A.value, 5, w.buffer()); }),
              "Reciprocal_BigFloatR_E::run()");
    EXPECT_EQ(function([&] {
                  Reciprocal_BigFloatR::run(plan, w.context, null_status(), w.T, A.value, 40,
                                            LinearWordBuffer(w.temporaries.get(), 30));
              }),
              "LinearWordBuffer::cut_from_bottom()");
    MultiplyContext tight = w.context.with_scratch(AlignedBufferC(w.scratch.get(), 64));
    EXPECT_EQ(function([&] {
                  Reciprocal_BigFloatR::run(plan, tight, null_status(), w.T, A.value, 40, w.buffer());
              }),
              "TransformHelper::TransformHelper()");
}

TEST(ReciprocalTest, DivisionByZero) {
    for (u64 p : {0, 1, 9, 10, 100}) {
        const ReciprocalPlan plan = ReciprocalPlan::make(p, 1);
        Workspace w = workspace(plan);
        const Number zero({});
        EXPECT_EQ(message_of<ArithmeticException>([&] {
                      Reciprocal_BigFloatR::run(plan, w.context, null_status(), w.T, zero.value, p,
                                                w.buffer());
                  }),
                  "Reciprocal_BigFloatR_E::run()|Divide by zero.");
    }
}

TEST(ReciprocalDeathTest, UnnormalisedDivisorIsFatal) {
    kalvor_test::expect_unnormalised_is_fatal([](const BigFloat& A) {
        const ReciprocalPlan plan = ReciprocalPlan::make(20, 1);
        Workspace w = workspace(plan);
        Reciprocal_BigFloatR::run(plan, w.context, null_status(), w.T, A, 20, w.buffer());
    });
}

// A fault in an estimate is found by the next level.
class ReciprocalFaultTest : public ::testing::Test {
  protected:
    // Runs the transform-based step of p words from the estimate with one bit flipped, `depth` words below
    // its top.
    std::string step_message(u64 p, u64 depth, unsigned bit) {
        std::mt19937_64 rng(7);
        const Number A(make_words(Shape::random, p, rng));
        const u64 previous = p / 2 + 1;
        const ReciprocalPlan below = ReciprocalPlan::make(previous, 1);
        Workspace x = workspace(below);
        Reciprocal_BigFloatR::run(below, x.context, null_status(), x.T, A.value, previous, x.buffer());
        BigFloat estimate = x.T.top(newton::used_estimate_words(p));
        estimate.T[estimate.L - 1 - depth] ^= Word(1) << bit;
        estimate.seal(serial_context());
        const ReciprocalPlan plan = ReciprocalPlan::make(p, 1);
        Workspace w = workspace(plan);
        return fault([&] {
            newton::reciprocal_step(w.context, null_status(), w.T, A.value, estimate, p, w.buffer());
        });
    }
    // The same for the basic step, from an estimate whose top word is large; tells whether the flip raised
    // it.
    std::string basic_message(u64 p, u64 depth, unsigned bit, bool* raised) {
        const u64 previous = p / 2 + 1;
        std::mt19937_64 rng(8);
        const Number A(make_words(Shape::small_top, p, rng));
        const ReciprocalPlan plan = ReciprocalPlan::make(p, 1);
        Workspace w = workspace(plan);
        Reciprocal_BigFloatR_E::run(plan, w.context, w.T, A.value, previous, w.buffer());
        Word& word = w.T.T[w.T.L - 1 - depth];
        *raised = (word >> bit & 1) == 0;
        word ^= Word(1) << bit;
        w.T.seal(serial_context());
        return fault([&] { newton::reciprocal_basic_step(w.context, w.T, A.value, p, w.buffer()); });
    }
    // The message; its function is kept.
    template <class F>
    std::string fault(F f) {
        const std::string text = message_of<AlgorithmFailedException>(f);
        function_ = text.substr(0, text.find('|'));
        return text.substr(text.find('|') + 1);
    }
    std::string function_;
};

TEST_F(ReciprocalFaultTest, WindowHasAnUnexpectedTopWord) {
    for (u64 depth : {0, 1, 5}) {
        const std::string message = step_message(40, depth, 13);
        EXPECT_EQ(message.rfind("Convergence Failure:\n    top = ", 0), 0u) << message;
        EXPECT_EQ(message.find_first_not_of("0123456789", 31), std::string::npos) << message;
        EXPECT_EQ(function_, "Reciprocal_BigFloatR::run()");
    }
}

TEST_F(ReciprocalFaultTest, BasicErrorAboveItsBound) {
    int over = 0, under = 0;
    for (u64 p : {7, 8, 9})
        for (unsigned bit = 45; bit < 62; bit++)
            for (u64 depth : {0, 1}) {
                bool raised = false;
                const std::string message = basic_message(p, depth, bit, &raised);
                EXPECT_EQ(message, std::string(raised ? "Over" : "Under") +
                                       "-Estimate -> Convergence Failure:\n    Maximum Error = " +
                                       std::to_string(-static_cast<i64>(p / 2 + 1)) +
                                       "\n    Actual Error  = " + std::to_string(-static_cast<i64>(depth)));
                EXPECT_EQ(function_, "Reciprocal_BigFloatR_E::run()");
                (raised ? over : under)++;
            }
    EXPECT_GT(over, 10);
    EXPECT_GT(under, 10);
}

TEST_F(ReciprocalFaultTest, BasicUnitsWordAboveOne) {
    const Number A({5});
    const ReciprocalPlan plan = ReciprocalPlan::make(3, 1);
    Workspace w = workspace(plan);
    w.T.set_double(1.0, 0);  // 5 x = 5
    EXPECT_EQ(message_of<AlgorithmFailedException>(
                  [&] { newton::reciprocal_basic_step(w.context, w.T, A.value, 3, w.buffer()); }),
              "Reciprocal_BigFloatR_E::run()|Convergence Failure:\n    top = 5");
}

}  // namespace
}  // namespace trel
