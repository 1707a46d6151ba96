// Two values that something is made of, computed one after the other.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "constants/evaluator/evaluator.h"

namespace kalvor {

// Both values, for what follows them.
struct OperandValues {
    BigFloat second;
    ErrorBound first_error, second_error;
    AlignedBufferC memory;  // above the second
};

// The first value waits in the buffer of the result while the second is computed. Working memory:
//
//   [all that the first takes]
//   [the second value][all that the second takes]
//   [the second value][memory of what follows]
//
// So the second has a budget that is smaller by its own value, and what one of them takes is there for the
// other in any case.
class TwoOperands {
  public:
    // Plans the second value first, before it is known what the other one takes.
    TwoOperands(const EvaluatorRequest& request, const EvaluatorFactory& first,
                const EvaluatorFactory& second);

    const Evaluator& first() const { return *first_; }
    const Evaluator& second() const { return *second_; }
    // What is taken until both values are there; the result's words are those of the first.
    Needs needs() const;
    // Words of memory that the second value occupies.
    u64 second_words() const;
    SeriesBlocks series_blocks() const { return first_->series_blocks() + second_->series_blocks(); }
    std::vector<WorkPhase> work() const;

    // Computes the first into result and the second above it, and compares the first with its residue. Labels
    // are printed before each value where they are not empty; waiting: what the first is called when it was
    // damaged meanwhile.
    struct Words {
        const char* waiting;
        std::string first_label = {}, second_label = {};
    };
    OperandValues run(const MultiplyContext& context, Status& status, BigFloat& result,
                      const Words& words) const;

  private:
    std::unique_ptr<Evaluator> first_, second_;
};

}  // namespace kalvor
