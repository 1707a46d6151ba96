// The golden ratio as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class GoldenRatioConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "goldenratio";
    static constexpr bool kTakesArgument = false;

    // An argument means nothing to it.
    explicit GoldenRatioConstant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Golden Ratio"; }
    std::string name_long() const override { return "Golden Ratio"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::vector<std::string> algorithm_explanation() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
