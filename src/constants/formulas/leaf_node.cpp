#include "constants/formulas/leaf_node.h"

#include <utility>

namespace kalvor::Formulas {
namespace {

class LeafStep final : public Step {
  public:
    LeafStep(std::unique_ptr<Evaluator> evaluator, const StepRequest& request)
        : Step(request.precision), evaluator_(std::move(evaluator)) {
        needs_ = evaluator_->needs();
    }
    std::vector<WorkPhase> work() const override { return evaluator_->work(); }
    SeriesBlocks series_blocks() const override { return evaluator_->series_blocks(); }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand>,
                      BigFloat& result) const override {
        return evaluator_->run(context, status, result);
    }

  private:
    const std::unique_ptr<Evaluator> evaluator_;
};

}  // namespace

LeafNode::LeafNode(const Place& place, MakeEvaluator make) : VFormulaNode(place), make_(std::move(make)) {}

std::unique_ptr<Step> LeafNode::make_step(const StepRequest& request) const {
    return std::make_unique<LeafStep>(make_({request.precision, request.tds}), request);
}

}  // namespace kalvor::Formulas
