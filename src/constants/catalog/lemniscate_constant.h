// The lemniscate constant as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class LemniscateConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "lemniscate";
    static constexpr bool kTakesArgument = false;

    // An argument means nothing to it.
    explicit LemniscateConstant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Lemniscate"; }
    std::string name_long() const override { return "Lemniscate Constant"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::vector<std::string> algorithm_explanation() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
