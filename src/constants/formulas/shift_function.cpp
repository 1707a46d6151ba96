// "Shift": [x, n], x 2^n.
#include "base/status/status_scope.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kShift[] = "Shift()";
constexpr i64 kWordBits = 64;

class ShiftStep final : public Step {
  public:
    ShiftStep(i64 n, const StepRequest& request) : Step(request.precision), n_(n) {
        // A word for what moves out of the top one.
        needs_.result_words = precision() + 3;
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        StatusSection section(status, "Shift...");
        StatusFrame frame(section.node(), "Shifting:  ");
        result.set_BigFloat(precision(), context.parallel, *x[0].value);
        const ErrorBound error = x[0].error + cut(*x[0].value, result);
        if (result.L == 0) return error.shifted(n_);
        const i64 bits = n_ & (kWordBits - 1);
        result.mul_uW(context.parallel, Word(1) << bits);
        // |n| / 64 < 2^58 words
        result.move((n_ - bits) / kWordBits);
        check_exponent(result, kShift);
        return error.shifted(n_);
    }

  private:
    const i64 n_;
};

class ShiftNode final : public VFormulaNode {
  public:
    ShiftNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Array& items = array_of(argument, 2, kShift, "Set must have 2 terms.");
        n_ = integer_of(items[1]);
        expect(items[0]);
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<ShiftStep>(n_, request);
    }

  private:
    i64 n_;
};

const FunctionRegistration<ShiftNode> g_registration("Shift");

}  // namespace
}  // namespace kalvor::Formulas
