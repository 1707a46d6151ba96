// "AGM": [a, b] or x, the mean of two values or of 1 and x.
#include <cmath>

#include "arith/newton/agm.h"
#include "arith/newton/newton_work.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kAgm[] = "AGM()";

// Memory of two values: [b, which the mean uses up][the mean's]
class AgmStep final : public Step {
  public:
    AgmStep(bool of_two, const StepRequest& request)
        : Step(request.precision), of_two_(of_two), plan_(AGMPlan::make(request.precision, request.tds)) {
        needs_ = of_two_ ? plan_.needs2().above(plan_.result) : plan_.needs();
        needs_.result_words = plan_.result;
    }
    u64 extra_bits() const override { return 8; }
    std::vector<WorkPhase> work() const override {
        const double p = static_cast<double>(plan_.p);
        const double steps = std::log2(64 * p + 64) + 1;
        return {{"mean", steps * newton::mean_step_work(plan_.p) * kWorkSeconds, 0}};
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        status.work().enter("mean");
        Word one_word;
        BigFloat one(&one_word, 1);
        one.set_double(1.0, 0);
        Operand a = {&one, ErrorBound::none()};
        if (of_two_) {
            a = x[0];
            AlignedBufferC memory = context.scratch;
            BigFloat b = carve<BigFloat>(memory, plan_.result);
            result.set_BigFloat(precision() + 1, context.parallel, *x[0].value);
            b.set_BigFloat(precision() + 1, context.parallel, *x[1].value);
            agm2(plan_, context.with_scratch(memory), status, result, b);
        } else {
            agm1(plan_, context, status, result, *x[0].value);
        }
        const ErrorBound error = mean_error(result, a, x.back());
        if (result.L == 0) return a.error.exact && x.back().error.exact ? ErrorBound::none() : error;
        return error + ErrorBound::of_words(result, precision(), newton::kErrorBits + 1);
    }

  private:
    const bool of_two_;
    const AGMPlan plan_;
};

class AgmOfValuesNode final : public VFormulaNode {
  public:
    AgmOfValuesNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        of_two_ = argument.type() == Config::NodeType::array;
        if (!of_two_) {
            expect(argument);
            return;
        }
        const Config::Array& items = array_of(argument, 2, kAgm, "Set must have exactly 2 terms.");
        expect(items[0]);
        expect(items[1]);
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<AgmStep>(of_two_, request);
    }

  private:
    bool of_two_;
};

const FunctionRegistration<AgmOfValuesNode> g_registration("AGM");

}  // namespace
}  // namespace kalvor::Formulas
