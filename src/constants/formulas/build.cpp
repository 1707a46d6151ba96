#include "constants/formulas/build.h"

#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kLoadFunction[] = "load_function()";
constexpr u64 kDepthOfWarnings = 256;

std::unique_ptr<VFormulaNode> create(const Config::Node& value, const Place& place) {
    // Integers and names are short forms of functions.
    if (value.type() == Config::NodeType::integer) return (*find_function("Integer"))(value, place);
    if (value.type() == Config::NodeType::string) return (*find_function("LoadVariable"))(value, place);
    const Config::Object& object = value.as<Config::Object>();
    if (object.size() != 1) throw InvalidParametersException(kLoadFunction, "Number of items must be 1.");
    const Config::Object::Entry& entry = *object.entries().front();
    const NodeFactory* const factory = find_function(entry.key);
    if (factory == nullptr) {
        throw InvalidParametersException(kLoadFunction, "Unknown function: " + entry.key);
    }
    return (*factory)(*entry.value, place);
}

}  // namespace

std::unique_ptr<VFormulaNode> build(const Config::Node& value, const WarningSink& warn) {
    const auto create_below = [&](const Config::Node& text, VFormulaNode* parent) {
        const Place place{parent, &warn};
        std::unique_ptr<VFormulaNode> node = create(text, place);
        if (node->depth() != 0 && node->depth() % kDepthOfWarnings == 0) {
            place.warning("Function depth has reached " + std::to_string(node->depth()) +
                          ", possible risk of stack overflow.");
        }
        return node;
    };
    std::unique_ptr<VFormulaNode> root = create_below(value, nullptr);
    std::vector<VFormulaNode*> open = {root.get()};
    while (!open.empty()) {
        VFormulaNode& node = *open.back();
        const Config::Node* const next = node.next_child();
        if (next == nullptr) {
            open.pop_back();
            continue;
        }
        node.adopt(create_below(*next, &node));
        open.push_back(node.children().back().get());
    }
    return root;
}

}  // namespace kalvor::Formulas
