#include "constants/formulas/scope.h"

#include "base/errors/exceptions.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const FunctionRegistration<ScopeNode> g_scope("Scope");

const FunctionRegistration<LoadVariableNode> g_load_variable(
    "LoadVariable", [](const Config::Node& argument, const Place& place) -> std::unique_ptr<VFormulaNode> {
        return std::make_unique<LoadVariableNode>(argument.as<Config::String>().value, place);
    });

const char kScope[] = "Scope()";
const char kLoadVariable[] = "LoadVariable()";
constexpr std::size_t kLongestName = 64;

void check_name(const std::string& name) {
    if (name.size() > kLongestName) throw InvalidParametersException(kScope, "Variable name is too long.");
    for (const char c : name) {
        const bool allowed =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
        if (!allowed) {
            throw InvalidParametersException(
                kScope, "Variable \"" + name + "\" contains an invalid character: '" + c + "'");
        }
    }
}

const VFormulaNode* look_up(const std::string& name, const VFormulaNode& node) {
    if (node.scope() == nullptr) {
        throw InvalidParametersException(kLoadVariable, "Cannot load variable outside of a Scope.");
    }
    for (const ScopeNode* scope = node.scope(); scope != nullptr; scope = scope->scope()) {
        if (const VFormulaNode* const found = scope->find(name)) return found;
    }
    throw InvalidParametersException(kLoadVariable,
                                     "Variable \"" + name + "\" is not defined in this scope.");
}

}  // namespace

ScopeNode::ScopeNode(const Config::Node& argument, const Place& place)
    : VFormulaNode(place), object_(&argument.as<Config::Object>()) {
    object_->check_keys({"Locals", "Formula"});
    const Config::Node& locals = object_->get("Locals");
    if (locals.type() == Config::NodeType::object) {
        place.warning("There is a new syntax for \"Scope\". Please switch to the new one.");
        for (const auto& entry : locals.as<Config::Object>().entries()) {
            locals_.push_back({entry->key, entry->value.get()});
        }
        return;
    }
    for (const auto& element : locals.as<Config::Array>().elements) {
        const Config::Object& local = element->as<Config::Object>();
        if (local.size() != 1) {
            throw InvalidParametersException("Scope local must have exactly one element.",
                                             "Invalid Parameters");
        }
        const Config::Object::Entry& entry = *local.entries().front();
        locals_.push_back({entry.key, entry.value.get()});
    }
}

const VFormulaNode* ScopeNode::find(std::string_view name) const {
    const auto found = variables_.find(name);
    return found == variables_.end() ? nullptr : found->second;
}

const Config::Node* ScopeNode::next_child() {
    const std::size_t done = children().size();
    if (done > locals_.size()) return nullptr;
    if (done > 0) variables_.emplace(locals_[done - 1].name, children().back().get());
    if (done == locals_.size()) return &object_->get("Formula");
    const Local& next = locals_[done];
    check_name(next.name);
    if (variables_.contains(next.name)) {
        throw InvalidParametersException(kScope,
                                         "Variable \"" + next.name + "\" already exists in this scope.");
    }
    return next.formula;
}

std::unique_ptr<Step> ScopeNode::make_step(const StepRequest&) const {
    throw InvalidParametersException(kScope, "A scope has the value of its formula.");
}

LoadVariableNode::LoadVariableNode(const std::string& name, const Place& place)
    : VFormulaNode(place), variable_(look_up(name, *this)) {}

std::unique_ptr<Step> LoadVariableNode::make_step(const StepRequest&) const {
    throw InvalidParametersException(kLoadVariable, "A variable has the value of its formula.");
}

}  // namespace kalvor::Formulas
