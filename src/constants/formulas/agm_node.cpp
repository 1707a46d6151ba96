#include "constants/formulas/agm_node.h"

#include <cmath>
#include <utility>

#include "arith/newton/agm.h"
#include "arith/newton/newton_work.h"

namespace kalvor::Formulas {
namespace {

// Working memory:
//
//   [x][all that x takes]
//   [x][the mean's own]
class Agm final : public Evaluator {
  public:
    Agm(std::unique_ptr<Evaluator> x, const EvaluatorRequest& request)
        : x_(std::move(x)), plan_(AGMPlan::make(request.precision, request.tds)) {
        const u64 words = round_up_8(x_->needs().result_words);
        needs_ = x_->needs().maximum(plan_.needs()).above(words);
        needs_.result_words = plan_.result;
    }

    const Needs& needs() const override { return needs_; }
    SeriesBlocks series_blocks() const override { return x_->series_blocks(); }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = x_->work();
        // Every step doubles the words that agree.
        const double p = static_cast<double>(plan_.p);
        const double steps = std::log2(64 * p + 64) + 1;
        phases.push_back({"mean", steps * newton::mean_step_work(plan_.p) * kWorkSeconds, 0});
        return phases;
    }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        AlignedBufferC memory = context.scratch;
        BigFloat x = carve<BigFloat>(memory, x_->needs().result_words);
        const ErrorBound x_error = x_->run(context.with_scratch(memory), status, x);
        status.work().enter("mean");
        agm1(plan_, context.with_scratch(memory), status, result, x);
        if (x.L == 0) return x_error;
        Word one_word;
        BigFloat one(&one_word, 1);
        one.set_double(1.0, 0);
        return mean_error(result, {one, ErrorBound::none()}, {x, x_error}) +
               ErrorBound::of_words(result, plan_.p, newton::kErrorBits);
    }

  private:
    const std::unique_ptr<Evaluator> x_;
    const AGMPlan plan_;
    Needs needs_;
};

}  // namespace

AgmNode::AgmNode(NodePtr x) : x_(std::move(x)) {}

std::unique_ptr<Evaluator> AgmNode::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<Agm>(x_->make_evaluator(request), request);
}

}  // namespace kalvor::Formulas
