#include "constants/formulas/step.h"

#include "base/errors/exceptions.h"

namespace kalvor::Formulas {

Step::~Step() = default;

ErrorBound Step::finish(const MultiplyContext&, Status&, std::span<const Operand>, BigFloat&) const {
    throw InvalidParametersException("Step::finish()", "This step takes its operands one by one.");
}

void Step::take(const MultiplyContext&, Status&, u64, const Operand&, Accumulated&) const {
    throw InvalidParametersException("Step::take()", "This step takes its operands at once.");
}

void check_exponent(const BigFloat& x, const char* function) {
    constexpr i64 kLimit = (i64(1) << 61) - 1;
    if (x.L == 0) return;
    if (x.mag() > kLimit) throw ExponentOverflowException(function, "", x.mag(), kLimit);
    if (x.exp < -kLimit) throw ExponentOverflowException(function, "", x.exp, kLimit);
}

}  // namespace kalvor::Formulas
