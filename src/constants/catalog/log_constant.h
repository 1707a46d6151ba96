// Logarithms of integers as an entry of the list of constants.
#pragma once

#include "constants/builtin/log_formula.h"
#include "constants/catalog/constant.h"

namespace kalvor {

class LogConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "log";
    static constexpr bool kTakesArgument = true;
    static constexpr std::string_view kArgument = "n";
    static constexpr std::string_view kAlgorithms[] = {"machin-primary", "machin-secondary"};

    // argument: n, a count as people write it (value_text.h). Throws InvalidParametersException "Argument
    // must be greater than 1.", n + " is out of range.", and what text is not a number. How long the search
    // for its formulas took is printed.
    explicit LogConstant(std::string_view argument);
    // From the menu: asks for n.
    static std::unique_ptr<Constant> ask();

    const CatalogRow& row() const override;
    std::string name_short() const override { return "Log(" + std::to_string(n_) + ")"; }
    std::string name_long() const override { return name_short(); }
    std::optional<i64> argument() const override { return n_; }
    std::vector<AlgorithmRow> algorithms() const override;
    u64 integer_digits(u32 radix) const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const i64 n_;
    // Names hold their lengths, and every plan of a size asks for one.
    const GeneratedLogFormulas formulas_;
};

}  // namespace kalvor
