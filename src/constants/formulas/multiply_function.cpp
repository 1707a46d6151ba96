// "Multiply": [x1, x2, ...], their product.
#include <bit>

#include "arith/bigfloat/big_float.h"
#include "constants/evaluator/large_product.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kMultiply[] = "Multiply()";

// Memory of a product: [the product before it is moved][its scratch]
class MultiplyStep final : public Step {
  public:
    MultiplyStep(u64 factors, const StepRequest& request)
        : Step(request.precision),
          factors_(factors),
          product_(precision(), kAnyRoom),
          product_words_(round_up_8(precision() + 3)) {
        needs_ = product_.needs().above(product_words_);
        needs_.result_words = precision() + 3;
    }
    bool accumulates() const override { return true; }
    // A few units of the last word for each factor.
    u64 extra_bits() const override { return 4 + static_cast<u64>(std::bit_width(factors_)); }
    std::vector<WorkPhase> work() const override { return {product_.work()}; }

    void take(const MultiplyContext& context, Status& status, u64, const Operand& x,
              Accumulated& product) const override {
        const BigFloat factor = x.value->kept(context.parallel, precision() + 2);
        if (product.taken == 0) {
            product.value.set_BigFloat(precision(), context.parallel, factor);
            const ErrorBound cut_off = cut(*x.value, product.value);
            product.error = x.error + cut_off;
            product.shares.add({product.value, product.error});
            return;
        }
        AlignedBufferC memory = context.scratch;
        BigFloat T = carve<BigFloat>(memory, product_words_);
        status.work().enter(product_.work().name);
        // The number that the product begins with is also its second factor.
        const bool square = product.taken == 1 && product.first == x.value;
        product_.run(context.with_scratch(memory), status, T, square ? factor : product.value, factor);
        ErrorBound error = product_error({product.value, product.error}, x);
        product.value.set_BigFloat(precision(), context.parallel, T);
        check_exponent(product.value, kMultiply);
        product.shares.add(x);
        // The factor's cut, the product's and the move's.
        if (product.value.L != 0 && (T.exp != product.value.exp || !is_exact(product, x))) {
            const ErrorBound rounding = ErrorBound::of_words(product.value, precision(), 1);
            error = error + rounding;
            product.shares.add({product.value, rounding});
        }
        product.error = tighter(error, product.shares.of(product.value));
    }

  private:
    // Whether the product has all of its words.
    bool is_exact(const Accumulated& product, const Operand& x) const {
        return product.error.exact && x.error.exact && product.value.L + x.value->L <= precision() + 2 &&
               x.value->L <= precision() + 2;
    }

    const u64 factors_;
    const LargeProduct product_;
    const u64 product_words_;
};

class MultiplyNode final : public VFormulaNode {
  public:
    MultiplyNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Array& items = argument.as<Config::Array>();
        if (items.size() < 2) {
            throw InvalidParametersException(kMultiply, "Set must have at least 2 terms.");
        }
        for (const auto& item : items.elements) expect(*item);
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<MultiplyStep>(children().size(), request);
    }
};

const FunctionRegistration<MultiplyNode> g_registration("Multiply");

}  // namespace
}  // namespace kalvor::Formulas
