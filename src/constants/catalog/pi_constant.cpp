#include "constants/catalog/pi_constant.h"

#include "constants/builtin/pi.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<PiConstant> g_registration;

}  // namespace

const CatalogRow& PiConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of PiAlgorithm.
std::vector<AlgorithmRow> PiConstant::algorithms() const {
    return {
        {0, "chudnovsky", "Chudnovsky", "Chudnovsky (1988)", "(fastest)"},
        {1, "ramanujan", "Ramanujan", "Ramanujan (1910)", "(~40% slower)"},
        {2, "chudnovsky-reduced", "Chudnovsky (reduced)", "Chudnovsky (1988) (reduced memory)",
         "(reduced memory)"},
        {3, "ramanujan-reduced", "Ramanujan (reduced)", "Ramanujan (1910) (reduced memory)",
         "(reduced memory)"},
    };
}

std::vector<std::string> PiConstant::algorithm_explanation() const {
    return {"    Reduced memory algorithms use alternate parameters that require less",
            "    memory at the cost of decreased performance."};
}

std::unique_ptr<Evaluator> PiConstant::make_evaluator(const EvaluatorRequest& request) const {
    return Pi(static_cast<PiAlgorithm>(algorithm())).make_evaluator(request);
}

}  // namespace kalvor
