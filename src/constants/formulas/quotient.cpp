#include "constants/formulas/quotient.h"

#include <algorithm>
#include <utility>

#include "arith/newton/division.h"
#include "arith/newton/newton_work.h"
#include "arith/newton/steps.h"

namespace kalvor::Formulas {
namespace {

u64 words_of(const Evaluator& value) {
    return round_up_8(value.needs().result_words);
}

struct Operands {
    std::unique_ptr<Evaluator> x, y;
};

class Quotient final : public Evaluator {
  public:
    Quotient(const EvaluatorRequest& request, Operands operands, AfterDivision after, std::string label)
        : precision_(request.precision),
          x_(std::move(operands.x)),
          y_(std::move(operands.y)),
          after_(after),
          label_(std::move(label)),
          division_(DivisionPlan::make(precision_, request.tds)),
          // A word more than the division's own, for what follows it.
          quotient_words_(round_up_8(division_.result + 1)) {
        needs_ = y_->needs().maximum(x_->needs().above(words_of(*x_)));
        needs_.take_maximum(division_.needs().above(words_of(*x_) + quotient_words_));
        needs_.result_words = std::max(y_->needs().result_words, quotient_words_);
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override { return x_->series_blocks() + y_->series_blocks(); }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = y_->work();
        for (WorkPhase& phase : x_->work()) phases.push_back(std::move(phase));
        const double work = newton::division_work(division_.p, division_.q);
        phases.push_back({"division", work * kWorkSeconds, work});
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        if (!label_.empty()) status.Status_Line(label_);
        BigFloat& y = result;
        const ErrorBound y_error = y_->run(context, status, y);
        AlignedBufferC memory = context.scratch;
        BigFloat x = carve<BigFloat>(memory, x_->needs().result_words);
        const ErrorBound x_error = x_->run(context.with_scratch(memory), status, x);
        y.verify(context.parallel, "the divisor, which waited for the dividend");
        BigFloat T = carve<BigFloat>(memory, quotient_words_);
        status.work().enter("division");
        large_division(division_, context.with_scratch(memory), status, T, x, y);
        ErrorBound error = quotient_error({x, x_error}, {y, y_error}) +
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
    const std::unique_ptr<Evaluator> x_, y_;
    const AfterDivision after_;
    const std::string label_;
    const DivisionPlan division_;
    const u64 quotient_words_;
    Needs needs_;
};

}  // namespace

std::unique_ptr<Evaluator> make_quotient(const EvaluatorRequest& request, const EvaluatorFactory& x,
                                         const EvaluatorFactory& y, AfterDivision after, std::string label) {
    Operands operands;
    operands.y = y.make_evaluator(request);
    // What y takes, and a value takes a few words more than its precision.
    const u64 words = round_up_8(request.precision + 24);
    operands.x =
        x.make_evaluator({request.precision, request.tds, room_above(request.memory_budget, words),
                          room_above(std::max(request.free_bytes, operands.y->needs().bytes), words)});
    return std::make_unique<Quotient>(request, std::move(operands), after, std::move(label));
}

}  // namespace kalvor::Formulas
