#include "constants/evaluator/two_operands.h"

#include <algorithm>
#include <utility>

namespace kalvor {
namespace {

// A value takes a few words more than its precision.
constexpr u64 kSpareWords = 24;

}  // namespace

TwoOperands::TwoOperands(const EvaluatorRequest& request, const EvaluatorFactory& first,
                         const EvaluatorFactory& second) {
    const u64 words = round_up_8(request.precision + kSpareWords);
    second_ = second.make_evaluator({request.precision, request.tds, room_above(request.memory_budget, words),
                                     room_above(request.free_bytes, words)});
    const u64 free_bytes = std::max(request.free_bytes, second_->needs().above(second_words()).bytes);
    first_ = first.make_evaluator({request.precision, request.tds, request.memory_budget, free_bytes});
}

Needs TwoOperands::needs() const {
    Needs needs = first_->needs().maximum(second_->needs().above(second_words()));
    needs.result_words = first_->needs().result_words;
    return needs;
}

u64 TwoOperands::second_words() const {
    return round_up_8(second_->needs().result_words);
}

std::vector<WorkPhase> TwoOperands::work() const {
    std::vector<WorkPhase> phases = first_->work();
    for (WorkPhase& phase : second_->work()) phases.push_back(std::move(phase));
    return phases;
}

OperandValues TwoOperands::run(const MultiplyContext& context, Status& status, BigFloat& result,
                               const Words& words) const {
    OperandValues values;
    if (!words.first_label.empty()) status.Status_Line(words.first_label);
    values.first_error = first_->run(context, status, result);
    values.memory = context.scratch;
    values.second = carve<BigFloat>(values.memory, second_->needs().result_words);
    if (!words.second_label.empty()) status.Status_Line(words.second_label);
    values.second_error = second_->run(context.with_scratch(values.memory), status, values.second);
    result.verify(context.parallel, words.waiting);
    return values;
}

}  // namespace kalvor
