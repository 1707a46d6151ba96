// Square roots of integers as an entry of the list of constants.
#pragma once

#include "constants/catalog/constant.h"

namespace kalvor {

class SqrtConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "sqrt";
    static constexpr bool kTakesArgument = true;
    static constexpr std::string_view kArgument = "n";
    static constexpr std::string_view kAlgorithms[] = {"newton"};

    // argument: n, a count as people write it (value_text.h). Throws InvalidParametersException n + " is out
    // of range.", n + " is a perfect square.", and what text is not a number.
    explicit SqrtConstant(std::string_view argument);
    // From the menu: asks for n until it is one to compute the root of.
    static std::unique_ptr<Constant> ask();

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Square Root of " + std::to_string(n_); }
    std::string name_long() const override { return name_short(); }
    std::optional<i64> argument() const override { return n_; }
    std::vector<AlgorithmRow> algorithms() const override;
    std::vector<std::string> algorithm_explanation() const override;
    u64 integer_digits(u32 radix) const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const i64 n_;
};

}  // namespace kalvor
