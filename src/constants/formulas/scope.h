// "Scope" and its variables.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

// Its children are the formulas of the locals, in their order, then its own.
class ScopeNode final : public VFormulaNode {
  public:
    // argument: { Locals : [ { name : formula } ... ]  Formula : formula }, or the old syntax, an object of
    // names and formulas, with a warning.
    ScopeNode(const Config::Node& argument, const Place& place);

    // The formula of a variable that has been declared here; nullptr.
    const VFormulaNode* find(std::string_view name) const;

    const Config::Node* next_child() override;
    std::unique_ptr<Step> make_step(const StepRequest& request) const override;
    const VFormulaNode* same_value_as() const override { return children().back().get(); }
    bool evaluates_in_order() const override { return true; }

  private:
    struct Local {
        std::string name;
        const Config::Node* formula;
    };

    std::vector<Local> locals_;
    const Config::Object* object_;  // until the tree is built
    std::map<std::string, const VFormulaNode*, std::less<>> variables_;
};

// "LoadVariable": the value of the nearest variable of a name around it.
class LoadVariableNode final : public VFormulaNode {
  public:
    LoadVariableNode(const std::string& name, const Place& place);

    std::unique_ptr<Step> make_step(const StepRequest& request) const override;
    const VFormulaNode* same_value_as() const override { return variable_; }
    const char* announcement() const override { return "Loading Variable..."; }

  private:
    const VFormulaNode* const variable_;
};

}  // namespace kalvor::Formulas
