#include "constants/catalog/lemniscate_constant.h"

#include <algorithm>

#include "constants/builtin/lemniscate.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<LemniscateConstant> g_registration;

struct LemniscateRow {
    AlgorithmRow row;
    LemniscateAlgorithm algorithm;
};

const std::vector<LemniscateRow>& lemniscate_rows() {
    static const std::vector<LemniscateRow> rows = {
        {{0, "0", "AGM-Pi", "AGM-Pi", "(Can be very slow on disk.)\n", "AGM with Pi", "agm-pi"},
         LemniscateAlgorithm::agm_pi},
        {{1, "1", "Gauss", "Gauss Formula", "(2x slower in ram, may be faster on disk)\n", "", "gauss"},
         LemniscateAlgorithm::gauss},
        {{2, "2", "Sebah", "Sebah's formula", "(20% slower than Gauss)\n", "Sebah's Formula", "sebah"},
         LemniscateAlgorithm::sebah},
    };
    return rows;
}

}  // namespace

const CatalogRow& LemniscateConstant::row() const {
    return *catalog().find(kToken);
}

std::vector<AlgorithmRow> LemniscateConstant::algorithms() const {
    std::vector<AlgorithmRow> rows;
    for (const LemniscateRow& each : lemniscate_rows()) rows.push_back(each.row);
    return rows;
}

std::vector<std::string> LemniscateConstant::algorithm_explanation() const {
    return {"Lemniscate = 2 Pi / AGM(1, sqrt(2))", "Lemniscate = 8 * ArcSinlemn(1/2) + 4 * ArcSinLemn(7/23)",
            "Lemniscate = 8 * ArcSinlemn(2/3) - 4 * ArcSinLemn(7/137)"};
}

std::unique_ptr<Evaluator> LemniscateConstant::make_evaluator(const EvaluatorRequest& request) const {
    const auto chosen =
        std::find_if(lemniscate_rows().begin(), lemniscate_rows().end(),
                     [&](const LemniscateRow& each) { return each.row.number == algorithm(); });
    return Lemniscate(chosen->algorithm).make_evaluator(request);
}

}  // namespace kalvor
