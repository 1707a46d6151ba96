#include "constants/evaluator/two_operands.h"

#include <algorithm>
#include <utility>

namespace kalvor {
namespace {

// A value takes a few words more than its precision.
constexpr u64 kSpareWords = 24;

u64 words_of(const Evaluator& value) {
    return round_up_8(value.needs().result_words);
}

Needs needs_of(const Evaluator& first, const Evaluator& second) {
    Needs needs = first.needs().maximum(second.needs().above(words_of(second)));
    needs.result_words = first.needs().result_words;
    return needs;
}

}  // namespace

TwoOperands::TwoOperands(const EvaluatorRequest& request, const EvaluatorFactory& first,
                         const EvaluatorFactory& second, PlanFirst plan_first) {
    const u64 words = round_up_8(request.precision + kSpareWords);
    const auto make_first = [&](u64 free_bytes) {
        first_ = first.make_evaluator({request.precision, request.tds, request.memory_budget, free_bytes});
    };
    const auto make_second = [&](u64 free_bytes) {
        second_ =
            second.make_evaluator({request.precision, request.tds, room_above(request.memory_budget, words),
                                   room_above(free_bytes, words)});
    };
    if (plan_first == PlanFirst::first) {
        make_first(request.free_bytes);
        make_second(std::max(request.free_bytes, first_->needs().bytes));
    } else {
        make_second(request.free_bytes);
        make_first(std::max(request.free_bytes, second_->needs().above(second_words()).bytes));
    }
}

void TwoOperands::take_cheaper_order() {
    if (needs_of(*second_, *first_).bytes < needs_of(*first_, *second_).bytes) std::swap(first_, second_);
}

Needs TwoOperands::needs() const {
    return needs_of(*first_, *second_);
}

u64 TwoOperands::second_words() const {
    return words_of(*second_);
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
