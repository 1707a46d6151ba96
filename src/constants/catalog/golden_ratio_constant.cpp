#include "constants/catalog/golden_ratio_constant.h"

#include "constants/builtin/golden_ratio.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<GoldenRatioConstant> g_registration;

}  // namespace

const CatalogRow& GoldenRatioConstant::row() const {
    return *catalog().find(kToken);
}

std::vector<AlgorithmRow> GoldenRatioConstant::algorithms() const {
    return {{0, "newton", "Newton's Method", "Newton's Method", "", "1st order Newton's Method"}};
}

std::vector<std::string> GoldenRatioConstant::algorithm_explanation() const {
    return {"    There is no alternate formula for Golden Ratio. However, a verification",
            "    can be done by computing sqrt(125) instead. The digits will be the same,",
            "    but shifted over by one digit."};
}

std::unique_ptr<Evaluator> GoldenRatioConstant::make_evaluator(const EvaluatorRequest& request) const {
    return GoldenRatio().make_evaluator(request);
}

}  // namespace kalvor
