// Euler's constant as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class GammaConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "gamma";
    static constexpr bool kTakesArgument = false;

    explicit GammaConstant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Euler's Constant"; }
    std::string name_long() const override { return "Euler-Mascheroni Constant"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
