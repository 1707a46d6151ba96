#include "constants/formulas/product.h"

#include <algorithm>
#include <utility>

#include "base/names/names.h"
#include "constants/evaluator/large_product.h"
#include "constants/evaluator/two_operands.h"

namespace kalvor::Formulas {

namespace {

// The product and its move each drop less than a unit of a guard word.
constexpr u32 kRoundingBits = 0;

class Product final : public Evaluator {
  public:
    Product(const EvaluatorRequest& request, const EvaluatorFactory& first, const EvaluatorFactory& second,
            std::string label)
        : precision_(request.precision),
          operands_(request, first, second),
          label_(std::move(label)),
          needs_(operands_.needs()),
          result_words_(round_up_8(std::max(needs_.result_words, precision_ + 3))),
          above_words_(operands_.second_words() + result_words_),
          product_(precision_, room_above(std::max(needs_.bytes, request.free_bytes), above_words_)) {
        needs_.result_words = result_words_;
        needs_.take_maximum(product_.needs().above(above_words_));
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override { return operands_.series_blocks(); }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = operands_.work();
        phases.push_back(product_.work());
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        if (!label_.empty()) status.Status_Line(label_);
        OperandValues values =
            operands_.run(context, status, result, {"the first factor, which waited for the second"});
        const BigFloat &x = result, &y = values.second;
        BigFloat T = carve<BigFloat>(values.memory, result_words_);
        const WorkPhase phase = product_.work();
        status.work().enter(phase.name);
        product_.run(context.with_scratch(values.memory), status, T, x, y);
        const ErrorBound error = product_error({x, values.first_error}, {y, values.second_error});
        result.set_BigFloat(precision_, context.parallel, T);
        return error + ErrorBound::of_words(result, precision_, kRoundingBits);
    }

  private:
    const u64 precision_;
    const TwoOperands operands_;
    const std::string label_;
    Needs needs_;
    const u64 result_words_;  // also of the product before it is moved to the result
    const u64 above_words_;   // of the second value and the product
    const LargeProduct product_;
};

}  // namespace

std::unique_ptr<Evaluator> make_product(const EvaluatorRequest& request, const EvaluatorFactory& first,
                                        const EvaluatorFactory& second, std::string label) {
    return std::make_unique<Product>(request, first, second, std::move(label));
}

}  // namespace kalvor::Formulas
