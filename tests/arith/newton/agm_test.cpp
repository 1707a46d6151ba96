#include "arith/newton/agm.h"

#include <mpfr.h>

#include <algorithm>

#include "newton_test_support.h"
#include "support/capture_console.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

// Buffers of exactly the planned sizes for a mean of two numbers: b stands in the second result.
struct MeanSpace : Workspace {
    MeanSpace(const AGMPlan& plan, u64 temporary_words)
        : Workspace(plan.result, temporary_words, plan.products.bytes, plan.tds),
          second(plan.result),
          b(second.get(), plan.result) {}
    MeanSpace(const AGMPlan& plan, const Needs& needs)
        : Workspace(needs, plan.tds), second(plan.result), b(second.get(), plan.result) {}
    bool all_intact() const { return intact() && second.intact(); }
    GuardedWords second;
    BigFloat b;
};

struct Mpfr {
    explicit Mpfr(u64 p) { mpfr_init2(f, static_cast<mpfr_prec_t>(64 * (p + 6))); }
    Mpfr(u64 p, const BigFloat& A) : Mpfr(std::max(p, A.L)) {
        mpfr_set_z_2exp(f, Integer(A).z, 64 * static_cast<long>(A.exp), MPFR_RNDN);
    }
    ~Mpfr() { mpfr_clear(f); }
    Mpfr(const Mpfr&) = delete;
    Mpfr& operator=(const Mpfr&) = delete;
    mpfr_t f;
};

// log2 of the relative error of T as AGM(a, b)
double mean_error(const BigFloat& T, u64 p, const Mpfr& a, const Mpfr& b) {
    Mpfr want(p), got(p, T);
    mpfr_agm(want.f, a.f, b.f, MPFR_RNDN);
    mpfr_sub(got.f, got.f, want.f, MPFR_RNDN);
    if (mpfr_zero_p(got.f)) return -1e18;
    return static_cast<double>(mpfr_get_exp(got.f) - mpfr_get_exp(want.f)) + 1;
}

// The planned precision, relative: an error of p words, a bit for every step and the root's last bits beyond
// the two guard words.
double bound(u64 p) {
    return -64.0 * static_cast<double>(std::max<u64>(p, 3));
}

void expect_agm1(const BigFloat& x, u64 p, u64 tds, const std::string& what) {
    const AGMPlan plan = AGMPlan::make(p, tds);
    Workspace w(plan.result, plan.temporaries, plan.products.bytes, tds);
    AGM1_BigFloatR::run(plan, w.context, null_status(), w.T, x, p, w.buffer());
    ASSERT_TRUE(w.intact()) << what;
    ASSERT_TRUE(w.T.sign);
    Mpfr one(1);
    mpfr_set_ui(one.f, 1, MPFR_RNDN);
    ASSERT_LE(mean_error(w.T, p, one, Mpfr(p, x)), bound(p)) << what;
}

void expect_agm2(const BigFloat& a, const BigFloat& b, u64 p, u64 tds, const std::string& what) {
    const AGMPlan plan = AGMPlan::make(p, tds);
    MeanSpace w(plan, plan.temporaries2);
    const u64 working = std::max<u64>(p, 3) + 2;
    w.T.set_BigFloat(working, w.context.parallel, a);
    w.b.set_BigFloat(working, w.context.parallel, b);
    const Mpfr first(p, w.T), second(p, w.b);
    AGM2_BigFloatR::run(plan, w.context, null_status(), w.T, w.b, p, w.buffer());
    ASSERT_TRUE(w.all_intact()) << what;
    ASSERT_TRUE(w.T.sign);
    ASSERT_LE(mean_error(w.T, p, first, second), bound(p)) << what;
}

