#include "constants/catalog/pi_constant.h"

#include <algorithm>

#include "constants/builtin/pi.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<PiConstant> g_registration;

struct PiRow {
    AlgorithmRow row;
    PiAlgorithm algorithm;
};

const std::vector<PiRow>& pi_rows() {
    static const std::vector<PiRow> rows = {
        {{0, "chudnovsky", "Chudnovsky", "Chudnovsky (1988)", "(fastest)"}, PiAlgorithm::chudnovsky},
        {{1, "ramanujan", "Ramanujan", "Ramanujan (1910)", "(~40% slower)"}, PiAlgorithm::ramanujan},
        {{2, "chudnovsky-reduced", "Chudnovsky (reduced)", "Chudnovsky (1988) (reduced memory)",
          "(reduced memory)"},
         PiAlgorithm::chudnovsky_reduced},
        {{3, "ramanujan-reduced", "Ramanujan (reduced)", "Ramanujan (1910) (reduced memory)",
          "(reduced memory)"},
         PiAlgorithm::ramanujan_reduced},
    };
    return rows;
}

}  // namespace

const CatalogRow& PiConstant::row() const {
    return *catalog().find(kToken);
}

std::vector<AlgorithmRow> PiConstant::algorithms() const {
    std::vector<AlgorithmRow> rows;
    for (const PiRow& each : pi_rows()) rows.push_back(each.row);
    return rows;
}

std::vector<std::string> PiConstant::algorithm_explanation() const {
    return {"    Reduced memory algorithms use alternate parameters that require less",
            "    memory at the cost of decreased performance."};
}

std::unique_ptr<Evaluator> PiConstant::make_evaluator(const EvaluatorRequest& request) const {
    const auto chosen = std::find_if(pi_rows().begin(), pi_rows().end(),
                                     [&](const PiRow& each) { return each.row.number == algorithm(); });
    return Pi(chosen->algorithm).make_evaluator(request);
}

}  // namespace kalvor
