// One step of a formula's run: the value of a node from those of its children.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/needs.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "base/status/work_meter.h"
#include "constants/evaluator/error_bound.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor::Formulas {

struct StepRequest {
    u64 precision;  // words
    u64 tds;
};

// A child's value. Two children with one and the same value (a variable) have one and the same number.
struct Operand {
    const BigFloat* value;
    ErrorBound error;

    operator Approximation() const { return {*value, error}; }
};

// A value that grows with each child. All of it is kept from one child to the next.
struct Accumulated {
    BigFloat value;
    ErrorBound error;
    u64 taken = 0;
    const BigFloat* first = nullptr;  // the first operand; for comparing, it may be gone
    ErrorSum errors = {};             // of sums: those that `error` is the total of
    ShareSum shares = {};             // of products: the same
};

class Step {
  public:
    explicit Step(u64 precision) : precision_(precision) {}
    virtual ~Step();
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

    // The needs of one call: memory beside operands and result, and the result's buffer.
    const Needs& needs() const { return needs_; }
    // Bits by which the children's values must be better than this one's.
    virtual u64 extra_bits() const { return 2; }
    virtual std::vector<WorkPhase> work() const { return {}; }
    virtual SeriesBlocks series_blocks() const { return {}; }

    // Whether each child's value is taken as soon as it is there, so that only one is kept at a time.
    virtual bool accumulates() const { return false; }
    // All at once.
    virtual ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                              BigFloat& result) const;
    // One by one, in any order; child: its number.
    virtual void take(const MultiplyContext& context, Status& status, u64 child, const Operand& x,
                      Accumulated& sum) const;

  protected:
    u64 precision() const { return precision_; }
    // The error of cutting operands that are as precise as they should be, and may have a few words more.
    ErrorBound cut(const BigFloat& x, const BigFloat& result) const {
        return x.L <= precision_ + 1 ? ErrorBound::none() : ErrorBound::of_words(result, precision_, 1);
    }

    Needs needs_;

  private:
    const u64 precision_;
};

// Throws ExponentOverflowException unless the number's exponent is within 2^61 - 1 words either way.
void check_exponent(const BigFloat& x, const char* function);

}  // namespace kalvor::Formulas
