#include "constants/formulas/log_agm_node.h"

#include <cmath>
#include <utility>

#include "arith/newton/log_agm.h"
#include "arith/newton/newton_work.h"

namespace kalvor::Formulas {
namespace {

// Working memory:
//
//   [x][all that x takes]
//   [x][Pi][all that Pi takes]
//   [x][Pi][ln 2][all that ln 2 takes, then the mean's own]
//
// A logarithm near zero has fewer right words than others, but as many behind the point: its bound says so.
class LogAgm final : public Evaluator {
  public:
    LogAgm(const LogAgmPlan& plan, std::unique_ptr<Evaluator> x, std::unique_ptr<Evaluator> pi,
           std::unique_ptr<Evaluator> log2)
        : plan_(plan), x_(std::move(x)), pi_(std::move(pi)), log2_(std::move(log2)) {
        const auto words = [](const Evaluator& value) { return round_up_8(value.needs().result_words); };
        needs_ = log2_->needs().maximum(plan_.needs()).above(words(*log2_));
        needs_ = needs_.maximum(pi_->needs()).above(words(*pi_));
        needs_ = needs_.maximum(x_->needs()).above(words(*x_));
        needs_.result_words = plan_.result;
    }

    const Needs& needs() const override { return needs_; }
    SeriesBlocks series_blocks() const override {
        return x_->series_blocks() + pi_->series_blocks() + log2_->series_blocks();
    }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = x_->work();
        for (const Evaluator* value : {pi_.get(), log2_.get()}) {
            for (WorkPhase& phase : value->work()) phases.push_back(std::move(phase));
        }
        // Half of the steps make the numbers alike, the others double the words that agree.
        const double p = static_cast<double>(plan_.mean.p);
        const double steps = 2 * std::log2(64 * p + 64);
        const double step = 2 * newton::levels_work(plan_.mean.p) + 2 * product_work(2 * p);
        phases.push_back({"mean", steps * step * kWorkSeconds, 0});
        return phases;
    }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        AlignedBufferC memory = context.scratch;
        const auto evaluate = [&](const Evaluator& evaluator, BigFloat& value) {
            value = carve<BigFloat>(memory, evaluator.needs().result_words);
            return evaluator.run(context.with_scratch(memory), status, value);
        };
        BigFloat x, pi, log2;
        const ErrorBound x_error = evaluate(*x_, x);
        const ErrorBound pi_error = evaluate(*pi_, pi);
        const ErrorBound log2_error = evaluate(*log2_, log2);
        status.work().enter("mean");
        Log_AGM_BigFloatR::run(plan_, context.with_scratch(memory), status, result, x, pi, log2);
        // Pi / (2 AGM) and m ln 2 are each a multiple of their constant, with a factor below (m + 64 p) 2:
        // their roundings are less than those of the constants' last words.
        const i64 d = x.mag() < 0 ? -x.mag() : x.mag();
        const Word factor = 128 * (static_cast<Word>(d) + plan_.mean.p + 4);
        const ErrorBound rounding =
            ErrorBound::within(PowerOfTwo{2 - static_cast<i64>(plan_.mean.p), newton::kErrorBits});
        return logarithm_error({x, x_error}) + (pi_error + log2_error + rounding).times_word(factor);
    }

  private:
    const LogAgmPlan plan_;
    const std::unique_ptr<Evaluator> x_, pi_, log2_;
    Needs needs_;
};

}  // namespace

LogAgmNode::LogAgmNode(NodePtr x, NodePtr pi, NodePtr log2)
    : x_(std::move(x)), pi_(std::move(pi)), log2_(std::move(log2)) {}

std::unique_ptr<Evaluator> LogAgmNode::make_evaluator(const EvaluatorRequest& request) const {
    const LogAgmPlan plan = LogAgmPlan::make(request.precision, 0, request.tds);
    // What each finds less than its parent.
    const u64 words = round_up_8(plan.mean.p + 24);
    EvaluatorRequest part = {plan.mean.p, request.tds, room_above(request.memory_budget, words),
                             room_above(request.free_bytes, words)};
    auto x = x_->make_evaluator(part);
    part.memory_budget = room_above(part.memory_budget, words);
    part.free_bytes = room_above(part.free_bytes, words);
    auto pi = pi_->make_evaluator(part);
    part.memory_budget = room_above(part.memory_budget, words);
    part.free_bytes = room_above(part.free_bytes, words);
    auto log2 = log2_->make_evaluator(part);
    return std::make_unique<LogAgm>(plan, std::move(x), std::move(pi), std::move(log2));
}

}  // namespace kalvor::Formulas
