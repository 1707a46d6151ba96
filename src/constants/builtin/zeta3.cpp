#include "constants/builtin/zeta3.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/builtin/built_in_value.h"

namespace kalvor {

Zeta3::Zeta3(Zeta3Algorithm algorithm, i64 power) : algorithm_(algorithm), power_(static_cast<int>(power)) {
    if (power != 1 && power != -1) throw InvalidParametersException("Zeta3", "Power must be 1 or -1.");
}

std::unique_ptr<Evaluator> Zeta3::make_evaluator(const EvaluatorRequest& request) const {
    const BuiltInSeries& row = zeta3_series()[static_cast<std::size_t>(algorithm_)];
    return BuiltInValue(row, power_, "Zeta(3) - " + std::string(row.name) + ":").make_evaluator(request);
}

}  // namespace kalvor
