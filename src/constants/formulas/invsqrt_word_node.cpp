#include "constants/formulas/invsqrt_word_node.h"

#include "constants/formulas/word_root.h"

namespace kalvor::Formulas {
namespace {

class InvsqrtWord final : public Evaluator {
  public:
    InvsqrtWord(Word w, const EvaluatorRequest& request) : root_(w, request) {}

    const Needs& needs() const override { return root_.needs(); }
    std::vector<WorkPhase> work() const override { return {root_.work()}; }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        return root_.run(context, status, result, root_.announcement());
    }

  private:
    const WordRoot root_;
};

}  // namespace

std::unique_ptr<Evaluator> InvsqrtWordNode::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<InvsqrtWord>(w_, request);
}

}  // namespace kalvor::Formulas
