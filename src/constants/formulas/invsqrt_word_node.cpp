#include "constants/formulas/invsqrt_word_node.h"

#include "arith/newton/invsqrt_word.h"
#include "arith/newton/newton_work.h"

namespace kalvor::Formulas {
namespace {

class InvsqrtWord final : public Evaluator {
  public:
    InvsqrtWord(trel::Word w, const EvaluatorRequest& request)
        : w_(w), plan_(trel::InvsqrtWordPlan::make(request.precision, request.tds)) {}

    const Needs& needs() const override { return needs_; }
    std::vector<trel::WorkPhase> work() const override {
        const double work = trel::newton::levels_work(plan_.p);
        return {{"square root", work * trel::kWorkSeconds, work}};
    }
    void run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.work().enter("square root");
        trel::AlignedBufferC memory = context.scratch;
        const auto temporaries = trel::carve<trel::LinearWordBuffer>(memory, plan_.temporaries);
        trel::invsqrt_word(plan_, context.with_scratch(memory), status, result, w_, temporaries);
    }

  private:
    const trel::Word w_;
    const trel::InvsqrtWordPlan plan_;
    const Needs needs_ = Needs{plan_.result, trel::round_up_64(plan_.scratch_bytes), 0}.above(
        trel::round_up_8(plan_.temporaries));
};

}  // namespace

std::unique_ptr<Evaluator> InvsqrtWordNode::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<InvsqrtWord>(w_, request);
}

}  // namespace kalvor::Formulas
