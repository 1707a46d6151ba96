// "Integer", and an integer as it stands.
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

class IntegerStep final : public Step {
  public:
    IntegerStep(i64 n, const StepRequest& request) : Step(request.precision), n_(n) {
        needs_.result_words = 1;
    }
    ErrorBound finish(const MultiplyContext& context, Status&, std::span<const Operand>,
                      BigFloat& result) const override {
        result.clear();
        if (n_ == 0) return ErrorBound::none();
        result.T = result.buffer;
        result.T[0] = magnitude_of(n_);
        result.L = 1;
        result.sign = n_ > 0;
        result.seal(context.parallel);
        return ErrorBound::none();
    }

  private:
    const i64 n_;
};

class IntegerNode final : public VFormulaNode {
  public:
    IntegerNode(const Config::Node& argument, const Place& place)
        : VFormulaNode(place), n_(integer_of(argument)) {}
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<IntegerStep>(n_, request);
    }

  private:
    const i64 n_;
};

const FunctionRegistration<IntegerNode> g_registration("Integer");

}  // namespace
}  // namespace kalvor::Formulas
