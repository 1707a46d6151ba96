#include "constants/catalog/e_constant.h"

#include "constants/builtin/e.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<EConstant> g_registration;

}  // namespace

const CatalogRow& EConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of EAlgorithm.
std::vector<AlgorithmRow> EConstant::algorithms() const {
    return {{0, "exp(1)", "exp(1)", "Taylor Series of exp(1)", "(same speed)\n"},
            {1, "exp(-1)", "exp(-1)", "Taylor Series of exp(-1)", "(same speed)\n"}};
}

std::unique_ptr<Evaluator> EConstant::make_evaluator(const EvaluatorRequest& request) const {
    return E(static_cast<EAlgorithm>(algorithm())).make_evaluator(request);
}

}  // namespace kalvor
