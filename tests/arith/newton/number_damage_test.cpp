// One bit of a number is changed when an operation inside an iteration takes the number up. Either that is
// noticed, or the result is right all the same: words that nothing depends on.
#include <functional>

#include "arith/newton/agm.h"
#include "arith/newton/coupled_root.h"
#include "arith/newton/division.h"
#include "arith/newton/invsqrt.h"
#include "arith/newton/invsqrt_word.h"
#include "arith/newton/log_agm.h"
#include "arith/newton/nth_root.h"
#include "arith/newton/power.h"
#include "arith/newton/power_word.h"
#include "arith/newton/reciprocal.h"
#include "arith/newton/steps.h"
#include "newton_test_support.h"
#include "support/changed_numbers.h"
#include "support/effort.h"

namespace trel {
namespace {

using namespace kalvor_test;

// Computes T to p words in the workspace's context.
struct Computation {
    const char* name;
    u64 p;
    std::function<Workspace()> workspace;
    std::function<void(Workspace&)> run;
};

struct Outcome {
    bool found = false;
    std::vector<Word> words;
    i64 exp = 0;
    u64 corrected = 0;
};

Outcome outcome(const Computation& c, ComputationStages& stages) {
    RunMonitor monitor;
    monitor.stages = &stages;
    Workspace w = c.workspace();
    w.context.parallel.run = &monitor;
    Outcome o;
    try {
        c.run(w);
        monitor.stages = nullptr;
        w.T.verify(w.context.parallel, "the result");
        o.words.assign(w.T.T, w.T.T + w.T.L);
        o.exp = w.T.exp;
    } catch (const StringException&) {
        o.found = true;
    }
    o.corrected = monitor.checks.corrected;
    return o;
}

// Whether b is a to p words.
bool agree(const Outcome& a, const Outcome& b, u64 p) {
    const Number x(a.words, a.exp), y(b.words, b.exp);
    Number d(std::vector<Word>(a.words.size() + b.words.size() + 4, 1));
    d.value.set_sub(2 * p + 8, serial_context(), x.value, y.value);
    return d.value.L == 0 || d.value.mag() <= x.value.mag() - static_cast<i64>(p);
}

// Numbers that are taken up, in a run: all of them, or `most` spread over it and its last ones.
void expect_found_or_harmless(const Computation& c, u64 most, std::mt19937_64& rng) {
    OneChangedNumber counter;
    const Outcome right = outcome(c, counter);
    ASSERT_FALSE(right.found) << c.name;
    ASSERT_GT(counter.count, 3u) << c.name;
    u64 found = 0, changed = 0;
    for (u64 i = 0; i < counter.count; i++) {
        if (i + most / 2 < counter.count && rng() % counter.count >= most) continue;
        OneChangedNumber change(i, rng());
        const Outcome now = outcome(c, change);
        changed++;
        found += now.found;
        ASSERT_TRUE(now.found || agree(right, now, c.p))
            << c.name << ", number " << i << " of " << counter.count;
    }
    EXPECT_EQ(found, changed) << c.name;
}

// Operands of each run are made anew, because the change may meet them.
enum class QuotientPlace { apart, divisor };
Computation division(u64 p, DivisionTransforms transforms, QuotientPlace place = QuotientPlace::apart) {
    const auto plan = std::make_shared<const DivisionPlan>(DivisionPlan::make(p, 1, transforms));
    return {"division", p, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(91);
                const Number A(make_words(Shape::random, p + 2, rng)),
                    B(make_words(Shape::random, p + 1, rng), 3);
                BigFloat divisor = B.value;
                if (place == QuotientPlace::divisor) {
                    w.T.set_BigFloat(p, serial_context(), B.value);
                    divisor = w.T;
                }
                Division_BigFloatR::run(*plan, w.context, null_status(), w.T, A.value, divisor, w.buffer());
            }};
}
Computation reciprocal(u64 p) {
    const auto plan = std::make_shared<const ReciprocalPlan>(ReciprocalPlan::make(p, 1));
    return {"reciprocal", p, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(92);
                const Number A(make_words(Shape::random, p + 2, rng));
                Reciprocal_BigFloatR::run(*plan, w.context, null_status(), w.T, A.value, p, w.buffer());
            }};
}
Computation root(u64 p, u64 first_coupled) {
    newton::CoupledRange coupled;
    coupled.first = first_coupled;
    coupled.last = 3 * p;
    const auto plan = std::make_shared<const InvsqrtFloatPlan>(InvsqrtFloatPlan::make(p, 1, coupled));
    return {"root", p, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(93);
                const Number A(make_words(Shape::random, p + 2, rng));
                InvsqrtFloat_BigFloatR::run(*plan, w.context, null_status(), w.T, A.value, p, w.buffer());
            }};
}
Computation root_of_word(u64 p) {
    const auto plan = std::make_shared<const InvsqrtWordPlan>(InvsqrtWordPlan::make(p, 1));
    return {"root of a word", p,
            [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                InvsqrtWord_BigFloatR::run(*plan, w.context, null_status(), w.T, 10005, p, w.buffer());
            }};
}
Computation nth_root(u64 p, u64 n, bool expanded) {
    const auto plan = std::make_shared<const InvNthRootPlan>(InvNthRootPlan::make(p, 1));
    return {"nth root", p, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(94);
                const Number A(make_words(Shape::random, p + 2, rng));
                const auto run = expanded ? InvNthRootFloat_BigFloatR_P::run_expanded
                                          : InvNthRootFloat_BigFloatR_P::run_factored;
                run(*plan, w.context, null_status(), w.T, A.value, p, w.buffer(), n);
            }};
}
Computation power(u64 p, u64 length, u64 n) {
    const auto plan = std::make_shared<const PowerFloatPlan>(PowerFloatPlan::make(p, 1));
    return {"power", p - 1, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(95);
                const Number A(make_words(Shape::random, length, rng));
                Power_BF_uL_BigFloatR::run(*plan, w.context, null_status(), w.T, A.value, n, p, w.buffer());
            }};
}
Computation square_root(u64 p) {
    const auto plan = std::make_shared<const SqrtFloatPlan>(SqrtFloatPlan::make(p, 1));
    return {"square root", p,
            [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(98);
                const Number A(make_words(Shape::random, p, rng));
                SqrtFloat_BigFloatR::run(*plan, w.context, null_status(), w.T, A.value, p, w.buffer());
            }};
}
Computation mean(u64 p) {
    const auto plan = std::make_shared<const AGMPlan>(AGMPlan::make(p, 1));
    return {"mean", p, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(96);
                const Number x(make_words(Shape::random, p, rng), -static_cast<i64>(p));
                AGM1_BigFloatR::run(*plan, w.context, null_status(), w.T, x.value, p, w.buffer());
            }};
}
Computation mean_of_two(u64 p) {
    const auto plan = std::make_shared<const AGMPlan>(AGMPlan::make(p, 1));
    return {"mean of two numbers", p,
            [=] { return Workspace(plan->result, plan->temporaries2, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(99);
                const Number a(make_words(Shape::random, p, rng));
                Number b(make_words(Shape::random, p, rng), -2, true, plan->result - p);
                w.T.set_BigFloat(p, w.context.parallel, a.value);
                AGM2_BigFloatR::run(*plan, w.context, null_status(), w.T, b.value, p, w.buffer());
            }};
}
Computation logarithm(u64 p) {
    const auto plan = std::make_shared<const LogAgmPlan>(LogAgmPlan::make(p, 1));
    return {"logarithm", p, [=] { return Workspace(plan->needs()); },
            [=](Workspace& w) {
                // Any numbers of their size in place of Pi and ln 2.
                std::mt19937_64 rng(100);
                const u64 n = plan->mean.p + 1;
                const i64 exp = 1 - static_cast<i64>(n);
                const Number x(make_words(Shape::random, p, rng)), pi(make_words(Shape::random, n, rng), exp),
                    log2(make_words(Shape::random, n, rng), exp);
                Log_AGM_BigFloatR::run(*plan, w.context, null_status(), w.T, x.value, pi.value, log2.value);
            }};
}
Computation power_of_word(u64 p, Word base, u64 n) {
    const auto plan = std::make_shared<const PowerWordPlan>(PowerWordPlan::make(p, 1));
    return {"power of a word", p - 1,
            [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                Power_uW_uL_BigFloatR::run(*plan, w.context, null_status(), w.T, base, n, p, w.buffer());
            }};
}
Computation signed_power(u64 p, i64 n) {
    const auto plan = std::make_shared<const SignedPowerPlan>(SignedPowerPlan::make(p, 1));
    return {"signed power", p - 1, [=] { return Workspace(plan->needs()); },
            [=](Workspace& w) {
                std::mt19937_64 rng(101);
                const Number A(make_words(Shape::random, p, rng));
                large_power(*plan, w.context, null_status(), w.T, A.value, n);
            }};
}

class NumberDamageTest : public testing::TestWithParam<Computation> {};
INSTANTIATE_TEST_SUITE_P(
    Newton, NumberDamageTest,
    testing::Values(division(8, DivisionTransforms::kept), division(60, DivisionTransforms::kept),
                    division(700, DivisionTransforms::kept), division(700, DivisionTransforms::none),
                    division(60, DivisionTransforms::kept, QuotientPlace::divisor),
                    division(700, DivisionTransforms::kept, QuotientPlace::divisor),
                    division(700, DivisionTransforms::none, QuotientPlace::divisor), reciprocal(300),
                    root(60, 1000), root(700, 10000), root(700, 84), root_of_word(60), root_of_word(700),
                    nth_root(60, 3, true), nth_root(600, 4, false), power(300, 1, 77), power(300, 302, 5),
                    mean(80), square_root(60), square_root(2700), mean_of_two(80), logarithm(80),
                    power_of_word(300, 10, 1500), power_of_word(300, 7, 9000), signed_power(300, -5),
                    signed_power(300, 7)),
    [](const auto& info) {
        std::string name = std::string(info.param.name) + " " + std::to_string(info.index);
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST_P(NumberDamageTest, FoundOrHarmless) {
    std::mt19937_64 rng(97);
    expect_found_or_harmless(GetParam(), 60 / thinned(4), rng);
}

// A number whose length or exponent has changed, so that an operation would take it for zero, or for the end
// of an iteration.
TEST(NumberDamageTest, NumbersThatVanishAreNoticed) {
    const ParallelContext& parallel = serial_context();
    Number A({5, 6, 7}, -3), B({1, 2, 3, 4}, -2), T(40);
    BigFloat gone = A.value;
    gone.L = 0;
    EXPECT_THROW(newton::take_error_below(parallel, gone, 0, 3, "step"), AlgorithmFailedException);
    // 1 + 5 2^-192 that has lost its lowest word: exactly 1.
    Number one({5, 0, 0, 1}, -3);
    one->T[0] = 0;
    EXPECT_THROW(newton::take_error_at_units(parallel, one, 3, "step"), AlgorithmFailedException);
    Number exact({0, 0, 0, 1}, -3);
    EXPECT_EQ(newton::take_error_at_units(parallel, exact, 3, "step"), newton::Estimate::exact);

    gone = A.value;
    gone.L = 0;
    BigFloat below = A.value;
    below.exp -= 64;
    for (const BigFloat& damaged : {gone, below})
        EXPECT_THROW(newton::divide_by_small(parallel, T, damaged, 3, -20), AlgorithmFailedException);

    const AGMPlan mean = AGMPlan::make(8, 1);
    const DivisionPlan division = DivisionPlan::make(12, 1);
    const PowerFloatPlan power = PowerFloatPlan::make(8, 1);
    Workspace w(100, mean.temporaries2 + mean.temporaries + division.temporaries + power.temporaries,
                mean.products.bytes + division.products.bytes + power.products.bytes);
    EXPECT_THROW(AGM1_BigFloatR::run(mean, w.context, null_status(), w.T, gone, 8, w.buffer()),
                 AlgorithmFailedException);
    EXPECT_THROW(AGM2_BigFloatR::run(mean, w.context, null_status(), B, gone, 8, w.buffer()),
                 AlgorithmFailedException);
    EXPECT_THROW(AGM2_BigFloatR::run(mean, w.context, null_status(), gone, B, 8, w.buffer()),
                 AlgorithmFailedException);
    EXPECT_THROW(Division_BigFloatR::run(division, w.context, null_status(), w.T, gone, B, w.buffer()),
                 AlgorithmFailedException);
    EXPECT_THROW(Power_BF_uL_BigFloatR::run(power, w.context, null_status(), w.T, gone, 3, 8, w.buffer()),
                 AlgorithmFailedException);
}

// Changes length or exponent of the difference of two means, which alone says whether they are one.
class NearerMeans final : public ComputationStages {
  public:
    NearerMeans(u64 n, bool zero) : n_(n), zero_(zero) {}
    void at(const char* stage, void* memory, u64) override {
        if (std::string(stage) != "distance" || count++ != n_) return;
        BigFloat& d = *static_cast<BigFloat*>(memory);
        if (zero_)
            d.L = 0;
        else
            d.exp -= 64;
    }
    u64 count = 0;

  private:
    const u64 n_;
    const bool zero_;
};
TEST(NumberDamageTest, AMeanDoesNotEndEarly) {
    const Computation c = mean(60);
    for (const bool zero : {false, true}) {
        for (u64 n = 0; n < 5; n++) {
            NearerMeans nearer(n, zero);
            EXPECT_TRUE(outcome(c, nearer).found) << n;
        }
    }
}

// A transform that is damaged while it is held is made anew from its number, whose words are still there.
TEST(NumberDamageTest, HeldTransformsAreMadeAnew) {
    std::mt19937_64 rng(17);
    for (const Computation& c :
         {reciprocal(700), reciprocal(4000), root(700, 3000), root_of_word(700),
          division(700, DivisionTransforms::kept), division(4000, DivisionTransforms::kept),
          division(700, DivisionTransforms::kept, QuotientPlace::divisor)}) {
        OneChangedNumber counter(OneChangedNumber::kNever, 0, "data");
        const Outcome right = outcome(c, counter);
        ASSERT_GT(counter.count, 3u) << c.name;
        u64 corrected = 0;
        for (u64 i = 0; i < counter.count; i++) {
            // The highest bit of a fraction, where the data are floating-point numbers.
            OneChangedNumber change(i, rng() % 256 * 64 + 51, "data");
            const Outcome now = outcome(c, change);
            ASSERT_FALSE(now.found) << c.name << ", transform " << i << " of " << counter.count;
            ASSERT_TRUE(agree(right, now, c.p)) << c.name << ", transform " << i;
            corrected += now.corrected;
        }
        EXPECT_GE(2 * corrected, counter.count) << c.name;
    }
}

// A product of the last level comes out wrong twice: a lower algorithm does it, of the words that are all
// still there.
TEST(NumberDamageTest, ProductsThatFailTwiceAreDoneByALowerAlgorithm) {
    struct Case {
        Computation computation;
        u64 products;  // of the last level, by Code 17
    };
    const u64 p = 3600;
    for (const Case& c : {Case{reciprocal(p), 2},
                          {root_of_word(p), 2},
                          {root(p, 10000), 3},
                          {root(p, 1000), 3},
                          {square_root(2 * p), 1},
                          {power(p, p, 5), 3},
                          {division(p, DivisionTransforms::kept), 3},
                          {division(p, DivisionTransforms::none), 3},
                          {division(p, DivisionTransforms::kept, QuotientPlace::divisor), 3}}) {
        Computation ample = c.computation;
        // Room for the lower algorithm.
        ample.workspace = [&] {
            Workspace w = c.computation.workspace();
            return Workspace(w.T.buffer_size, w.temporaries.size(), w.context.scratch.size() * 6);
        };
        ChangedNumbers counter("product");
        const Outcome right = outcome(ample, counter);
        ASSERT_GE(counter.count, c.products) << ample.name;
        for (u64 i = counter.count - c.products; i < counter.count; i++) {
            ChangedNumbers change("product", {i, i + 1}, 1000 + 37 * i);
            const Outcome now = outcome(ample, change);
            ASSERT_FALSE(now.found) << ample.name << ", product " << i << " of " << counter.count;
            ASSERT_TRUE(agree(right, now, ample.p)) << ample.name << ", product " << i;
            EXPECT_EQ(now.corrected, 1u) << ample.name << ", product " << i;
        }
    }
}

}  // namespace
}  // namespace trel
