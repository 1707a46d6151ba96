// "Log-AGM": the logarithm of a value from variables that hold Pi and ln 2.
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"
#include "constants/formulas/log_step.h"

namespace kalvor::Formulas {
namespace {

class LogOfValueNode final : public VFormulaNode {
  public:
    LogOfValueNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Object& object = argument.as<Config::Object>();
        object.check_keys({"Pi", "Log2", "Argument"});
        // The names are looked up when the tree is built, as nodes of their own.
        const Config::Node& pi = object.get("Pi");
        const Config::Node& log2 = object.get("Log2");
        pi.as<Config::String>();
        log2.as<Config::String>();
        expect(object.get("Argument"));
        expect(pi);
        expect(log2);
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<LogStep>(request);
    }
};

const FunctionRegistration<LogOfValueNode> g_registration("Log-AGM");

}  // namespace
}  // namespace kalvor::Formulas
