#include "arith/newton/invsqrt_word.h"

#include <mpfr.h>

#include <cmath>

#include "arith/kernels/word_array.h"
#include "arith/newton/error_term.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "newton_test_support.h"

namespace trel {
namespace {

using namespace kalvor_test;

Workspace workspace(const InvsqrtWordPlan& plan) {
    return Workspace(plan.result, plan.temporaries, plan.products.bytes, plan.tds);
}

const std::vector<Word> kWords = {1,
                                  2,
                                  3,
                                  4,
                                  5,
                                  8,
                                  10,
                                  640320,
                                  10005,
                                  0xffffffff,
                                  Word(1) << 32,
                                  (Word(1) << 62) - 1,
                                  Word(1) << 62,
                                  Word(1) << 63,
                                  (Word(1) << 63) + 1,
                                  ~Word(0) - 1,
                                  ~Word(0)};

void expect_invsqrt(Word word, u64 p, Status& status, u64 tds = 1) {
    const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, tds);
    Workspace w = workspace(plan);
    InvsqrtWord_BigFloatR::run(plan, w.context, status, w.T, word, p, w.buffer());
    ASSERT_TRUE(w.intact()) << word << " p=" << p;
    ASSERT_GT(w.T.L, 0u);
    ASSERT_LE(w.T.L, p + 3);
    ASSERT_NE(w.T.T[w.T.L - 1], 0u);
    ASSERT_TRUE(w.T.sign);
    ASSERT_LE(invsqrt_error(w.T, word, p), error_bits(p)) << word << " p=" << p;
}

TEST(InvsqrtWordTest, AllPrecisions) {
    std::mt19937_64 rng(21);
    RecordingStatus status;
    for (u64 p : precisions()) {
        for (Word word : kWords) expect_invsqrt(word, p, status);
        for (int i = 0; i < 10; i++) expect_invsqrt((rng() >> rng() % 64) | 1, p, status);
        if (HasFatalFailure()) return;
    }
    EXPECT_EQ(status.depth, 0u);
    EXPECT_GT(status.count(" 0S "), 100u);
    EXPECT_GT(status.count(" O1M "), 20u);
    EXPECT_GT(status.count(" 0S "), status.count(" O1M ") + status.count(" U1M ") + 20);
}

TEST(InvsqrtWordTest, UpTo300Words) {
    std::mt19937_64 rng(22);
    for (u64 p = 0; p <= 300; p++) {
        for (int i = 0; i < 8; i++) expect_invsqrt(kWords[rng() % kWords.size()], p, null_status());
        if (HasFatalFailure()) return;
    }
    for (Word word : {Word(3), ~Word(0)}) expect_invsqrt(word, 10000, null_status(), 2);
}

TEST(SlowInvsqrtWordTest, HundredThousandWords) {
    for (u64 tds : {1, 2, 7})
        for (Word word : {Word(2), Word(10005), ~Word(0), (Word(1) << 62) - 1})
            expect_invsqrt(word, 100000, null_status(), tds);
}

TEST(InvsqrtWordTest, UnderEstimatesAreCorrected) {
    RecordingStatus status;
    u64 runs = 0;
    for (u64 p : precisions()) {
        if (p < 10) continue;
        for (Word word : {Word(2), Word(10005), ~Word(0), (Word(1) << 62) - 1}) {
            const u64 previous = newton::previous_precision(p);
            const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, 1);
            Workspace x = workspace(plan), w = workspace(plan);
            InvsqrtWord_BigFloatR::run(plan, x.context, null_status(), x.T, word, previous, x.buffer());
            BigFloat estimate = x.T.top(newton::used_estimate_words(p));
            ASSERT_EQ(sub_word_ip(estimate.T, estimate.L, 5), 0);
            estimate.seal(serial_context());
            newton::invsqrt_word_step(w.context, status, w.T, word, estimate, p, w.buffer());
            ASSERT_LE(invsqrt_error(w.T, word, p), error_bits(p) + 2) << word << " p=" << p;
            runs++;
        }
    }
    EXPECT_GT(runs, 100u);
    EXPECT_EQ(status.count(" U1M "), runs);
}

