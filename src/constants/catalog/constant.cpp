#include "constants/catalog/constant.h"

#include "base/errors/exceptions.h"
#include "base/registry/named.h"

namespace kalvor {
namespace {

trel::Named<ConstantFactory>& constants() {
    static constexpr const char* kMenuOrder[] = {"pi"};
    static trel::Named<ConstantFactory> constants("Duplicate Constant: ", kMenuOrder);
    return constants;
}

}  // namespace

ConstantPlan::~ConstantPlan() = default;
Constant::~Constant() = default;

std::unique_ptr<Constant> make_constant(const std::string& token) {
    if (token.empty()) throw trel::InvalidParametersException("make_constant()", "Invalid constant token.");
    const ConstantFactory* const factory = constants().find(token);
    if (!factory) throw trel::InvalidParametersException("make_constant()", "Invalid Constant: " + token);
    return (*factory)();
}

std::vector<std::string> constant_tokens() {
    return constants().names();
}

void register_constant(const std::string& token, ConstantFactory factory) {
    constants().add(token, factory);
}

}  // namespace kalvor
