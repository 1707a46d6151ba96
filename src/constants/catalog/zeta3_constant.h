// zeta(3) as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class Zeta3Constant final : public Constant {
  public:
    static constexpr std::string_view kToken = "zeta3";
    static constexpr bool kTakesArgument = false;

    // An argument means nothing to it.
    explicit Zeta3Constant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Zeta(3)"; }
    std::string name_long() const override { return "Zeta(3) - Apery's Constant"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
