// The inverse square root of a word as the first step of a value.
#pragma once

#include <string>
#include <vector>

#include "arith/newton/invsqrt_word.h"
#include "base/names/names.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor::Formulas {

class WordRoot {
  public:
    WordRoot(Word w, const EvaluatorRequest& request);

    const Needs& needs() const { return needs_; }
    // "square root"
    WorkPhase work() const;
    // The result has room for a word more.
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result,
                   const std::string& announcement) const;
    // "InvSqrt(2)..."
    std::string announcement() const;

  private:
    const Word w_;
    const InvsqrtWordPlan plan_;
    const Needs needs_ = plan_.needs();
};

}  // namespace kalvor::Formulas