TEST(InvsqrtWordTest, LargePrecisions) {
    for (u64 p : {999, 1000, 5000})
        for (Word word : {Word(2), Word(10005), ~Word(0)}) expect_invsqrt(word, p, null_status());
}

TEST(InvsqrtWordTest, AgreesWithMpfr) {
    const u64 p = 700;
    const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, 1);
    Workspace w = workspace(plan);
    InvsqrtWord_BigFloatR::run(plan, w.context, null_status(), w.T, 10005, p, w.buffer());
    mpfr_t root, ours;
    mpfr_inits2(64 * (p + 4), root, ours, nullptr);
    mpfr_set_ui(root, 10005, MPFR_RNDN);
    mpfr_rec_sqrt(root, root, MPFR_RNDN);
    const Integer words(w.T);
    mpfr_set_z_2exp(ours, words.z, 64 * static_cast<long>(w.T.exp), MPFR_RNDN);
    mpfr_sub(ours, ours, root, MPFR_RNDN);
    EXPECT_LT(mpfr_get_exp(ours), -64 * static_cast<long>(p) - 59);  // 2^4.5 units of word -(p + 1)
    mpfr_clears(root, ours, nullptr);
}

TEST(InvsqrtWordTest, ExactRoots) {
    for (u64 p : {1, 2, 9, 10, 11, 100})
        for (unsigned k : {0u, 1u, 2u, 17u, 31u}) {
            const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, 1);
            Workspace w = workspace(plan);
            RecordingStatus status;
            InvsqrtWord_BigFloatR::run(plan, w.context, status, w.T, Word(1) << (2 * k), p, w.buffer());
            ASSERT_EQ(w.T.L, 1u) << p << " " << k;
            EXPECT_EQ(w.T.T[0], k == 0 ? 1 : Word(1) << (64 - k));
            EXPECT_EQ(w.T.exp, k == 0 ? 0 : -1);
            EXPECT_EQ(status.count(" O1M ") + status.count(" U1M "), 0u);
        }
}

TEST(InvsqrtWordTest, BasicFormAtAnyPrecision) {
    for (u64 p = 0; p <= 60; p++)
        for (Word word : kWords) {
            const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, 1);
            Workspace w = workspace(plan);
            InvsqrtWord_BigFloatR_E::run(plan, w.context, w.T, word, p, w.buffer());
            ASSERT_TRUE(w.intact());
            ASSERT_LE(invsqrt_error(w.T, word, p), error_bits(p)) << word << " p=" << p;
        }
}

TEST(InvsqrtWordTest, TaskCountsGiveTheSameWords) {
    for (u64 p : {9, 10, 40, 41, 80, 100, 1500, 20000}) {
        std::vector<Word> first;
        for (u64 tds : {1, 2, 7}) {
            const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, tds);
            Workspace w = workspace(plan);
            InvsqrtWord_BigFloatR::run(plan, w.context, null_status(), w.T, 10005, p, w.buffer());
            EXPECT_TRUE(w.intact());
            const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
            if (first.empty()) first = words;
            EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
        }
    }
}

