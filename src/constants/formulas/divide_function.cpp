// "Divide": [x, d], x / d for an integer or a value d.
#include <bit>

#include "arith/newton/division.h"
#include "arith/newton/newton_work.h"
#include "base/status/status_scope.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kDivide[] = "Divide()";

// x / d, d != 0.
class DivideWordStep final : public Step {
  public:
    DivideWordStep(i64 d, const StepRequest& request) : Step(request.precision), d_(d) {
        needs_.result_words = precision() + 3;
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        StatusSection section(status, "Small Divide...");
        StatusFrame frame(section.node(), "Dividing: ");
        result.set_div_sW(precision(), context.parallel, *x[0].value, d_);
        check_exponent(result, kDivide);
        const ErrorBound error = x[0].error.shifted(1 - std::bit_width(magnitude_of(d_)));
        return result.L == 0 ? error : error + ErrorBound::of_words(result, precision(), 1);
    }

  private:
    const i64 d_;
};

// x[0] / x[1]
class DivideFloatStep final : public Step {
  public:
    explicit DivideFloatStep(const StepRequest& request)
        : Step(request.precision), plan_(DivisionPlan::make(request.precision, request.tds)) {
        needs_ = plan_.needs();
    }
    u64 extra_bits() const override { return 8; }
    std::vector<WorkPhase> work() const override {
        const double work = newton::division_work(plan_.p, plan_.q);
        return {{"division", work * kWorkSeconds, work}};
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        status.work().enter("division");
        large_division(plan_, context, status, result, *x[0].value, *x[1].value);
        check_exponent(result, kDivide);
        const ErrorBound error = quotient_error(x[0], x[1]);
        return result.L == 0 ? error : error + ErrorBound::of_words(result, precision(), newton::kErrorBits);
    }

  private:
    const DivisionPlan plan_;
};

class DivideNode final : public VFormulaNode {
  public:
    DivideNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Array& items = array_of(argument, 2, kDivide, "Set must have exactly 2 terms.");
        expect(items[0]);
        if (!is_integer(items[1])) {
            expect(items[1]);
            return;
        }
        d_ = integer_of(items[1]);
        if (d_ == 0) throw InvalidParametersException(kDivide, "Divide by zero.");
        if (std::has_single_bit(magnitude_of(d_))) {
            throw InvalidParametersException(kDivide, "Use Shift() to divide by a power-of-two.");
        }
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        if (d_ != 0) return std::make_unique<DivideWordStep>(d_, request);
        return std::make_unique<DivideFloatStep>(request);
    }

  private:
    i64 d_ = 0;  // 0: by a value
};

const FunctionRegistration<DivideNode> g_registration("Divide");

}  // namespace
}  // namespace kalvor::Formulas
