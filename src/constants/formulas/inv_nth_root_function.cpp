// "InvNthRoot": [n, x], x^(-1/n).
#include <bit>

#include "arith/newton/newton_work.h"
#include "arith/newton/nth_root.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kInvNthRoot[] = "InvNthRoot()";

class InvNthRootStep final : public Step {
  public:
    InvNthRootStep(u64 n, const StepRequest& request)
        : Step(request.precision), n_(n), plan_(InvNthRootPlan::make(request.precision, request.tds)) {
        needs_ = plan_.needs();
    }
    u64 extra_bits() const override { return 8; }
    std::vector<WorkPhase> work() const override {
        const double work = (2 + std::bit_width(n_)) * newton::levels_work(plan_.p);
        return {{"root", work * kWorkSeconds, 0}};
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        status.work().enter("root");
        inv_nth_root(plan_, context, status, result, *x[0].value, n_);
        return root_error(result, x[0]) + ErrorBound::of_words(result, precision(), newton::kErrorBits + 2);
    }

  private:
    const u64 n_;
    const InvNthRootPlan plan_;
};

class InvNthRootNode final : public VFormulaNode {
  public:
    InvNthRootNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Array& items = array_of(argument, 2, kInvNthRoot, "Set must have exactly 2 terms.");
        const i64 n = integer_of(items[0]);
        if (n < 3) throw InvalidParametersException(kInvNthRoot, "Degree must be greater than 2.");
        n_ = static_cast<u64>(n);  // no upper bound: the root takes all degrees of 64 bits
        expect(items[1]);
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<InvNthRootStep>(n_, request);
    }

  private:
    u64 n_;
};

const FunctionRegistration<InvNthRootNode> g_registration("InvNthRoot");

}  // namespace
}  // namespace kalvor::Formulas
