#include "constants/formulas/leaf_node.h"

#include <optional>
#include <utility>

#include "arith/newton/newton_work.h"
#include "arith/newton/reciprocal.h"
#include "base/status/status_scope.h"

namespace kalvor::Formulas {
namespace {

// Memory of an inverse: [the value][its own, then the reciprocal's]
class LeafStep final : public Step {
  public:
    LeafStep(std::unique_ptr<Evaluator> evaluator, LeafValue value, const StepRequest& request)
        : Step(request.precision), evaluator_(std::move(evaluator)), value_(value) {
        needs_ = evaluator_->needs();
        if (!value_.inverse) return;
        plan_ = ReciprocalPlan::make(request.precision, request.tds);
        needs_ = needs_.maximum(plan_->needs()).above(needs_.result_words);
        needs_.result_words = plan_->result;
    }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = evaluator_->work();
        if (value_.inverse) {
            const double work = newton::levels_work(plan_->p);
            phases.push_back({"division", work * kWorkSeconds, 0});
        }
        return phases;
    }
    SeriesBlocks series_blocks() const override { return evaluator_->series_blocks(); }

    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand>,
                      BigFloat& result) const override {
        if (!value_.inverse) {
            const ErrorBound error = evaluator_->run(context, status, result);
            negate(result);
            return error;
        }
        AlignedBufferC memory = context.scratch;
        BigFloat x = carve<BigFloat>(memory, evaluator_->needs().result_words);
        const MultiplyContext rest = context.with_scratch(memory);
        const ErrorBound error = evaluator_->run(rest, status, x);
        status.work().enter("division");
        StatusSection section(status, "Inverting...");
        StatusFrame frame(section.node(), "Iterating: ");
        const newton::RunMemory own(rest, plan_->temporaries);
        Reciprocal_BigFloatR::run(*plan_, own.context, frame.node(), result, x, plan_->p, own.temporaries);
        const ErrorBound inverse = power_error(result, {x, error}, -1);
        negate(result);
        return inverse + ErrorBound::of_words(result, precision(), newton::kErrorBits);
    }

  private:
    void negate(BigFloat& x) const {
        if (value_.negative && x.L != 0) x.set_sign(!x.sign);
    }

    const std::unique_ptr<Evaluator> evaluator_;
    const LeafValue value_;
    std::optional<ReciprocalPlan> plan_;
};

}  // namespace

LeafNode::LeafNode(const Place& place, MakeEvaluator make, LeafValue value)
    : VFormulaNode(place), make_(std::move(make)), value_(value) {}

std::unique_ptr<Step> LeafNode::make_step(const StepRequest& request) const {
    return std::make_unique<LeafStep>(make_({request.precision, request.tds}), value_, request);
}

}  // namespace kalvor::Formulas
