#include "constants/builtin/euler_gamma.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string>
#include <utility>

#include "arith/bigfloat/combine.h"
#include "arith/multiply/product_needs.h"
#include "arith/newton/division.h"
#include "arith/newton/newton_work.h"
#include "base/console/format.h"
#include "base/status/status_scope.h"
#include "constants/bsr/brent_mcmillan.h"
#include "constants/bsr/psr_series.h"
#include "constants/builtin/gamma_c_series.h"
#include "constants/builtin/log_machin.h"

namespace kalvor {

namespace AB = BinarySplitting::BrentMcMillanAB;

namespace {

// Its formula is searched for once.
const LogMachin& logarithm_of_2() {
    static const LogMachin log(2);
    return log;
}

// The precision of A / B and of ln n, whose integer parts cancel: a word more than gamma has.
u64 working_precision(u64 p) {
    return p + 1;
}

// C / B^2 is about e^(-4n), so that much of it is not needed.
u64 precision_of_C(u64 m, u64 p) {
    const double words = 4 * std::ldexp(1.0, static_cast<int>(m)) / dd::ln2_64().high;
    const u64 small = words < static_cast<double>(p) ? static_cast<u64>(words) : p;
    return std::max<u64>(3, p - small + 2);
}

std::string label_of(GammaAlgorithm algorithm, u64 m) {
    return std::string("EulerGamma - Brent-McMillan") +
           (algorithm == GammaAlgorithm::refined ? " (refined)" : "") + ": (n = 2^" + std::to_string(m) + ")";
}

// At most pi e^(-4 2^k).
ErrorBound method_error(u64 k) {
    const double bits = 4 * std::ldexp(1.0, static_cast<int>(k)) / dd::ln2().high;
    return ErrorBound::within(PowerOfTwo{}.shifted(2 - static_cast<i64>(bits)));
}

// Working memory, one after the other:
//
//   [the sums][numbers of their fraction, of which Q^2 and Q^2 + R are kept for C][the division]
//   [Q^2][Q^2 + R][C / B^2][what C takes]
//   [ln 2][what it takes]
//
// The sum's numerator waits in the result's words.
class BrentMcMillan final : public Evaluator {
  public:
    BrentMcMillan(GammaAlgorithm algorithm, u64 k, const EvaluatorRequest& request)
        : k_(k),
          m_(algorithm == GammaAlgorithm::refined ? k - 1 : k),
          result_precision_(request.precision),
          p_(working_precision(request.precision)),
          C_precision_(algorithm == GammaAlgorithm::refined ? precision_of_C(m_, p_) : 0),
          label_(label_of(algorithm, m_)),
          series_(m_, p_),
          sum_(series_, p_, request.tds),
          division_(DivisionPlan::make(p_, request.tds)),
          number_words_(round_up_8(p_ + 6)) {
        u64 waiting = 0;  // words of Q^2 and Q^2 + R
        if (algorithm == GammaAlgorithm::refined) {
            C_.emplace(m_, EvaluatorRequest{C_precision_, request.tds});
            C_words_ = round_up_8(C_->needs().result_words);
            waiting = 2 * C_->fraction_words();
            needs_ = C_->needs().above(waiting + C_words_);
        }
        needs_.take_maximum(sum_.needs());
        needs_.take_maximum(division_.needs()
                                .maximum(product_needs(2 * (p_ + 4)))
                                .above(sum_.accumulator_words() + 3 * number_words_ + waiting));
        ln2_ = logarithm_of_2().make_evaluator({p_, request.tds});
        ln2_words_ = round_up_8(ln2_->needs().result_words + 1);
        needs_.take_maximum(ln2_->needs().above(ln2_words_));
        needs_.result_words =
            std::max(sum_.needs().result_words, std::max(number_words_, round_up_8(division_.result + 1)));
    }

    const Needs& needs() const override { return needs_; }
    std::string label() const override { return label_; }
    SeriesBlocks series_blocks() const override {
        SeriesBlocks blocks{sum_.blocks(), sum_.blocks()};
        if (C_) blocks = blocks + C_->series_blocks();
        return blocks + ln2_->series_blocks();
    }
    std::vector<WorkPhase> work() const override {
        const double sum = sum_.work();
        const double division = newton::division_work(division_.p, division_.q);
        std::vector<WorkPhase> phases = {{"series", sum * kWorkSeconds, sum},
                                         {"division", division * kWorkSeconds, division}};
        const auto add = [&phases](std::vector<WorkPhase> more) {
            for (WorkPhase& phase : more) phases.push_back(std::move(phase));
        };
        if (C_) add(C_->work());
        add(ln2_->work());
        return phases;
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label_);
        warn_of_small_parameter(status);
        BigFloat S, R;  // those of C
        fraction(context, status, result, S, R);
        ErrorBound error = ErrorBound::of_words(result, p_, kErrorBits) + method_error(k_);
        if (C_) error = error + subtract_C(context, status, result, S, R);
        error = error + subtract_logarithm(context, status, result);
        if (result.L > result_precision_ + 2) result = result.kept(context.parallel, result_precision_ + 2);
        return error + ErrorBound::of_words(result, result_precision_, 0);
    }

  private:
    // The tails of the sums and the roundings of folds and quotient.
    static constexpr u32 kErrorBits = 6;

    // What a parameter of the user's own cannot reach.
    void warn_of_small_parameter(Status& status) const {
        const double target = (DoubleDouble::from_u64(result_precision_) * dd::ln2_64()).high;
        const double limit = 4 * std::ldexp(1.0, static_cast<int>(k_));
        if (target <= limit) return;
        status.Status_ColoredLine({{'R', "Warning:"}});
        status.Status_Line("The current parameter is too small to meet the target precision.");
        status.Status_Label(8, "Target:", {'Y', Console::format_commas(static_cast<u64>(std::rint(target)))});
        status.Status_Label(8, "Limit:", {'Y', Console::format_commas(static_cast<u64>(std::rint(limit)))});
        status.Pause();
    }

