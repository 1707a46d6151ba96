// Two values: what each is told of the other, in which memory they run, and what is seen of a damaged one.
#include "constants/evaluator/two_operands.h"

#include <gtest/gtest.h>

#include <vector>

#include "constants/builtin/lemniscate.h"
#include "support/message_of.h"
#include "support/scratch.h"

using namespace kalvor;

namespace {

constexpr u64 kPrecision = 1000, kValueWords = 1008, kValueBytes = 8 * kValueWords;

// A number that takes so many bytes to compute and, while it does, may do something else.
class Known final : public EvaluatorFactory {
  public:
    explicit Known(u64 bytes) : bytes_(bytes) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        requests.push_back(request);
        return std::make_unique<Value>(*this);
    }

    mutable std::vector<EvaluatorRequest> requests;
    mutable std::vector<u64> found;  // bytes, at each run
    std::function<void()> during_run;

  private:
    class Value final : public Evaluator {
      public:
        explicit Value(const Known& of) : of_(of), needs_{kValueWords, of.bytes_, 100} {}
        const Needs& needs() const override { return needs_; }
        std::vector<trel::WorkPhase> work() const override { return {{"known", 1, 1}}; }
        ErrorBound run(const MultiplyContext& context, Status&, BigFloat& result) const override {
            of_.found.push_back(context.scratch.size());
            result.set_double(6, 0);
            if (of_.during_run) of_.during_run();
            return ErrorBound::none();
        }

      private:
        const Known& of_;
        const Needs needs_;
    };
    const u64 bytes_;
};

TEST(TwoOperandsTest, TheSecondHasABudgetThatIsSmallerByItsValue) {
    const Known first(640000), second(128000);
    const TwoOperands both({kPrecision, 3, 500000, 10000}, first, second);
    EXPECT_EQ(first.requests.at(0).memory_budget, 500000u);
    EXPECT_LE(second.requests.at(0).memory_budget, 500000 - kValueBytes);
    EXPECT_GE(second.requests.at(0).memory_budget, 500000 - kValueBytes - 256);
    EXPECT_EQ(both.work().size(), 2u);
    EXPECT_EQ(both.second_words(), kValueWords);
}

// What the second takes is there for the first in any case.
TEST(TwoOperandsTest, WhatTheSecondTakesCostsTheFirstNothing) {
    const Known first(640000), second(128000);
    const TwoOperands both({kPrecision, 1}, first, second);
    EXPECT_EQ(second.requests.at(0).free_bytes, 0u);
    EXPECT_EQ(first.requests.at(0).free_bytes, 128000 + kValueBytes);
    // And what is there for both, less the second value.
    const TwoOperands roomy({kPrecision, 1, trel::kAnyRoom, 1000000}, first, second);
    EXPECT_LE(second.requests.at(1).free_bytes, 1000000 - kValueBytes);
    EXPECT_GE(second.requests.at(1).free_bytes, 1000000 - kValueBytes - 256);
    EXPECT_EQ(first.requests.at(1).free_bytes, 1000000u);
}

TEST(TwoOperandsTest, RunsInExactlyWhatItPlans) {
    for (const u64 bytes : {u64(64000), u64(640000)}) {
        const Known first(640000), second(bytes);
        const TwoOperands both({kPrecision, 1}, first, second);
        EXPECT_EQ(both.needs().bytes, std::max<u64>(640000, bytes + kValueBytes));
        Scratch result(kValueBytes), scratch(both.needs().bytes);
        BigFloat x(result.words(), kValueWords);
        const OperandValues values = both.run({trel::serial_context(), scratch.view(), nullptr},
                                              trel::null_status(), x, {"the first"});
        EXPECT_EQ(values.second.word_at(0), 6u);
        EXPECT_EQ(first.found.at(0), both.needs().bytes);
        EXPECT_EQ(second.found.at(0), both.needs().bytes - kValueBytes);
    }
}

TEST(TwoOperandsTest, AValueThatIsDamagedWhileItWaitsIsFound) {
    const Known first(64000);
    Known second(64000);
    const TwoOperands both({kPrecision, 1}, first, second);
    Scratch result(kValueBytes), scratch(both.needs().bytes);
    BigFloat x(result.words(), kValueWords);
    second.during_run = [&] { x.T[0] ^= 1; };
    EXPECT_NE(kalvor_test::message_of([&] {
                  (void)both.run({trel::serial_context(), scratch.view(), nullptr}, trel::null_status(), x,
                                 {"the one that waited"});
              }).find("A number was damaged in memory: the one that waited"),
              std::string::npos);
}

// The arcsines of the lemniscate constant are planned in this way: with a budget that is enough for a slower
// way of both, the plan keeps within it.
TEST(TwoOperandsTest, TheLemniscateConstantKeepsItsBudget) {
    const u64 p = 20000;
    for (const LemniscateAlgorithm algorithm : {LemniscateAlgorithm::gauss, LemniscateAlgorithm::sebah}) {
        const auto bytes = [&](u64 budget) {
            return Lemniscate(algorithm).make_evaluator({p, 1, budget})->needs().bytes;
        };
        const u64 most = bytes(trel::kAnyRoom), least = bytes(0);
        ASSERT_LT(least, most);
        for (u64 i = 0; i <= 8; i++) {
            const u64 budget = least + (most - least) * i / 8;
            EXPECT_LE(bytes(budget), budget) << i << ": " << least << " ... " << most;
        }
    }
}

}  // namespace