void expect_shapes(u64 p, u64 tds, std::mt19937_64& rng, u64 count) {
    for (u64 i = 0; i < count; i++) {
        const u64 first = rng() % 8, second = rng() % 8;
        const Number a(make_words(shape_of(first), operand_length(p, rng), rng),
                       static_cast<i64>(rng() % 9) - 4);
        const Number b(make_words(shape_of(second), operand_length(p, rng), rng),
                       static_cast<i64>(rng() % 9) - 4);
        const std::string what =
            "p=" + std::to_string(p) + " shapes=" + std::to_string(first) + "," + std::to_string(second);
        expect_agm1(a.value, p, tds, what);
        if (::testing::Test::HasFatalFailure()) return;
        expect_agm2(a.value, b.value, p, tds, what);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(AgmTest, AllPrecisions) {
    std::mt19937_64 rng(71);
    for (u64 p = 0; p <= 300; p += kalvor_test::thinned(11)) {
        expect_shapes(p, 1, rng, p <= 40 ? 4 : 1);
        if (HasFatalFailure()) return;
    }
}

TEST(AgmTest, AThousandWords) {
    std::mt19937_64 rng(72);
    expect_shapes(1000, 1, rng, 2);
}

TEST(SlowAgmTest, LargePrecisions) {
    std::mt19937_64 rng(73);
    expect_shapes(10000, 2, rng, 2);
    const Number x(make_words(Shape::random, 100000, rng), -100000);
    expect_agm1(x.value, 100000, 1, "100000");
    const Number y(make_words(Shape::random, 70000, rng), -70001);
    expect_agm2(x.value, y.value, 100000, 1, "100000, two numbers");
}

// AGM(1, 2) at the smallest precisions, where whole words tell little about the error.
TEST(AgmTest, OneAndTwo) {
    const Number two({2});
    for (u64 p = 0; p <= 20; p++) expect_agm1(two.value, p, 1, "p=" + std::to_string(p));
    for (Word word : {Word(3), Word(1) << 63, ~Word(0)})
        for (i64 exp : {-60, -1, 0, 60}) {
            const Number x({word}, exp);
            for (u64 p : {1, 3, 10, 30}) expect_agm1(x.value, p, 1, "p=" + std::to_string(p));
        }
}

// Numbers of any ratio: far apart by products, near by squares, and each side of where the squares begin.
TEST(AgmTest, EveryRatio) {
    std::mt19937_64 rng(77);
    for (const u64 p : {4, 40, 400}) {
        for (i64 words = -static_cast<i64>(p) - 4; words <= static_cast<i64>(p) + 4;
             words += std::max<i64>(1, static_cast<i64>(p) / 7)) {
            const Number x(make_words(Shape::random, p, rng), words - static_cast<i64>(p));
            expect_agm1(x.value, p, 1, std::to_string(p) + " words=" + std::to_string(words));
            if (HasFatalFailure()) return;
        }
        for (i64 bits = -70; bits <= 70; bits++) {
            std::vector<Word> word = {Word(1) << (static_cast<u64>(bits + 128) % 64)};
            const Number x(word, bits < -64 ? -2 : bits < 0 ? -1 : bits < 64 ? 0 : 1);
            expect_agm1(x.value, p, 1, std::to_string(p) + " bits=" + std::to_string(bits));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(AgmTest, EqualNumbersStopAtOnce) {
    for (u64 p : {1, 3, 10, 100}) {
        const AGMPlan plan = AGMPlan::make(p, 1);
        Workspace w(plan.result, plan.temporaries, plan.products.bytes);
        RecordingStatus status;
        const Number one({1});
        AGM1_BigFloatR::run(plan, w.context, status, w.T, one.value, p, w.buffer());
        EXPECT_TRUE(Integer(w.T) == Integer::power_of_word(-w.T.exp)) << p;
        EXPECT_EQ(status.count(" 3Q "), 0u);
        EXPECT_EQ(status.count(" 1Q "), 1u);
        EXPECT_EQ(status.depth, 0u);
    }
}

// AGM(1, x) = AGM((1 + x) / 2, sqrt(x)) and AGM(c a, c b) = c AGM(a, b), by way of other words.
TEST(AgmTest, Homogeneous) {
    std::mt19937_64 rng(74);
    const u64 p = 200;
    const Number x(make_words(Shape::random, p, rng), -static_cast<i64>(p));
    const AGMPlan plan = AGMPlan::make(p, 1);
    Workspace w1(plan.result, plan.temporaries, plan.products.bytes);
    AGM1_BigFloatR::run(plan, w1.context, null_status(), w1.T, x.value, p, w1.buffer());
    MeanSpace w2(plan, plan.temporaries2);
    w2.T.set_double(10005.0, 7);
    w2.b.set_mul_uW(p + 2, w2.context.parallel, x.value, 10005);
    w2.b.move(7);
    AGM2_BigFloatR::run(plan, w2.context, null_status(), w2.T, w2.b, p, w2.buffer());
    GuardedWords words(p + 5);
    BigFloat scaled(words.get(), words.size());
    scaled.set_mul_uW(p + 2, w1.context.parallel, w1.T, 10005);
    scaled.move(7);
    GuardedWords rest(p + 5);
    BigFloat difference(rest.get(), rest.size());
    difference.set_sub(p + 3, w1.context.parallel, scaled, w2.T);
    EXPECT_LE(difference.mag() - scaled.mag(), -static_cast<i64>(p));
}

TEST(AgmTest, TaskCountsGiveTheSameWords) {
    std::mt19937_64 rng(75);
    for (u64 p : {9, 40, 100, 1500}) {
        const Number x(make_words(Shape::random, p + 2, rng));
        std::vector<Word> first;
        for (u64 tds : {1, 2, 7}) {
            const AGMPlan plan = AGMPlan::make(p, tds);
            Workspace w(plan.result, plan.temporaries, plan.products.bytes, tds);
            AGM1_BigFloatR::run(plan, w.context, null_status(), w.T, x.value, p, w.buffer());
            EXPECT_TRUE(w.intact());
            const std::vector<Word> words(w.T.T, w.T.T + w.T.L);
            if (first.empty()) first = words;
            EXPECT_EQ(words, first) << "p=" << p << " tds=" << tds;
        }
    }
}

TEST(AgmTest, ZeroAndRefusals) {
    const AGMPlan plan = AGMPlan::make(20, 2);
    MeanSpace w(plan, plan.temporaries);
    const Number zero({}), three({3}), negative({3}, 0, false);
    const auto run1 = [&](const Number& x, u64 p, u64 tds) {
        return thrown([&] {
            AGM1_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, x.value, p, w.buffer());
        });
    };
    const auto run2 = [&](const Number& a, const Number& b, u64 p, u64 tds) {
        w.T.set_BigFloat(20, w.context.parallel, a.value);
        w.b.set_BigFloat(20, w.context.parallel, b.value);
        return thrown([&] {
            AGM2_BigFloatR::run(plan, w.context.with_tds(tds), null_status(), w.T, w.b, p, w.buffer());
        });
    };
    EXPECT_EQ(run1(three, 20, 2), "");
    EXPECT_EQ(run1(three, 21, 2), "InvalidParametersException AGM1_BigFloatR::run() p is larger than plan.");
    EXPECT_EQ(run1(three, 20, 3),
              "InvalidParametersException AGM1_BigFloatR::run() tds is larger than plan.");
    EXPECT_EQ(run1(negative, 20, 1),
              "InvalidParametersException AGM1_BigFloatR::run() AGM of negative number.");
    EXPECT_EQ(run1(zero, 20, 1), "");
    EXPECT_EQ(w.T.L, 0u);
    EXPECT_EQ(run2(three, three, 20, 2), "");
    EXPECT_EQ(run2(three, three, 21, 2),
              "InvalidParametersException AGM2_BigFloatR::run() p is larger than plan.");
    EXPECT_EQ(run2(three, three, 20, 3),
              "InvalidParametersException AGM2_BigFloatR::run() tds is larger than plan.");
    const std::string message =
        "InvalidParametersException AGM2_BigFloatR::run() One of the inputs is negative.";
    EXPECT_EQ(run2(three, negative, 20, 1), message);
    EXPECT_EQ(run2(negative, three, 20, 1), message);
    for (bool second : {false, true}) {
        EXPECT_EQ(run2(second ? negative : zero, second ? zero : negative, 20, 1), "");
        EXPECT_EQ(w.T.L, 0u);
        EXPECT_EQ(w.b.L, 0u);
    }
    BigFloat small(w.result.get(), 25);
    try {
        AGM1_BigFloatR::run(plan, w.context, null_status(), small, three.value, 20, w.buffer());
        ADD_FAILURE();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "AGM1_BigFloatR::run()");
        EXPECT_EQ(e.required_size, 26u);
    }
}

TEST(AgmTest, AnnouncesItself) {
    const u64 p = 20;
    const AGMPlan plan = AGMPlan::make(p, 1);
    MeanSpace w(plan, plan.needs());
    RecordingStatus status;
    const Number two({2});
    agm1(plan, w.context, status, w.T, two.value);
    EXPECT_TRUE(w.intact());
    EXPECT_EQ(status.depth, 0u);
    EXPECT_EQ(status.sections, std::vector<std::string>{"AGM(1,x)..."});
    std::vector<std::string> frames;  // without those of the roots
    for (const std::string& frame : status.frames) {
        const std::string label = frame.substr(0, 5);
        if (label != " 0S 4" && label != " 1M 4" && label != " O2M " && label != " U2M " &&
            label != " 0S 2" && label != " 1M 2")
            frames.push_back(frame);
    }
    // 22 words; AGM(1, 2): the means 1.5 and 1.414 agree in about one digit, and twice as many after each
    // step
    const std::vector<std::string> want = {"(start)", " 0A 423", " 1Q 423", " 2M 423", " 3S 423",
                                           "AGM: ?",  "( ? )",   " 0A 423", "AGM: 1",  "( 1 )",
                                           " 2M 423", " 1A 423", " 2M 423", " 5S 423", " 3Q 423",
                                           " 4M 423", " 0A 423", "AGM: 3",  "( 3 )",   " 1A 423"};
    ASSERT_GE(frames.size(), want.size());
    EXPECT_EQ(std::vector<std::string>(frames.begin(), frames.begin() + static_cast<long>(want.size())),
              want);
    const std::vector<std::string> end = {"AGM: Final", "( Final )", " 0A 423", " 1S 423"};
    EXPECT_EQ(std::vector<std::string>(frames.end() - 4, frames.end()), end);
    // the labels follow the convergence
    for (const char* label : {"( 1 )", "( 3 )", "( 8 )", "( 16 )", "( 67 )", "( 136 )"})
        EXPECT_EQ(status.count(label), 1u) << label;

    RecordingStatus second;
    MeanSpace two_numbers(plan, plan.needs2());
    two_numbers.T.set_double(3.0, 0);
    two_numbers.b.set_double(5.0, 0);
    agm2(plan, two_numbers.context, second, two_numbers.T, two_numbers.b);
    EXPECT_TRUE(two_numbers.all_intact());
    EXPECT_EQ(second.sections, std::vector<std::string>{"AGM(a,b)..."});
}

TEST(AgmDeathTest, UnnormalisedOperandIsFatal) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto run = [] {
        print_to_stderr();
        const AGMPlan plan = AGMPlan::make(20, 1);
        MeanSpace w(plan, plan.temporaries2);
        w.T.set_double(1.0, 0);
        w.b.set_double(2.0, 0);
        w.b.T[w.b.L++] = 0;
        AGM2_BigFloatR::run(plan, w.context, null_status(), w.T, w.b, 20, w.buffer());
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(1),
                "BigFloat::check_normalization\\(\\): Top word is zero\\.");
}

}  // namespace
}  // namespace trel
