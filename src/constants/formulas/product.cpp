#include "constants/formulas/product.h"

#include <algorithm>
#include <utility>

#include "base/names/names.h"
#include "constants/evaluator/large_product.h"

namespace kalvor::Formulas {

namespace {

// The product and its move each drop less than a unit of a guard word.
constexpr u32 kRoundingBits = 0;

u64 words_of(const Evaluator& value) {
    return round_up_8(value.needs().result_words);
}

// What is taken until both values are there.
Needs operand_needs(const Evaluator& first, const Evaluator& second) {
    return first.needs().maximum(second.needs().above(words_of(second)));
}

class Product final : public Evaluator {
  public:
    Product(const EvaluatorRequest& request, std::unique_ptr<Evaluator> first,
            std::unique_ptr<Evaluator> second, std::string label)
        : precision_(request.precision),
          first_(std::move(first)),
          second_(std::move(second)),
          label_(std::move(label)),
          needs_(operand_needs(*first_, *second_)),
          result_words_(round_up_8(std::max(first_->needs().result_words, precision_ + 3))),
          operand_words_(words_of(*second_) + result_words_),
          product_(precision_, room_above(std::max(needs_.bytes, request.free_bytes), operand_words_)) {
        needs_.result_words = result_words_;
        needs_.take_maximum(product_.needs().above(operand_words_));
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override { return first_->series_blocks() + second_->series_blocks(); }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = first_->work();
        for (WorkPhase& phase : second_->work()) phases.push_back(std::move(phase));
        phases.push_back(product_.work());
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        if (!label_.empty()) status.Status_Line(label_);
        BigFloat& x = result;
        const ErrorBound first_error = first_->run(context, status, x);
        AlignedBufferC memory = context.scratch;
        BigFloat y = carve<BigFloat>(memory, second_->needs().result_words);
        const ErrorBound second_error = second_->run(context.with_scratch(memory), status, y);
        x.verify(context.parallel, "the first factor, which waited for the second");
        BigFloat T = carve<BigFloat>(memory, result_words_);
        const WorkPhase phase = product_.work();
        status.work().enter(phase.name);
        product_.run(context.with_scratch(memory), status, T, x, y);
        const ErrorBound error = product_error({x, first_error}, {y, second_error});
        result.set_BigFloat(precision_, context.parallel, T);
        return error + ErrorBound::of_words(result, precision_, kRoundingBits);
    }

  private:
    const u64 precision_;
    const std::unique_ptr<Evaluator> first_, second_;
    const std::string label_;
    Needs needs_;
    const u64 result_words_;   // also of the product before it is moved to the result
    const u64 operand_words_;  // of the second value and the product
    const LargeProduct product_;
};

struct Operands {
    std::unique_ptr<Evaluator> first, second;
};

// Each is made once, so that a tree of products is planned in one walk.
Operands make_operands(const EvaluatorRequest& request, const EvaluatorFactory& first,
                       const EvaluatorFactory& second) {
    Operands operands;
    // A value takes a few words more than its precision.
    const u64 words = round_up_8(request.precision + 8);
    operands.second =
        second.make_evaluator({request.precision, request.tds, room_above(request.memory_budget, words),
                               room_above(request.free_bytes, words)});
    const u64 above_first = operands.second->needs().above(words_of(*operands.second)).bytes;
    operands.first = first.make_evaluator(
        {request.precision, request.tds, request.memory_budget, std::max(request.free_bytes, above_first)});
    return operands;
}

}  // namespace

std::unique_ptr<Evaluator> make_product(const EvaluatorRequest& request, const EvaluatorFactory& first,
                                        const EvaluatorFactory& second, std::string label) {
    Operands operands = make_operands(request, first, second);
    return std::make_unique<Product>(request, std::move(operands.first), std::move(operands.second),
                                     std::move(label));
}

std::unique_ptr<Evaluator> make_product(const EvaluatorRequest& request, const EvaluatorFactory& first,
                                        const EvaluatorFactory& second) {
    Operands operands = make_operands(request, first, second);
    if (operand_needs(*operands.second, *operands.first).bytes <
        operand_needs(*operands.first, *operands.second).bytes) {
        std::swap(operands.first, operands.second);
    }
    return std::make_unique<Product>(request, std::move(operands.first), std::move(operands.second), "");
}

}  // namespace kalvor::Formulas
