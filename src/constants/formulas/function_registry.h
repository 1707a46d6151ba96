// The functions of the formula language by name. Each registers itself before main(), from the file of its
// node: arithmetic in this room, constants and series in the rooms above.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

// Makes a node from its function's argument. Throws what is wrong with it; children are not made yet.
using NodeFactory =
    std::function<std::unique_ptr<VFormulaNode>(const Config::Node& argument, const Place& place)>;

// A second function of a name is fatal: "Duplicate Function Name".
void register_function(const std::string& name, NodeFactory factory);
// nullptr for a name that is not registered.
const NodeFactory* find_function(std::string_view name);
// All that there are, those of the language first, in their order.
std::vector<std::string> function_names();

template <class Node>
struct FunctionRegistration {
    FunctionRegistration(const char* name, NodeFactory factory) {
        register_function(name, std::move(factory));
    }
    explicit FunctionRegistration(const char* name)
        : FunctionRegistration(
              name, [](const Config::Node& argument, const Place& place) -> std::unique_ptr<VFormulaNode> {
                  return std::make_unique<Node>(argument, place);
              }) {}
};

}  // namespace kalvor::Formulas
