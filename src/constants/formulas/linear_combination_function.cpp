// "LinearCombination": [[c1, x1], [c2, x2], ...], c1 x1 + c2 x2 + ... for integers c.
#include <algorithm>
#include <bit>
#include <utility>

#include "base/status/status_scope.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kLinearCombination[] = "LinearCombination()";
constexpr u64 kManyTerms = 1024;

// Memory: [a term][the sum before it is moved]
class LinearCombinationStep final : public Step {
  public:
    LinearCombinationStep(std::vector<i64> coefficients, const StepRequest& request)
        : Step(request.precision),
          coefficients_(std::move(coefficients)),
          words_(round_up_8(precision() + 4)) {
        needs_.result_words = precision() + 4;
        needs_ = needs_.above(words_).above(words_);
        for (const i64 c : coefficients_) {
            coefficient_bits_ = std::max<u64>(coefficient_bits_, std::bit_width(magnitude_of(c)));
        }
    }
    bool accumulates() const override { return true; }
    // What the coefficients make of the terms' errors where the terms cancel, and the number of terms.
    u64 extra_bits() const override { return coefficient_bits_ + std::bit_width(coefficients_.size()) + 3; }

    void take(const MultiplyContext& context, Status& status, u64 child, const Operand& x,
              Accumulated& sum) const override {
        const ParallelContext& parallel = context.parallel;
        const i64 c = coefficients_[child];
        AlignedBufferC memory = context.scratch;
        BigFloat term = carve<BigFloat>(memory, words_);
        ErrorBound term_error = x.error.times_word(magnitude_of(c));
        {
            StatusSection section(status, "Small Multiply...");
            StatusFrame frame(section.node(), "Multiplying: ");
            term.set_mul_uW(precision() + 1, parallel, *x.value, magnitude_of(c));
            if (term.L != 0 && c < 0) term.set_sign(!term.sign);
            if (term.L != 0 && x.value->L > precision() + 1) {
                term_error = term_error + ErrorBound::within({term.exp, 0});
            }
        }
        check_exponent(term, kLinearCombination);
        if (sum.taken == 0) {
            sum.value.set_BigFloat(precision() + 1, parallel, term);
            sum.errors.add(term_error);
            sum.error = sum.errors.total();
            return;
        }
        StatusSection section(status, "Accumulate...");
        StatusFrame frame(section.node(), "Adding:  ");
        BigFloat T = carve<BigFloat>(memory, words_);
        T.set_add(precision() + 1, parallel, sum.value, term);
        sum.errors.add(term_error);
        if (sum.value.L != 0 && term.L != 0) {
            const i64 bottom = std::max(sum.value.mag(), term.mag()) - static_cast<i64>(precision() + 2);
            if (std::min(sum.value.exp, term.exp) < bottom) {
                // Two numbers are cut, and the sum.
                sum.errors.add(ErrorBound::within({bottom, 2}));
            }
        }
        sum.error = sum.errors.total();
        sum.value.set_BigFloat(precision() + 1, parallel, T);
    }

  private:
    const std::vector<i64> coefficients_;
    const u64 words_;
    u64 coefficient_bits_ = 0;
};

class LinearCombinationNode final : public VFormulaNode {
  public:
    LinearCombinationNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Array& terms = argument.as<Config::Array>();
        if (terms.size() == 0) throw InvalidParametersException(kLinearCombination, "Set is empty.");
        if (terms.size() > kManyTerms) {
            place.warning("Really?!?! You're gonna make me sum up " + std::to_string(terms.size()) +
                          " elements?");
        }
        for (const auto& term : terms.elements) {
            const Config::Array& parts =
                array_of(*term, 2, kLinearCombination, "Each term must have two parts.");
            coefficients_.push_back(integer_of(parts[0]));
            expect(parts[1]);
        }
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        return std::make_unique<LinearCombinationStep>(coefficients_, request);
    }

  private:
    std::vector<i64> coefficients_;
};

const FunctionRegistration<LinearCombinationNode> g_registration("LinearCombination");

}  // namespace
}  // namespace kalvor::Formulas
