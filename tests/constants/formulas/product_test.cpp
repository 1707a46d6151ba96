// What a product asks of its parts, and what it makes of their answers.
#include "constants/formulas/product.h"

#include <gtest/gtest.h>

#include <vector>

#include "constants/evaluator/large_product.h"
#include "support/scratch.h"

using namespace kalvor;

namespace {

constexpr u64 kPrecision = 1000;
constexpr u64 kValueWords = 1008;

// A whole number that takes so many bytes to compute.
class Whole final : public EvaluatorFactory {
  public:
    Whole(double value, u64 bytes) : value_(value), bytes_(bytes) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        requests.push_back(request);
        return std::make_unique<Value>(value_, bytes_, runs);
    }

    mutable std::vector<EvaluatorRequest> requests;
    mutable std::vector<u64> runs;  // bytes that each found

  private:
    class Value final : public Evaluator {
      public:
        Value(double value, u64 bytes, std::vector<u64>& runs)
            : value_(value), needs_{kValueWords, bytes, 100}, runs_(runs) {}
        const Needs& needs() const override { return needs_; }
        std::vector<trel::WorkPhase> work() const override { return {{"whole", 1, 1}}; }
        SeriesBlocks series_blocks() const override { return {3, 2}; }
        ErrorBound run(const MultiplyContext& context, Status&, BigFloat& result) const override {
            runs_.push_back(context.scratch.size());
            result.set_double(value_, 0);
            return ErrorBound::none();
        }

      private:
        const double value_;
        const Needs needs_;
        std::vector<u64>& runs_;
    };

    const double value_;
    const u64 bytes_;
};

double run(const Evaluator& evaluator) {
    const Needs& needs = evaluator.needs();
    Scratch result(trel::round_up_8(needs.result_words) * sizeof(trel::Word)), scratch(needs.bytes);
    BigFloat x(result.words(), needs.result_words);
    evaluator.run({trel::serial_context(), scratch.view(), nullptr}, trel::null_status(), x);
    EXPECT_EQ(x.mag(), 1);
    return static_cast<double>(x.word_at(0));
}

TEST(ProductTest, WhatTheSecondTakesIsFreeForTheFirst) {
    const Whole first(6, 640000), second(7, 128000);
    const auto product = Formulas::make_product({kPrecision, 5}, first, second, "42:");
    ASSERT_EQ(first.requests.size(), 1u);
    ASSERT_EQ(second.requests.size(), 1u);
    for (const EvaluatorRequest& request : {first.requests[0], second.requests[0]}) {
        EXPECT_EQ(request.precision, kPrecision);
        EXPECT_EQ(request.tds, 5u);
        EXPECT_EQ(request.memory_budget, trel::kAnyRoom);
    }
    EXPECT_EQ(second.requests[0].free_bytes, 0u);
    EXPECT_EQ(first.requests[0].free_bytes, 128000 + 8 * kValueWords);
    EXPECT_EQ(product->needs().bytes, 640000u);
    EXPECT_GE(product->needs().result_words, kPrecision + 3);
    EXPECT_EQ(product->label(), "42:");
    EXPECT_EQ(product->series_blocks().all, 6u);
    EXPECT_EQ(product->series_blocks().checked, 4u);
    EXPECT_EQ(run(*product), 42);
    // The second stands above its own value.
    EXPECT_EQ(first.runs, std::vector<u64>{640000});
    EXPECT_EQ(second.runs, std::vector<u64>{640000 - 8 * kValueWords});
}

TEST(ProductTest, BudgetAndFreeMemoryAreHandedOn) {
    const Whole first(6, 640000), second(7, 128000);
    const u64 value = 8 * kValueWords;
    Formulas::make_product({kPrecision, 1, 500000, 300000}, first, second, "");
    EXPECT_EQ(first.requests[0].memory_budget, 500000u);
    EXPECT_EQ(first.requests[0].free_bytes, 300000u);
    // At least the value itself; it is planned before it says what it takes.
    for (const u64 left :
         {500000 - second.requests[0].memory_budget, 300000 - second.requests[0].free_bytes}) {
        EXPECT_GE(left, value);
        EXPECT_LE(left, value + 256);
    }
}

// The order is the caller's, whichever takes more.
TEST(ProductTest, Order) {
    const u64 small = 64000, large = 640000, value = 8 * kValueWords;
    for (const bool swapped : {false, true}) {
        const Whole a(6, swapped ? small : large), b(7, swapped ? large : small);
        const auto product = Formulas::make_product({kPrecision, 1}, a, b, "");
        EXPECT_EQ(product->needs().bytes, swapped ? large + value : large);
        EXPECT_EQ(run(*product), 42);
        EXPECT_EQ(a.runs.back(), product->needs().bytes);
    }
}

// Whether the last product is done in two steps depends on what is there in any case.
TEST(ProductTest, TheLastProductRaisesNoPeakThatItNeedNot) {
    const u64 p = 100000;
    const u64 whole = LargeProduct(p, trel::kAnyRoom).needs().bytes;
    const u64 halves = LargeProduct(p, 0).needs().bytes;
    ASSERT_LT(halves, whole);
    const u64 operands = 8 * (kValueWords + trel::round_up_8(p + 3));
    const Whole small(1, 64), enough(1, operands + whole), short_of_it(1, operands + whole - 64);
    const auto bytes = [&](const Whole& first, u64 free_bytes) {
        return Formulas::make_product({p, 1, trel::kAnyRoom, free_bytes}, first, small, "")->needs().bytes;
    };
    EXPECT_EQ(bytes(small, 0), operands + halves);
    EXPECT_EQ(bytes(enough, 0), operands + whole);
    EXPECT_EQ(bytes(small, operands + whole), operands + whole);
    EXPECT_EQ(bytes(short_of_it, 0), operands + whole - 64);
    const u64 longest = LargeProduct(p, whole - 64).needs().bytes;
    EXPECT_LT(longest, whole);
    EXPECT_EQ(bytes(small, operands + whole - 64), operands + longest);
    EXPECT_EQ(bytes(small, operands + halves), operands + halves);
}

}  // namespace
