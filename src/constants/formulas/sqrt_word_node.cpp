#include "constants/formulas/sqrt_word_node.h"

#include "constants/formulas/word_root.h"

namespace kalvor::Formulas {
namespace {

class SqrtWord final : public Evaluator {
  public:
    SqrtWord(Word w, const EvaluatorRequest& request) : w_(w), root_(w, request) {}

    const Needs& needs() const override { return root_.needs(); }
    std::vector<WorkPhase> work() const override { return {root_.work()}; }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        const ErrorBound error = root_.run(context, status, result, root_.announcement());
        result.mul_uW(context.parallel, w_);
        return error.times_word(w_);
    }

  private:
    const Word w_;
    const WordRoot root_;
};

}  // namespace

std::unique_ptr<Evaluator> SqrtWordNode::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<SqrtWord>(w_, request);
}

}  // namespace kalvor::Formulas
