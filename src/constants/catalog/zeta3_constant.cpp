#include "constants/catalog/zeta3_constant.h"

#include "constants/builtin/zeta3.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<Zeta3Constant> g_registration;

}  // namespace

const CatalogRow& Zeta3Constant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of Zeta3Algorithm.
std::vector<AlgorithmRow> Zeta3Constant::algorithms() const {
    return {
        {0, "0", "Wedeniwski", "Wedeniwski (1998)", "(fastest)", "", "wedeniwski"},
        {1, "1", "Amdeberhan-Zeilberger (1997)", "Amdeberhan-Zeilberger (1997)", "(slightly slower)", "",
         "az"},
    };
}

std::unique_ptr<Evaluator> Zeta3Constant::make_evaluator(const EvaluatorRequest& request) const {
    return Zeta3(static_cast<Zeta3Algorithm>(algorithm())).make_evaluator(request);
}

}  // namespace kalvor
