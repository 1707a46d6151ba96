#include "constants/builtin/log_machin.h"

#include <algorithm>
#include <string>
#include <utility>

#include "arith/bigfloat/combine.h"
#include "arith/bigfloat/number_check.h"
#include "base/names/names.h"
#include "base/status/status_scope.h"
#include "constants/builtin/arccoth.h"
#include "constants/builtin/log_formula.h"

namespace kalvor {
namespace {

// Words of the sum beside those of a term: its top may be a word above that of the first, and a sum wants one
// for its carry.
constexpr u64 kSumWords = 2;

// sum += term, to the sum's words or, where the term is the larger one and has the other sign, to the term's.
// Returns what the dropped words may come to.
ErrorBound accumulate(const ParallelContext& parallel, BigFloat& sum, BigFloat& term, u64 precision) {
    if (is_zero(sum, "LogSum::accumulate()")) {
        sum.set_BigFloat(precision, parallel, term);
        return ErrorBound::none();
    }
    const bool subtract = sum.sign != term.sign;
    if (!subtract || cmp_magnitude(sum, term) >= 0) {
        const i64 bottom = sum.exp;
        combine_ip(parallel, sum, term, subtract);
        return ErrorBound::within(PowerOfTwo{bottom, 0});
    }
    const i64 bottom = term.exp;
    combine_ip(parallel, term, sum, subtract);
    sum.set_BigFloat(precision, parallel, term);
    return ErrorBound::within(PowerOfTwo{bottom, 0});
}

// The first term is the sum that the others are added to. It waits in the buffer of the result. Working
// memory:
//
//   [all that the first takes]
//   [another term][all that it takes]
class LogSum final : public Evaluator {
  public:
    LogSum(u64 x, const LogFormula& formula, const EvaluatorRequest& request)
        : precision_(request.precision), label_("Log( " + std::to_string(x) + " )") {
        for (const LogTerm& term : formula.terms) {
            const ArcCoth value(term.c, term.m);
            terms_.push_back({value.make_evaluator(request), value.label()});
            Needs needs = terms_.back().value->needs();
            result_words_ = std::max(result_words_, round_up_8(needs.result_words + kSumWords));
            if (terms_.size() > 1) needs = needs.above(round_up_8(needs.result_words + kSumWords));
            needs_.take_maximum(needs);
        }
        needs_.result_words = result_words_;
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override {
        SeriesBlocks blocks;
        for (const Term& term : terms_) blocks = blocks + term.value->series_blocks();
        return blocks;
    }
    std::vector<WorkPhase> work() const override {
        std::vector<WorkPhase> phases;
        for (const Term& term : terms_) {
            for (WorkPhase& phase : term.value->work()) phases.push_back(std::move(phase));
        }
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label_);
        result.clear();
        ErrorSum error;
        for (const Term& term : terms_) {
            status.Status_Line(term.label);
            if (&term == &terms_.front()) {
                error.add(term.value->run(context, status, result));
                continue;
            }
            AlignedBufferC memory = context.scratch;
            BigFloat next = carve<BigFloat>(memory, term.value->needs().result_words + kSumWords);
            error.add(term.value->run(context.with_scratch(memory), status, next));
            result.verify(context.parallel, "the sum, which waited for a term");
            StatusSection section(status, "Accumulate...");
            StatusFrame frame(section.node(), "Adding: ");
            error.add(accumulate(context.parallel, result, next, precision_));
        }
        if (result.L > precision_ + 2) {
            result = result.kept(context.parallel, precision_ + 2);
            error.add(ErrorBound::within(PowerOfTwo{result.exp, 0}));
        }
        return error.total();
    }

  private:
    struct Term {
        std::unique_ptr<Evaluator> value;
        std::string label;
    };

    const u64 precision_;
    const std::string label_;
    std::vector<Term> terms_;
    u64 result_words_ = 0;
    Needs needs_;
};

}  // namespace

LogMachin::LogMachin(u64 x, LogFormulaKind kind) : LogMachin(x, generate_log_formula(x, kind).formula) {}

LogMachin::LogMachin(u64 x, LogFormula formula) : x_(x), formula_(std::move(formula)) {}

std::unique_ptr<Evaluator> LogMachin::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<LogSum>(x_, formula_, request);
}

}  // namespace kalvor
