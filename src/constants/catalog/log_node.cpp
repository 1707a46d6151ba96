// "Log" as a function of formulas: of an integer by its formula of area cotangents, of a value by the mean,
// with Pi and ln 2 of its own.
#include <memory>
#include <string>

#include "base/errors/exceptions.h"
#include "constants/builtin/log_machin.h"
#include "constants/builtin/pi.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"
#include "constants/formulas/leaf_node.h"
#include "constants/formulas/log_step.h"

namespace kalvor {
namespace {

using Formulas::LeafNode;
using Formulas::Place;
using Formulas::Step;
using Formulas::StepRequest;
using Formulas::VFormulaNode;

const char kLog[] = "Log(x)";
constexpr i64 kLargest = (i64(1) << 31) - 1;

class LogNode final : public VFormulaNode {
  public:
    LogNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) { expect(argument); }

    // Behind the value Pi and ln 2, which have no text.
    const Config::Node* next_child() override {
        if (children().empty()) return VFormulaNode::next_child();
        if (children().size() == 1) {
            adopt(leaf(std::make_shared<const Pi>(PiAlgorithm::chudnovsky)));
            adopt(leaf(std::make_shared<const LogMachin>(2)));
        }
        return nullptr;
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<Formulas::LogStep>(request);
    }

  private:
    std::unique_ptr<VFormulaNode> leaf(const std::shared_ptr<const EvaluatorFactory>& constant) {
        return std::make_unique<LeafNode>(Place{this, nullptr}, [constant](const EvaluatorRequest& request) {
            return constant->make_evaluator(request);
        });
    }
};

std::unique_ptr<VFormulaNode> make_log(const Config::Node& argument, const Place& place) {
    if (!Formulas::is_integer(argument)) return std::make_unique<LogNode>(argument, place);
    const i64 x = Formulas::integer_of(argument);
    if (x < 2) throw InvalidParametersException(kLog, "Argument is invalid: " + std::to_string(x));
    if (x > kLargest) throw InvalidParametersException(kLog, "Argument is too large: " + std::to_string(x));
    const auto logarithm = std::make_shared<const LogMachin>(static_cast<u64>(x));
    return std::make_unique<LeafNode>(
        place, [logarithm](const EvaluatorRequest& request) { return logarithm->make_evaluator(request); });
}

const Formulas::FunctionRegistration<LogNode> g_registration("Log", make_log);

}  // namespace
}  // namespace kalvor
