#include "constants/formulas/word_root.h"

#include "arith/newton/newton_work.h"

namespace kalvor::Formulas {

WordRoot::WordRoot(Word w, const EvaluatorRequest& request)
    : w_(w), plan_(InvsqrtWordPlan::make(request.precision, request.tds)) {}

WorkPhase WordRoot::work() const {
    const double work = newton::levels_work(plan_.p);
    return {"square root", work * kWorkSeconds, work};
}

std::string WordRoot::announcement() const {
    return "InvSqrt(" + std::to_string(w_) + ")...";
}

ErrorBound WordRoot::run(const MultiplyContext& context, Status& status, BigFloat& result,
                         const std::string& announcement) const {
    status.work().enter("square root");
    invsqrt_word(plan_, context, status, result, w_, announcement);
    return ErrorBound::of_words(result, plan_.p, newton::kErrorBits);
}

}  // namespace kalvor::Formulas
