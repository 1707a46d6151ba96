// Catalan's constant as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class CatalanConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "catalan";
    static constexpr bool kTakesArgument = false;

    // An argument means nothing to it.
    explicit CatalanConstant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Catalan"; }
    std::string name_long() const override { return "Catalan's Constant"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
