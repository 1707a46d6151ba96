#include "constants/formulas/quotient.h"

#include <algorithm>
#include <utility>

#include "arith/newton/division.h"
#include "arith/newton/newton_work.h"
#include "arith/newton/steps.h"
#include "constants/evaluator/two_operands.h"

namespace kalvor::Formulas {
namespace {

class Quotient final : public Evaluator {
  public:
    // The divisor is the first of the operands.
    Quotient(const EvaluatorRequest& request, TwoOperands operands, AfterDivision after, std::string label)
        : precision_(request.precision),
          operands_(std::move(operands)),
          after_(after),
          label_(std::move(label)),
          division_(DivisionPlan::make(precision_, request.tds)),
          // A word more than the division's own, for what follows it.
          quotient_words_(round_up_8(division_.result + 1)),
          needs_(operands_.needs()) {
        needs_.result_words = std::max(needs_.result_words, quotient_words_);
        needs_.take_maximum(division_.needs().above(operands_.second_words() + quotient_words_));
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override { return operands_.series_blocks(); }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = operands_.work();
        const double work = newton::division_work(division_.p, division_.q);
        phases.push_back({"division", work * kWorkSeconds, work});
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        if (!label_.empty()) status.Status_Line(label_);
        OperandValues values =
            operands_.run(context, status, result, {"the divisor, which waited for the dividend"});
        const BigFloat &y = result, &x = values.second;
        BigFloat T = carve<BigFloat>(values.memory, quotient_words_);
        status.work().enter("division");
        large_division(division_, context.with_scratch(values.memory), status, T, x, y);
        ErrorBound error = quotient_error({x, values.second_error}, {y, values.first_error}) +
                           ErrorBound::of_words(T, precision_, newton::kErrorBits);
        if (after_ == AfterDivision::twice) {
            T.mul_uW(context.parallel, 2);
            error = error.shifted(1);
        } else if (after_ == AfterDivision::half) {
            newton::halve(context.parallel, T);
            error = error.shifted(-1);
        }
        result.set_BigFloat(precision_, context.parallel, T);
        return error + ErrorBound::of_words(result, precision_, 0);
    }

  private:
    const u64 precision_;
    const TwoOperands operands_;
    const AfterDivision after_;
    const std::string label_;
    const DivisionPlan division_;
    const u64 quotient_words_;
    Needs needs_;
};

}  // namespace

std::unique_ptr<Evaluator> make_quotient(const EvaluatorRequest& request, const EvaluatorFactory& x,
                                         const EvaluatorFactory& y, AfterDivision after, std::string label) {
    TwoOperands operands(request, y, x, TwoOperands::PlanFirst::first);
    return std::make_unique<Quotient>(request, std::move(operands), after, std::move(label));
}

}  // namespace kalvor::Formulas
