// A value that can be computed to any precision: a built-in constant, a formula, a step of one.
//
// It is computed in two steps. An evaluator is made for one precision and fixes everything that a run will
// take, before any memory is there; then it runs, as often as it is asked to, inside that. Evaluators are
// made of evaluators: what a formula takes follows from what its parts take.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "base/status/work_meter.h"
#include "constants/evaluator/error_bound.h"

namespace kalvor {

struct EvaluatorRequest {
    u64 precision;  // words
    u64 tds;        // tasks that the work may be split into
    // Bytes of working memory to keep within: what would take more is done in a slower way that takes less,
    // if there is one. Needs may still be larger. A run asks without a budget; a product of two values hands
    // what is left of its own budget to the second one.
    u64 memory_budget = kAnyRoom;
    // Bytes of working memory that are there in any case, so that they cost nothing.
    u64 free_bytes = 0;
};

// Parts of a sum, and how many of them a run checks by residues.
struct SeriesBlocks {
    u64 all = 0;
    u64 checked = 0;

    SeriesBlocks operator+(const SeriesBlocks& other) const {
        return {all + other.all, checked + other.checked};
    }
};

class Evaluator {
  public:
    Evaluator() = default;
    virtual ~Evaluator();
    // Parts of a plan point at each other.
    Evaluator(const Evaluator&) = delete;
    Evaluator& operator=(const Evaluator&) = delete;

    virtual const Needs& needs() const = 0;
    // Bytes of the plan and of what it was made from, beside working memory and result, where that grows with
    // what the user wrote.
    virtual u64 plan_bytes() const { return 0; }
    // The phases of a run, in seconds of one core.
    virtual std::vector<WorkPhase> work() const = 0;
    virtual SeriesBlocks series_blocks() const { return {}; }
    // What a run announces itself with; empty when it does not.
    virtual std::string label() const { return {}; }
    // result = the value to the precision of the request. Its buffer and context.scratch hold needs().
    // Returns what may be wrong with it: of a value without cancellation less than a unit of the last word
    // but one.
    virtual ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const = 0;
};

class EvaluatorFactory {
  public:
    virtual ~EvaluatorFactory();
    // Throws LimitExceededException for a size that no algorithm reaches. The evaluator may outlive the
    // factory.
    virtual std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const = 0;
};

}  // namespace kalvor
