#include "constants/catalog/gamma_constant.h"

#include "constants/builtin/euler_gamma.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<GammaConstant> g_registration;

}  // namespace

const CatalogRow& GammaConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of GammaAlgorithm.
std::vector<AlgorithmRow> GammaConstant::algorithms() const {
    return {{0, "0", "Brent-McMillan (refined)", "Brent-McMillan with Refinement", "", "", "brent-refined"},
            {1, "1", "Brent-McMillan", "Brent-McMillan", "", "", "brent-original"}};
}

std::unique_ptr<Evaluator> GammaConstant::make_evaluator(const EvaluatorRequest& request) const {
    return EulerGamma(static_cast<GammaAlgorithm>(algorithm())).make_evaluator(request);
}

}  // namespace kalvor
