// Pi as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class PiConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "pi";
    static constexpr bool kTakesArgument = false;

    PiConstant() = default;
    // Empty: Pi takes no argument.
    explicit PiConstant(std::string_view) {}

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Pi"; }
    std::string name_long() const override { return "Pi"; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::vector<std::string> algorithm_explanation() const override;
    bool has_extractor() const override { return true; }
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;
};

}  // namespace kalvor
