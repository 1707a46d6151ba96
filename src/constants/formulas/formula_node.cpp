#include "constants/formulas/formula_node.h"

#include <utility>

#include "constants/formulas/scope.h"

namespace kalvor::Formulas {
namespace {

const ScopeNode* scope_of(const VFormulaNode* parent) {
    if (parent == nullptr) return nullptr;
    const auto* const scope = dynamic_cast<const ScopeNode*>(parent);
    return scope != nullptr ? scope : parent->scope();
}

}  // namespace

VFormulaNode::VFormulaNode(const Place& place)
    : parent_(place.parent),
      depth_(place.parent == nullptr ? 0 : place.parent->depth_ + 1),
      scope_(scope_of(place.parent)) {}

VFormulaNode::~VFormulaNode() {
    std::vector<std::unique_ptr<VFormulaNode>> list = std::move(children_);
    while (!list.empty()) {
        const std::unique_ptr<VFormulaNode> node = std::move(list.back());
        list.pop_back();
        for (std::unique_ptr<VFormulaNode>& child : node->children_) list.push_back(std::move(child));
        node->children_.clear();
    }
}

const Config::Node* VFormulaNode::next_child() {
    return children_.size() < expected_.size() ? expected_[children_.size()] : nullptr;
}

}  // namespace kalvor::Formulas
