// A constant that a user gives by a formula, as an entry of the list of constants.
#pragma once

#include <array>

#include "constants/catalog/constant.h"
#include "constants/formulas/formula_evaluator.h"
#include "constants/formulas/formula_file.h"

namespace kalvor {

class CustomConstant final : public Constant {
  public:
    static constexpr std::string_view kToken = "custom";
    static constexpr bool kTakesArgument = true;
    static constexpr std::string_view kArgument = "file";
    static constexpr std::array<std::string_view, 0> kAlgorithms = {};

    // argument: the path of a formula file (formula_file.h says where it is looked for); the one that is
    // opened is printed, and so are the builder's warnings. Throws InvalidParametersException "No formula
    // file specified." / "File not found." and what is wrong with the file.
    explicit CustomConstant(std::string_view argument);
    // From the value of "Constant" in a formula file or in settings.
    explicit CustomConstant(const Config::Object& description);
    // From the menu: asks for a file.
    static std::unique_ptr<Constant> ask();
    // From the whole "Constant" object of settings, whose key "Constant" is an object.
    static std::unique_ptr<Constant> load(const Config::Object& object);

    const CatalogRow& row() const override;
    std::string name_short() const override { return description_.name_short; }
    std::string name_long() const override { return "Custom - " + description_.name_long; }
    std::string header_name() const override { return "Custom Formula: " + description_.name_long; }
    std::vector<AlgorithmRow> algorithms() const override;
    // It has none to choose.
    void select_algorithm(std::string_view token) override;
    std::unique_ptr<Config::Object> to_config() const override;
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    explicit CustomConstant(Formulas::FormulaDescription description);

    const Formulas::FormulaDescription description_;
};

}  // namespace kalvor