TEST(InvsqrtWordTest, Refusals) {
    const InvsqrtWordPlan plan = InvsqrtWordPlan::make(30, 2);
    Workspace w = workspace(plan);
    const auto run = [&](Word word, u64 p, u64 tds) -> std::string {
        try {
            InvsqrtWord_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, word, p,
                                       w.buffer());
        } catch (const StringException& e) {
            return std::string(e.get_typename()) + " " + e.function + " " + e.message;
        }
        return "";
    };
    EXPECT_EQ(run(3, 30, 2), "");
    EXPECT_EQ(run(3, 31, 2),
              "InvalidParametersException InvsqrtWord_BigFloatR::run() p is larger than plan.");
    EXPECT_EQ(run(3, 30, 3),
              "InvalidParametersException InvsqrtWord_BigFloatR::run() tds is larger than plan.");
    EXPECT_EQ(run(0, 30, 1), "ArithmeticException InvsqrtWord_BigFloatR_E::run() Divide by zero.");
    EXPECT_EQ(run(0, 0, 1), "ArithmeticException InvsqrtWord_BigFloatR_E::run() Divide by zero.");
    BigFloat small(w.result.get(), 33);
    EXPECT_THROW(InvsqrtWord_BigFloatR::run(plan, w.context, null_status(), small, 3, 30, w.buffer()),
                 BufferTooSmallException);
}

TEST(InvsqrtWordTest, WrongEstimateIsFound) {
    const u64 p = 60, previous = p / 2 + 1;
    for (u64 depth : {0, 1, 20}) {
        const InvsqrtWordPlan plan = InvsqrtWordPlan::make(p, 1);
        Workspace x = workspace(plan), w = workspace(plan);
        InvsqrtWord_BigFloatR::run(plan, x.context, null_status(), x.T, 10005, previous, x.buffer());
        BigFloat estimate = x.T.top(newton::used_estimate_words(p));
        estimate.T[estimate.L - 1 - depth] ^= 1 << 30;
        estimate.seal(serial_context());
        try {
            newton::invsqrt_word_step(w.context, null_status(), w.T, 10005, estimate, p, w.buffer());
            ADD_FAILURE() << depth;
        } catch (const AlgorithmFailedException& e) {
            EXPECT_EQ(e.function, "InvsqrtWord_BigFloatR::run()");
            EXPECT_EQ(e.message.rfind("Convergence Failure:\n    top = ", 0), 0u) << e.message;
        }
    }
    // basic form: 2 (1/2)^2 = 1/2 has an error of magnitude 0, four words are promised
    const InvsqrtWordPlan plan = InvsqrtWordPlan::make(6, 1);
    Workspace w = workspace(plan);
    w.T.set_double(0.5, 0);
    try {
        newton::invsqrt_word_basic_step(w.context, w.T, 2, 6, w.buffer());
        ADD_FAILURE();
    } catch (const AlgorithmFailedException& e) {
        EXPECT_EQ(e.function, "InvsqrtWord_BigFloatR_E::run()");
        EXPECT_EQ(e.message,
                  "Under-Estimate -> Convergence Failure:\n    Maximum Error = -4\n    Actual Error  = 0");
    }
    w.T.set_double(0.75, 0);  // 2 x^2 = 1.125
    try {
        newton::invsqrt_word_basic_step(w.context, w.T, 2, 6, w.buffer());
        ADD_FAILURE();
    } catch (const AlgorithmFailedException& e) {
        EXPECT_EQ(e.message,
                  "Over-Estimate -> Convergence Failure:\n    Maximum Error = -4\n    Actual Error  = 0");
    }
}

TEST(InvsqrtWordTest, AnnouncesItself) {
    const InvsqrtWordPlan plan = InvsqrtWordPlan::make(12, 1);
    Workspace w(plan.needs());
    RecordingStatus status;
    invsqrt_word(plan, w.context, status, w.T, 10005, "InvSqrt(10005)...");
    EXPECT_TRUE(w.intact());
    EXPECT_EQ(status.sections, std::vector<std::string>{"InvSqrt(10005)..."});
    ASSERT_EQ(status.frames.size(), 3u);
    EXPECT_EQ(status.frames[0], "Iterating: ");
    EXPECT_EQ(status.frames[1], " 0S 231");
    EXPECT_TRUE(status.frames[2] == " O1M 231" || status.frames[2] == " U1M 231");
    EXPECT_LE(invsqrt_error(w.T, 10005, 12), error_bits(12));
}

}  // namespace
}  // namespace trel
