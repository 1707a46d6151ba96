// The functions that formulas call take all their memory from the context, as much as Needs says.
#include <functional>
#include <random>

#include "arith/newton/agm.h"
#include "arith/newton/division.h"
#include "arith/newton/invsqrt.h"
#include "arith/newton/invsqrt_word.h"
#include "arith/newton/nth_root.h"
#include "arith/newton/power.h"
#include "newton_test_support.h"

namespace trel {
namespace {

using namespace kalvor_test;

struct Operation {
    const char* name;
    NewtonPlan plan;
    Needs needs;
    // As formulas call it, and with memory in parts.
    std::function<void(const MultiplyContext&, BigFloat&)> whole;
    std::function<void(const MultiplyContext&, BigFloat&, LinearWordBuffer)> parts;
};

std::vector<Word> words_of(const BigFloat& T) {
    return {T.T, T.T + T.L};
}

// The plans live as long as the operations.
struct Plans {
    Plans(u64 p, u64 tds)
        : division(DivisionPlan::make(p, tds)),
          division_none(DivisionPlan::make(p, tds, DivisionTransforms::none)),
          invsqrt(InvsqrtFloatPlan::make(p, tds)),
          invsqrt_word(InvsqrtWordPlan::make(p, tds)),
          nth_root(InvNthRootPlan::make(p, tds)),
          power(SignedPowerPlan::make(p, tds)),
          agm(AGMPlan::make(p, tds)) {}
    DivisionPlan division, division_none;
    InvsqrtFloatPlan invsqrt;
    InvsqrtWordPlan invsqrt_word;
    InvNthRootPlan nth_root;
    SignedPowerPlan power;
    AGMPlan agm;
};

std::vector<Operation> operations(const Plans& plans, const BigFloat& A, const BigFloat& B) {
    Status& status = null_status();
    std::vector<Operation> all;
    const auto add = [&](const char* name, const auto& plan, auto whole, auto parts) {
        all.push_back({name, plan, plan.needs(), whole, parts});
    };
    for (const DivisionPlan* plan : {&plans.division, &plans.division_none})
        add(
            "division", *plan,
            [=, &status](const MultiplyContext& context, BigFloat& T) {
                large_division(*plan, context, status, T, A, B);
            },
            [=, &status](const MultiplyContext& context, BigFloat& T, LinearWordBuffer b) {
                Division_BigFloatR::run(*plan, context, status, T, A, B, b);
            });
    add(
        "inverse square root", plans.invsqrt,
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T) {
            large_invsqrt(plans.invsqrt, context, status, T, A);
        },
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T, LinearWordBuffer b) {
            InvsqrtFloat_BigFloatR::run(plans.invsqrt, context, status, T, A, plans.invsqrt.p, b);
        });
    add(
        "inverse square root of a word", plans.invsqrt_word,
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T) {
            invsqrt_word(plans.invsqrt_word, context, status, T, 10005, "InvSqrt(10005)...");
        },
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T, LinearWordBuffer b) {
            InvsqrtWord_BigFloatR::run(plans.invsqrt_word, context, status, T, 10005, plans.invsqrt_word.p,
                                       b);
        });
    add(
        "root", plans.nth_root,
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T) {
            inv_nth_root(plans.nth_root, context, status, T, A, 5);
        },
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T, LinearWordBuffer b) {
            InvNthRootFloat_BigFloatR_P::run_expanded(plans.nth_root, context, status, T, A, plans.nth_root.p,
                                                      b, 5);
        });
    add(
        "power", plans.power,
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T) {
            large_power(plans.power, context, status, T, A, 11);
        },
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T, LinearWordBuffer b) {
            Power_BF_uL_BigFloatR::run(plans.power.power, context, status, T, A, 11, plans.power.p, b);
        });
    add(
        "mean", plans.agm,
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T) {
            agm1(plans.agm, context, status, T, A);
        },
        [=, &plans, &status](const MultiplyContext& context, BigFloat& T, LinearWordBuffer b) {
            AGM1_BigFloatR::run(plans.agm, context, status, T, A, plans.agm.p, b);
        });
    return all;
}

TEST(NewtonNeedsTest, OperationsRunInsideTheirNeeds) {
    std::mt19937_64 rng(91);
    for (const u64 p : {1, 5, 9, 10, 11, 33, 100, 700, 3000}) {
        const u64 tds = p % 2 + 1;
        const Plans plans(p, tds);
        const Number A(make_words(Shape::random, p, rng), -static_cast<i64>(p)),
            B(make_words(Shape::random, p + 1, rng));
        for (const Operation& operation : operations(plans, A.value, B.value)) {
            const NewtonPlan& plan = operation.plan;
            ASSERT_EQ(operation.needs.result_words, plan.result);
            ASSERT_EQ(operation.needs.bytes, 8 * round_up_8(plan.temporaries) + plan.products.bytes);
            ASSERT_GE(operation.needs.product_words, p);
            Workspace whole(operation.needs, tds);
            operation.whole(whole.context, whole.T);
            EXPECT_TRUE(whole.intact()) << operation.name << " " << p;
            Workspace parts(plan.result, plan.temporaries, plan.products.bytes, tds);
            operation.parts(parts.context, parts.T, parts.buffer());
            EXPECT_TRUE(parts.intact()) << operation.name << " " << p;
            EXPECT_EQ(words_of(whole.T), words_of(parts.T)) << operation.name << " " << p;
            EXPECT_EQ(whole.T.exp, parts.T.exp) << operation.name << " " << p;
        }
    }
}

TEST(NewtonNeedsTest, LessMemoryIsRefused) {
    std::mt19937_64 rng(92);
    const u64 p = 3000;
    const Plans plans(p, 1);
    const Number A(make_words(Shape::random, p, rng), -static_cast<i64>(p)),
        B(make_words(Shape::random, p + 1, rng));
    for (const Operation& operation : operations(plans, A.value, B.value)) {
        Workspace w(operation.needs);
        const MultiplyContext less =
            w.context.with_scratch(AlignedBufferC(w.scratch.get(), operation.needs.bytes / 128 * 64));
        EXPECT_THROW(operation.whole(less, w.T), BufferTooSmallException) << operation.name;
        EXPECT_TRUE(w.intact()) << operation.name;
    }
}

// A buffer hands out numbers one behind the other, as the memory of a context does.
TEST(NewtonNeedsTest, NumbersAreCarvedOneBehindTheOther) {
    GuardedWords words(40);
    LinearWordBuffer buffer(words.get(), 40);
    const BigFloat a = carve<BigFloat>(buffer, 13), b = carve<BigFloat>(buffer, 7);
    EXPECT_EQ(a.buffer, words.get());
    EXPECT_EQ(a.buffer_size, 13u);
    EXPECT_EQ(b.buffer, words.get() + 13);
    EXPECT_EQ(buffer.size(), 20u);
    EXPECT_THROW(carve<BigFloat>(buffer, 21), BufferTooSmallException);
    AlignedBufferC memory(words.get(), 40 * sizeof(Word));
    const BigFloat c = carve<BigFloat>(memory, 13), d = carve<BigFloat>(memory, 7);
    EXPECT_EQ(c.buffer_size, 13u);
    EXPECT_EQ(d.buffer, words.get() + 16);
    EXPECT_EQ(memory.words(), 16u);
}

}  // namespace
}  // namespace trel