    // result = A / B = T / (Q (Q^2 + R)). S and R are Q^2 and Q^2 + R, as C needs them: 1 / B = S / R.
    void fraction(const MultiplyContext& context, Status& status, BigFloat& result, BigFloat& S_of_C,
                  BigFloat& R_of_C) const {
        FloatNumbers sum;
        {
            status.work().enter("series");
            StatusSection section(status, sum_.banner());
            sum = sum_.run(context, section.node(), result.buffer);
        }
        status.work().enter("division");
        for (const std::size_t i : {AB::kT, AB::kQ, AB::kR})
            sum[i].verify(context.parallel, "a sum of Brent and McMillan");
        AlignedBufferC memory = context.scratch;
        memory.spawn_words(sum_.accumulator_words());
        BigFloat S = carve<BigFloat>(memory, number_words_), D = carve<BigFloat>(memory, number_words_),
                 N = carve<BigFloat>(memory, number_words_);
        if (C_) {
            S_of_C = carve<BigFloat>(memory, C_->fraction_words());
            R_of_C = carve<BigFloat>(memory, C_->fraction_words());
        }
        const MultiplyContext rest = context.with_scratch(memory);
        BigFloat& sums = N;  // Q^2 + R, until N is needed
        {
            StatusFrame frame(status, "Summing: ");
            S.set_sqr(p_, rest, sum[AB::kQ]);
            sums.set_add(p_, context.parallel, S, sum[AB::kR]);
            D.set_mul(p_, rest, sum[AB::kQ], sums);
        }
        if (C_) {
            S_of_C.set_BigFloat(C_precision_ + 2, context.parallel, S);
            R_of_C.set_BigFloat(C_precision_ + 2, context.parallel, sums);
        }
        N.set_BigFloat(p_ + 2, context.parallel, sum[AB::kT]);
        large_division(division_, rest, status, result, N, D);
    }

    // result -= C / B^2. S and R lie above everything that is used here.
    ErrorBound subtract_C(const MultiplyContext& context, Status& status, BigFloat& result, const BigFloat& S,
                          const BigFloat& R) const {
        AlignedBufferC memory = context.scratch;
        BigFloat S_of_C = carve<BigFloat>(memory, C_->fraction_words()),
                 R_of_C = carve<BigFloat>(memory, C_->fraction_words());
        S_of_C.set_BigFloat(C_precision_ + 2, context.parallel, S);
        R_of_C.set_BigFloat(C_precision_ + 2, context.parallel, R);
        BigFloat term = carve<BigFloat>(memory, C_words_);
        const ErrorBound error = C_->run(context.with_scratch(memory), status, S_of_C, R_of_C, term);
        result.verify(context.parallel, "A / B, which waited for C");
        StatusSection section(status, "Subtracting...");
        StatusFrame frame(section.node(), "Subtracting: ");
        return error + subtract(context.parallel, result, term);
    }

    // result -= m ln 2
    ErrorBound subtract_logarithm(const MultiplyContext& context, Status& status, BigFloat& result) const {
        AlignedBufferC memory = context.scratch;
        BigFloat ln = carve<BigFloat>(memory, ln2_words_);
        const ErrorBound error = ln2_->run(context.with_scratch(memory), status, ln);
        result.verify(context.parallel, "A / B, which waited for ln 2");
        StatusFrame frame(status, "Finishing: ");
        if (m_ == 0) return ErrorBound::none();
        ln.mul_uW(context.parallel, m_);
        return error.times_word(m_) + subtract(context.parallel, result, ln);
    }

    // Returns what the dropped words may come to.
    static ErrorBound subtract(const ParallelContext& parallel, BigFloat& result, const BigFloat& term) {
        if (result.exp > term.exp && result.L + 1 < result.buffer_size) {
            // A quotient may end above words of what is subtracted.
            const i64 room = static_cast<i64>(result.buffer_size - result.L) - 1;
            extend_down(result, std::max(term.exp, result.exp - std::min<i64>(room, 2)), "EulerGamma");
        }
        const i64 bottom = result.exp;
        combine_signed_ip(parallel, result, term, true);
        return ErrorBound::within(PowerOfTwo{bottom, 0});
    }

    using FloatNumbers = BinarySplitting::FloatRange<AB::Family>;

    const u64 k_, m_;
    const u64 result_precision_, p_, C_precision_;
    const std::string label_;
    const AB::Series series_;
    const BinarySplitting::PSR_SeriesB<AB::Family> sum_;
    const DivisionPlan division_;
    const u64 number_words_;
    std::optional<GammaCTerm> C_;  // of the refined method
    std::unique_ptr<Evaluator> ln2_;
    u64 C_words_ = 0, ln2_words_ = 0;
    Needs needs_;
};

}  // namespace

u64 EulerGamma::parameter_for(u64 precision_words) {
    const DoubleDouble needed =
        DoubleDouble::from_u64(precision_words) * dd::ln2_64() * DoubleDouble(0.25) + DoubleDouble(10.0);
    u64 k = 2;
    while (DoubleDouble::from_u64(u64(1) << k) < needed) k++;
    return k;
}

std::unique_ptr<Evaluator> EulerGamma::make_evaluator(const EvaluatorRequest& request) const {
    const u64 k = k_.value_or(parameter_for(request.precision));
    return std::make_unique<BrentMcMillan>(algorithm_, k, request);
}

}  // namespace kalvor
