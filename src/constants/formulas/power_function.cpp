// "Power": [x, n], x^n for an integer or a value x and an integer n.
#include <bit>

#include "arith/newton/newton_work.h"
#include "arith/newton/power.h"
#include "arith/newton/power_word.h"
#include "base/status/status_scope.h"
#include "constants/formulas/arguments.h"
#include "constants/formulas/function_registry.h"

namespace kalvor::Formulas {
namespace {

const char kPower[] = "Power()";
const char kPowerOf[] = "Power(x, p)";
// Words of the working precision beyond the result's: n squarings and products lose up to 64 bits.
constexpr u64 kGuardWords = 2;

// The relative rounding error of a power, 2 |n| units of the word one beyond the working precision, in units
// of the result's last word; with what the reciprocal adds.
ErrorBound rounding(const BigFloat& result, u64 working, i64 n) {
    const u32 bits = static_cast<u32>(std::bit_width(magnitude_of(n)) + 2);
    const ErrorBound power = ErrorBound::of_words(result, working, 0).shifted(bits);
    return power + ErrorBound::of_words(result, working, newton::kErrorBits);
}

class PowerFloatStep final : public Step {
  public:
    PowerFloatStep(i64 n, const StepRequest& request)
        : Step(request.precision),
          n_(n),
          plan_(SignedPowerPlan::make(request.precision + kGuardWords, request.tds)) {
        needs_ = plan_.needs();
    }
    u64 extra_bits() const override { return static_cast<u64>(std::bit_width(magnitude_of(n_))) + 4; }
    std::vector<WorkPhase> work() const override {
        const double p = static_cast<double>(plan_.p);
        const double work = 1.5 * std::bit_width(magnitude_of(n_)) * product_work(2 * p);
        return {{"power", work * kWorkSeconds, 0}};
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand> x,
                      BigFloat& result) const override {
        status.work().enter("power");
        large_power(plan_, context, status, result, *x[0].value, n_);
        check_exponent(result, kPower);
        const ErrorBound error = power_error(result, x[0], n_);
        return result.L == 0 ? error : error + rounding(result, plan_.p, n_);
    }

  private:
    const i64 n_;
    const SignedPowerPlan plan_;
};

// w^n. Memory of a negative power: [its reciprocal][temporaries]
class PowerWordStep final : public Step {
  public:
    PowerWordStep(i64 w, i64 n, const StepRequest& request)
        : Step(request.precision),
          w_(w),
          n_(n),
          working_(request.precision + kGuardWords),
          power_(PowerWordPlan::make(working_, request.tds)),
          reciprocal_(ReciprocalPlan::make(working_, request.tds)) {
        needs_ = power_.needs();
        if (n_ > 0) return;
        needs_ = needs_.maximum(reciprocal_.needs()).above(power_.result);
        needs_.result_words = reciprocal_.result;
    }
    std::vector<WorkPhase> work() const override {
        const double p = static_cast<double>(working_);
        const double work = 2 * product_work(2 * p) + (n_ < 0 ? newton::levels_work(working_) : 0);
        return {{"power", work * kWorkSeconds, 0}};
    }
    ErrorBound finish(const MultiplyContext& context, Status& status, std::span<const Operand>,
                      BigFloat& result) const override {
        status.work().enter("power");
        AlignedBufferC memory = context.scratch;
        BigFloat denominator;
        if (n_ < 0) denominator = carve<BigFloat>(memory, power_.result);
        BigFloat& power = n_ < 0 ? denominator : result;
        const MultiplyContext rest = context.with_scratch(memory);
        power.clear();
        {
            StatusSection section(status, magnitude_of(n_) == 2 ? "Squaring..." : "Powering...");
            const newton::RunMemory own(rest, power_.temporaries);
            Power_uW_uL_BigFloatR::run(power_, own.context, section.node(), power, magnitude_of(w_),
                                       magnitude_of(n_), working_, own.temporaries);
        }
        if (n_ < 0) {
            StatusSection section(status, "Inverting...");
            StatusFrame frame(section.node(), "Iterating: ");
            const newton::RunMemory own(rest, reciprocal_.temporaries);
            Reciprocal_BigFloatR::run(reciprocal_, own.context, frame.node(), result, power, working_,
                                      own.temporaries);
        }
        if (result.L == 0) return ErrorBound::none();
        if (w_ < 0 && n_ % 2 != 0) result.set_sign(false);
        check_exponent(result, kPower);
        return rounding(result, working_, n_);
    }

  private:
    const i64 w_, n_;
    const u64 working_;
    const PowerWordPlan power_;
    const ReciprocalPlan reciprocal_;
};

class PowerNode final : public VFormulaNode {
  public:
    PowerNode(const Config::Node& argument, const Place& place) : VFormulaNode(place) {
        const Config::Array& items = array_of(argument, 2, kPower, "Set must have exactly 2 terms.");
        n_ = integer_of(items[1]);
        if (n_ == 0) throw InvalidParametersException(kPowerOf, "Exponent cannot be zero.");
        of_word_ = is_integer(items[0]);
        if (of_word_) {
            w_ = integer_of(items[0]);
        } else {
            expect(items[0]);
        }
    }
    std::unique_ptr<Step> make_step(const StepRequest& request) const override {
        if (of_word_) return std::make_unique<PowerWordStep>(w_, n_, request);
        return std::make_unique<PowerFloatStep>(n_, request);
    }

  private:
    bool of_word_;
    i64 w_ = 0, n_;
};

const FunctionRegistration<PowerNode> g_registration("Power");

}  // namespace
}  // namespace kalvor::Formulas
