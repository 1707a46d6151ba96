#include "constants/formulas/invsqrt_word_node.h"

#include "arith/newton/invsqrt_word.h"
#include "arith/newton/newton_work.h"

namespace kalvor::Formulas {
namespace {

class InvsqrtWord final : public Evaluator {
  public:
    InvsqrtWord(Word w, const EvaluatorRequest& request)
        : w_(w), plan_(InvsqrtWordPlan::make(request.precision, request.tds)) {}

    const Needs& needs() const override { return needs_; }
    std::vector<WorkPhase> work() const override {
        const double work = newton::levels_work(plan_.p);
        return {{"square root", work * kWorkSeconds, work}};
    }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.work().enter("square root");
        invsqrt_word(plan_, context, status, result, w_);
        return ErrorBound::of_words(result, plan_.p, newton::kErrorBits);
    }

  private:
    const Word w_;
    const InvsqrtWordPlan plan_;
    const Needs needs_ = plan_.needs();
};

}  // namespace

std::unique_ptr<Evaluator> InvsqrtWordNode::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<InvsqrtWord>(w_, request);
}

}  // namespace kalvor::Formulas
