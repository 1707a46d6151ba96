// e as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class EConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "e";
    static constexpr bool kTakesArgument = false;

    // An argument means nothing to it.
    explicit EConstant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "e"; }
    std::string name_long() const override { return "e"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
