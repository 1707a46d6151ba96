// The tree of a formula: what the configuration text says, checked, ready to be planned for any precision.
//
// Nodes own their children. A tree may be thousands of nodes deep: building, planning, running and destroying
// it keep lists of what is open and never recurse.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/config/node.h"
#include "base/names/names.h"
#include "constants/formulas/step.h"
#include "os/types.h"

namespace kalvor::Formulas {

class ScopeNode;
class VFormulaNode;

// Takes the warnings of the builder; the caller that loads a formula prints them.
using WarningSink = std::function<void(const std::string&)>;

// Where a node is made: below a node, or as a root (nullptr).
struct Place {
    VFormulaNode* parent = nullptr;
    const WarningSink* warn = nullptr;

    void warning(const std::string& text) const {
        if (warn != nullptr && *warn) (*warn)(text);
    }
};

class VFormulaNode {
  public:
    virtual ~VFormulaNode();
    VFormulaNode(const VFormulaNode&) = delete;
    VFormulaNode& operator=(const VFormulaNode&) = delete;

    const VFormulaNode* parent() const { return parent_; }
    // 0 for the root.
    u64 depth() const { return depth_; }
    const std::vector<std::unique_ptr<VFormulaNode>>& children() const { return children_; }
    // The nearest one around this node; nullptr outside of any.
    const ScopeNode* scope() const { return scope_; }

    // The computation of this node from the values of its children, in their order. Not for a node that has
    // the value of another.
    virtual std::unique_ptr<Step> make_step(const StepRequest& request) const = 0;
    // The node whose value this one has without any computation: a scope's formula, a variable's.
    virtual const VFormulaNode* same_value_as() const { return nullptr; }
    // For a child that is computed for what others read of it (a local).
    virtual bool evaluates_in_order() const { return false; }
    // Names what a run says of it when its value is that of another node: "Loading Variable...".
    virtual const char* announcement() const { return nullptr; }

    // The builder's: the text of the next child, or nullptr when there is none left. It is asked for when the
    // child before is complete. Texts live until the tree is built.
    virtual const Config::Node* next_child();
    void adopt(std::unique_ptr<VFormulaNode> child) { children_.push_back(std::move(child)); }

  protected:
    explicit VFormulaNode(const Place& place);
    // Children whose texts are known when the node is made.
    void expect(const Config::Node& child) { expected_.push_back(&child); }

  private:
    const VFormulaNode* const parent_;
    const u64 depth_;
    const ScopeNode* const scope_;
    std::vector<const Config::Node*> expected_;
    std::vector<std::unique_ptr<VFormulaNode>> children_;
};

}  // namespace kalvor::Formulas
