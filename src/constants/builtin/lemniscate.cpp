#include "constants/builtin/lemniscate.h"

#include <algorithm>
#include <utility>

#include "arith/bigfloat/combine.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "constants/builtin/arcsinlemn.h"
#include "constants/formulas/build.h"
#include "constants/formulas/formula_evaluator.h"

namespace kalvor {
namespace {

// The sum or difference of two arcsines. The first waits in the buffer of the result. Working memory:
//
//   [all that the first takes]
//   [the second][all that it takes]
class LemniscateMachin final : public Evaluator {
  public:
    LemniscateMachin(const ArcSinlemn& first, const ArcSinlemn& second, bool subtract, std::string label,
                     const EvaluatorRequest& request)
        : first_(first.make_evaluator(request)),
          second_(second.make_evaluator(request)),
          first_label_(text_of(first, "")),
          second_label_(text_of(second, subtract ? "-" : "")),
          subtract_(subtract),
          label_(std::move(label)) {
        const u64 words = round_up_8(second_->needs().result_words);
        needs_ = first_->needs().maximum(second_->needs().above(words));
        // A word for the carry of the sum.
        needs_.result_words = first_->needs().result_words + 1;
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override { return first_->series_blocks() + second_->series_blocks(); }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases = first_->work();
        for (WorkPhase& phase : second_->work()) phases.push_back(std::move(phase));
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label_);
        status.Status_Line(first_label_);
        const ErrorBound first_error = first_->run(context, status, result);
        AlignedBufferC memory = context.scratch;
        BigFloat second = carve<BigFloat>(memory, second_->needs().result_words);
        status.Status_Line(second_label_);
        const ErrorBound second_error = second_->run(context.with_scratch(memory), status, second);
        result.verify(context.parallel, "the first arcsine, which waited for the second");
        StatusSection section(status, "Accumulate...");
        StatusFrame frame(section.node(), "Adding: ");
        const i64 bottom = result.exp;
        combine_ip(context.parallel, result, second, subtract_);
        // Words of the second below the first one's are dropped.
        const ErrorBound dropped = ErrorBound::within(PowerOfTwo{bottom, 0});
        return first_error + second_error + dropped;
    }

  private:
    // "-4 ArcSinlemn( 7/137 ):"
    static std::string text_of(const ArcSinlemn& term, const std::string& sign) {
        return sign + std::to_string(term.coefficient()) + " ArcSinlemn( " + term.argument_text() + " ):";
    }

    const std::unique_ptr<Evaluator> first_, second_;
    const std::string first_label_, second_label_;
    const bool subtract_;
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
            return std::make_unique<LemniscateMachin>(ArcSinlemn(8, 1, 2), ArcSinlemn(4, 7, 23), false,
                                                      "Lemniscate - Gauss", request);
        case LemniscateAlgorithm::sebah:
            return std::make_unique<LemniscateMachin>(ArcSinlemn(8, 2, 3), ArcSinlemn(4, 7, 137), true,
                                                      "Lemniscate - Sebah", request);
    }
    throw InvalidParametersException("FormulaS_Lemniscate::run()", "Invalid Algorithm");
}

}  // namespace kalvor
