#include "constants/builtin/golden_ratio.h"

#include "arith/bigfloat/combine.h"
#include "arith/newton/steps.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "constants/formulas/word_root.h"

namespace kalvor {
namespace {

const char kRun[] = "GoldenRatio_Newton_BigFloatR()";

class GoldenRatioValue final : public Evaluator {
  public:
    GoldenRatioValue(bool inverse, const EvaluatorRequest& request) : inverse_(inverse), root_(5, request) {}

    const Needs& needs() const override { return root_.needs(); }
    std::vector<WorkPhase> work() const override { return {root_.work()}; }
    std::string label() const override { return "GoldenRatio:"; }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        const ParallelContext& parallel = context.parallel;
        status.Status_Line(label());
        const ErrorBound error = root_.run(context, status, result, "InvSqrt...");
        {
            StatusSection section(status, "Small Multiply...");
            StatusFrame frame(section.node(), "Multiplying: ");
            result.mul_uW(parallel, 5);
        }
        StatusSection section(status, "Finishing...");
        Word one_word;
        BigFloat one(&one_word, 1);
        one.set_double(1.0, 0);
        combine_ip(parallel, result, one, inverse_);
        newton::halve(parallel, result);
        return error.times_word(5).shifted(-1);
    }

  private:
    const bool inverse_;
    const Formulas::WordRoot root_;
};

}  // namespace

GoldenRatio::GoldenRatio(i64 power) : inverse_(power == -1) {
    if (power != 1 && power != -1) throw InvalidParametersException(kRun, "Power must be 1 or -1.");
}

std::unique_ptr<Evaluator> GoldenRatio::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<GoldenRatioValue>(inverse_, request);
}

}  // namespace kalvor
