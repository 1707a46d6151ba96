#include "constants/builtin/lemniscate.h"

#include <algorithm>
#include <utility>

#include "arith/bigfloat/combine.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "constants/builtin/arcsinlemn.h"
#include "constants/evaluator/two_operands.h"
#include "constants/formulas/build.h"
#include "constants/formulas/formula_evaluator.h"

namespace kalvor {
namespace {

// The sum of two arcsines, the larger one first. The second, which may be negative, is added to the first
// where that has waited.
class LemniscateMachin final : public Evaluator {
  public:
    LemniscateMachin(const ArcSinlemn& first, const ArcSinlemn& second, std::string label,
                     const EvaluatorRequest& request)
        : operands_(request, first, second),
          words_{"the first arcsine, which waited for the second", first.label(), second.label()},
          label_(std::move(label)),
          needs_(operands_.needs()) {
        // A word for the carry of the sum.
        needs_.result_words++;
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override { return operands_.series_blocks(); }
    std::vector<WorkPhase> work() const override { return operands_.work(); }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label_);
        const OperandValues values = operands_.run(context, status, result, words_);
        StatusSection section(status, "Accumulate...");
        StatusFrame frame(section.node(), "Adding: ");
        const i64 bottom = result.exp;
        combine_ip(context.parallel, result, values.second, result.sign != values.second.sign);
        // Words of the second below the first one's are dropped.
        const ErrorBound dropped = ErrorBound::within(PowerOfTwo{bottom, 0});
        return ErrorBound::sum({values.first_error, values.second_error, dropped});
    }

  private:
    const TwoOperands operands_;
    const TwoOperands::Words words_;
    const std::string label_;
    Needs needs_;
};

// Formulas of the formula language: 2 Pi / AGM(1, 2^(1/2)) and its inverse.
constexpr const char* kByAgmPi =
    "{    Divide : [        {LinearCombination : [[2 {Pi : {}}]]}        {AGM : {Sqrt : 2}}    ]}";
constexpr const char* kInverseByAgmPi =
    "{    Divide : [        {AGM : {Sqrt : 2}}        {LinearCombination : [[2 {Pi : {}}]]}    ]}";

class LemniscateAgmPi final : public Evaluator {
  public:
    LemniscateAgmPi(const char* formula, const EvaluatorRequest& request)
        : value_(Formulas::make_formula_evaluator(*Formulas::build(*Config::parse_acfg(formula), {}),
                                                  request)) {}

    const Needs& needs() const override { return value_->needs(); }
    std::string label() const override { return "Lemniscate - AGM-Pi"; }
    SeriesBlocks series_blocks() const override { return value_->series_blocks(); }
    std::vector<WorkPhase> work() const override { return value_->work(); }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label());
        return value_->run(context, status, result);
    }

  private:
    const std::unique_ptr<Evaluator> value_;
};

}  // namespace

Lemniscate::Lemniscate(LemniscateAlgorithm algorithm, i64 power)
    : algorithm_(algorithm), inverse_(power == -1) {
    const char* const function = "Lemniscate";
    if (power != 1 && power != -1) throw InvalidParametersException(function, "Power must be 1 or -1.");
    if (power == 1) return;
    if (algorithm == LemniscateAlgorithm::gauss) {
        throw InvalidParametersException(function, "(Power = -1) is not supported for (Algorithm = gauss).");
    }
    if (algorithm == LemniscateAlgorithm::sebah) {
        throw InvalidParametersException(function, "(Power = -1) is not supported for (Algorithm = sebah).");
    }
}

std::unique_ptr<Evaluator> Lemniscate::make_evaluator(const EvaluatorRequest& request) const {
    switch (algorithm_) {
        case LemniscateAlgorithm::agm_pi:
            return std::make_unique<LemniscateAgmPi>(inverse_ ? kInverseByAgmPi : kByAgmPi, request);
        case LemniscateAlgorithm::gauss:
            return std::make_unique<LemniscateMachin>(ArcSinlemn(8, 1, 2), ArcSinlemn(4, 7, 23),
                                                      "Lemniscate - Gauss", request);
        case LemniscateAlgorithm::sebah:
            return std::make_unique<LemniscateMachin>(ArcSinlemn(8, 2, 3), ArcSinlemn(-4, 7, 137),
                                                      "Lemniscate - Sebah", request);
    }
    throw InvalidParametersException("FormulaS_Lemniscate::run()", "Invalid Algorithm");
}

}  // namespace kalvor
