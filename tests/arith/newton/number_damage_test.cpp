// One bit of a number is changed when an operation inside an iteration takes the number up. Either that is
// noticed, or the result is right all the same: words that nothing depends on.
#include <functional>

#include "arith/newton/agm.h"
#include "arith/newton/coupled_root.h"
#include "arith/newton/division.h"
#include "arith/newton/invsqrt.h"
#include "arith/newton/invsqrt_word.h"
#include "arith/newton/nth_root.h"
#include "arith/newton/power.h"
#include "arith/newton/power_word.h"
#include "arith/newton/reciprocal.h"
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
    EXPECT_GE(20 * found, 19 * changed) << c.name << ": " << found << " of " << changed;
}

// Operands of each run are made anew, because the change may meet them.
Computation division(u64 p, DivisionTransforms transforms) {
    const auto plan = std::make_shared<const DivisionPlan>(DivisionPlan::make(p, 1, transforms));
    return {"division", p, [=] { return Workspace(plan->result, plan->temporaries, plan->products.bytes); },
            [=](Workspace& w) {
                std::mt19937_64 rng(91);
                const Number A(make_words(Shape::random, p + 2, rng)),
                    B(make_words(Shape::random, p + 1, rng), 3);
                Division_BigFloatR::run(*plan, w.context, null_status(), w.T, A.value, B.value, w.buffer());
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

class NumberDamageTest : public testing::TestWithParam<Computation> {};
INSTANTIATE_TEST_SUITE_P(
    Newton, NumberDamageTest,
    testing::Values(division(8, DivisionTransforms::kept), division(60, DivisionTransforms::kept),
                    division(700, DivisionTransforms::kept), division(700, DivisionTransforms::none),
                    reciprocal(300), root(60, 1000), root(700, 10000), root(700, 84), root_of_word(60),
                    root_of_word(700), nth_root(60, 3, true), nth_root(600, 4, false), power(300, 1, 77),
                    power(300, 302, 5), mean(80), square_root(60), square_root(2700)),
    [](const auto& info) {
        std::string name = std::string(info.param.name) + " " + std::to_string(info.index);
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST_P(NumberDamageTest, FoundOrHarmless) {
    std::mt19937_64 rng(97);
    expect_found_or_harmless(GetParam(), 60 / thinned(4), rng);
}

// A transform that is damaged while it is held is made anew from its number, whose words are still there.
TEST(NumberDamageTest, HeldTransformsAreMadeAnew) {
    std::mt19937_64 rng(17);
    for (const Computation& c :
         {reciprocal(700), reciprocal(4000), root(700, 3000), root_of_word(700),
          division(700, DivisionTransforms::kept), division(4000, DivisionTransforms::kept)}) {
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

}  // namespace
}  // namespace trel
