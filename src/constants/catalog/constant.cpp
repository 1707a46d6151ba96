#include "constants/catalog/constant.h"

#include "base/errors/exceptions.h"
#include "constants/catalog/pi_constant.h"

namespace kalvor {

ConstantPlan::~ConstantPlan() = default;
Constant::~Constant() = default;

std::unique_ptr<Constant> make_constant(const std::string& token) {
    if (token.empty()) throw trel::InvalidParametersException("make_constant()", "Invalid constant token.");
    if (token == "pi") return std::make_unique<PiConstant>();
    throw trel::InvalidParametersException("make_constant()", "Invalid Constant: " + token);
}

std::vector<std::string> constant_tokens() {
    return {"pi"};
}

}  // namespace kalvor
