#include "constants/catalog/lemniscate_constant.h"

#include "constants/builtin/lemniscate.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<LemniscateConstant> g_registration;

}  // namespace

const CatalogRow& LemniscateConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of LemniscateAlgorithm.
std::vector<AlgorithmRow> LemniscateConstant::algorithms() const {
    return {
        {0, "0", "AGM-Pi", "AGM-Pi", "(Can be very slow on disk.)\n", "AGM with Pi", "agm-pi"},
        {1, "1", "Gauss", "Gauss Formula", "(2x slower in ram, may be faster on disk)\n", "", "gauss"},
        {2, "2", "Sebah", "Sebah's formula", "(20% slower than Gauss)\n", "Sebah's Formula", "sebah"},
    };
}

std::vector<std::string> LemniscateConstant::algorithm_explanation() const {
    return {"Lemniscate = 2 Pi / AGM(1, sqrt(2))", "Lemniscate = 8 * ArcSinlemn(1/2) + 4 * ArcSinLemn(7/23)",
            "Lemniscate = 8 * ArcSinlemn(2/3) - 4 * ArcSinLemn(7/137)"};
}

std::unique_ptr<Evaluator> LemniscateConstant::make_evaluator(const EvaluatorRequest& request) const {
    return Lemniscate(static_cast<LemniscateAlgorithm>(algorithm())).make_evaluator(request);
}

}  // namespace kalvor
