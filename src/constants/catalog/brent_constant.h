// Euler's constant with a parameter of the user's own, as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class BrentConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "brent";
    static constexpr bool kTakesArgument = true;
    static constexpr std::string_view kArgument = "k";
    static constexpr std::string_view kAlgorithms[] = {"brent-refined", "brent-original"};

    // argument: k of n = 2^k, 1 to 50. Throws InvalidParametersException "Argument must be greater than 0.",
    // k + " is out of range.", and what text is not a number.
    explicit BrentConstant(std::string_view argument);
    // From the menu: asks for k.
    static std::unique_ptr<Constant> ask();

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Euler's Constant"; }
    std::string name_long() const override { return "Euler-Mascheroni Constant (parameter override)"; }
    std::optional<i64> argument() const override { return k_; }
    std::vector<AlgorithmRow> algorithms() const override;
    // A sum of more parts than can be planned is refused: k + " is out of range.".
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const i64 k_;
};

}  // namespace kalvor
