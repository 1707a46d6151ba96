// "Invsqrt" and "Sqrt": the inverse square root, or the square root, of an integer or a value.
#include "arith/bigfloat/number_check.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/invsqrt.h"
#include "arith/newton/newton_work.h"
#include "base/status/status_scope.h"
#include "constants/evaluator/large_product.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"
#include "constants/formulas/invsqrt_word_node.h"
#include "constants/formulas/leaf_node.h"
#include "constants/formulas/sqrt_word_node.h"

namespace kalvor::Formulas {
namespace {

const char kInvsqrt[] = "Invsqrt(x)";
const char kSqrt[] = "Sqrt(x)";

// x^(-1/2), or x x^(-1/2). Memory of the second: [the inverse root][the iteration's, then the product's]
class RootStep final : public Step {
  public:
    RootStep(bool inverse, const StepRequest& request)
        : Step(request.precision),
          inverse_(inverse),
          plan_(InvsqrtFloatPlan::make(request.precision, request.tds)),
          product_(request.precision, kAnyRoom) {
        needs_ = plan_.needs();
        if (inverse_) return;
        needs_ = needs_.maximum(product_.needs()).above(plan_.result);
        needs_.result_words = product_.needs().result_words;
    }
    u64 extra_bits() const override { return 8; }
    std::vector<WorkPhase> work() const override {
        const double work = 2 * newton::levels_work(plan_.p);
        std::vector<WorkPhase> phases = {{"square root", work * kWorkSeconds, 0}};
        if (!inverse_) phases.push_back(product_.work());
        return phases;
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        const BigFloat& A = *x[0].value;
        if (!inverse_ && is_zero(A, "RootStep::finish()")) {
            result.clear();
            return x[0].error.exact ? ErrorBound::none() : ErrorBound::unlimited();
        }
        status.work().enter("square root");
        AlignedBufferC memory = context.scratch;
        if (inverse_) {
            large_invsqrt(plan_, context, status, result, A);
        } else {
            BigFloat root = carve<BigFloat>(memory, plan_.result);
            const MultiplyContext rest = context.with_scratch(memory);
            large_invsqrt(plan_, rest, status, root, A);
            status.work().enter(product_.work().name);
            product_.run(rest, status, result, root.kept(context.parallel, precision() + 2),
                         A.kept(context.parallel, precision() + 2));
        }
        return root_error(result, x[0]) + ErrorBound::of_words(result, precision(), newton::kErrorBits + 2);
    }

  private:
    const bool inverse_;
    const InvsqrtFloatPlan plan_;
    const LargeProduct product_;
};

class RootNode final : public VFormulaNode {
  public:
    RootNode(const Config::Node& x, const Place& place, bool inverse)
        : VFormulaNode(place), inverse_(inverse) {
        expect(x);
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<RootStep>(inverse_, request);
    }

  private:
    const bool inverse_;
};

// The root of an integer by the iteration for words.
template <class WordNode>
std::unique_ptr<VFormulaNode> make_root(const Config::Node& x, const Place& place, const char* function,
                                        bool inverse) {
    if (!is_integer(x)) return std::make_unique<RootNode>(x, place, inverse);
    const i64 n = integer_of(x);
    check_root_argument(n, function);
    return std::make_unique<LeafNode>(place, [n](const EvaluatorRequest& request) {
        return WordNode(static_cast<Word>(n)).make_evaluator(request);
    });
}

const FunctionRegistration<RootNode> g_invsqrt("Invsqrt", [](const Config::Node& x, const Place& place) {
    return make_root<InvsqrtWordNode>(x, place, kInvsqrt, true);
});
const FunctionRegistration<RootNode> g_sqrt("Sqrt", [](const Config::Node& x, const Place& place) {
    return make_root<SqrtWordNode>(x, place, kSqrt, false);
});

}  // namespace
}  // namespace kalvor::Formulas
