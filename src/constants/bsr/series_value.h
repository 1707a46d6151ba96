// The value of a series,
//
//   x = ((CoefficientP S + CoefficientQ) / CoefficientD) ^ power,
//
// from the fraction S = P / Q that binary splitting yields: one division at the end, for every family.
#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arith/newton/division.h"
#include "base/names/names.h"
#include "base/status/status_scope.h"
#include "constants/bsr/psr_series.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor::BinarySplitting {

// CoefficientP and CoefficientD are not 0, and all of them are words with a sign.
struct Coefficients {
    i128 P, Q;
    Word D;
    int power;          // 1 or -1
    bool negative_sum;  // the first term is negative: S = -P/Q
};

// What a sum and its finishing step are announced with, where it is not the usual.
struct SeriesTexts {
    const char* banner = nullptr;  // in place of the family's
    const char* numerator = "Summing: ";
    const char* denominator = nullptr;  // none: as the numerator
};

// The finishing step alone.
class SeriesValuePlan {
  public:
    SeriesValuePlan(u64 precision_words, const Coefficients& coefficients, u64 tds,
                    DivisionTransforms transforms = DivisionTransforms::kept, const SeriesTexts& texts = {});

    const Needs& needs() const { return needs_; }
    double work() const;
    // x to the plan's precision, with what may be wrong with it. P and Q are used up; P may stand in x's
    // buffer, and Q's holds precision + 4 words. context.scratch holds needs(). log_scale: see Series.
    // ArithmeticException "Divide by zero." where 1 / x is zero.
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& P, BigFloat& Q, BigFloat& x,
                   std::optional<double> log_scale = {}) const;

  private:
    // The numerator N, and the largest that it is a sum of.
    PowerOfTwo numerator(const ParallelContext& parallel, StatusIteration& progress, BigFloat& P, BigFloat& Q,
                         BigFloat& N, std::optional<double> log_scale) const;

    u64 precision_;
    Coefficients coefficients_;
    SeriesTexts texts_;
    DivisionPlan division_;
    u64 numerator_words_;
    Needs needs_;
};

// The tail of a sum, its roundings and those of the value are less than 2^6 units of the precision's last
// word: the tail is less than one, the others lie in the guard words. What cancels in the numerator comes on
// top.
inline constexpr u32 kValueErrorBits = 6;

// How much memory the sum of a series takes: blocks of up to the precision and a division that keeps a
// transform; blocks shorter by a sixteenth, where three numbers are as long as the precision; or blocks half
// as large and a division that makes the transform twice.
enum class SeriesMemory { full, shorter, reduced };

inline u64 longest_block(SeriesMemory memory, u64 precision) {
    if (memory == SeriesMemory::full) return precision;
    return memory == SeriesMemory::shorter ? precision - precision / 16 : precision / 2;
}

// Sum and finishing step. Working memory:
//
//   [the sum's accumulator: Q][the rest of the sum, then that of the finishing step]
//
// The sum's P waits in x's buffer until the division needs it. P and Q are the sum's numbers 0 and 1.
template <SeriesFamily F>
class SeriesEvaluator final : public Evaluator {
  public:
    // The series' precision is that of the request.
    SeriesEvaluator(std::shared_ptr<const typename F::Series> series, const Coefficients& coefficients,
                    const EvaluatorRequest& request, SeriesMemory memory, const SeriesTexts& texts = {})
        : series_(std::move(series)),
          value_(series_->precision(), coefficients, request.tds,
                 memory == SeriesMemory::reduced ? DivisionTransforms::none : DivisionTransforms::kept,
                 texts),
          // Q is no longer than the numerator.
          sum_(*series_, longest_block(memory, series_->precision()), request.tds,
               std::max(request.free_bytes, value_.needs().above(series_->precision() + 6).bytes)) {
        needs_ = sum_.needs().maximum(value_.needs().above(sum_.accumulator_words()));
        needs_.result_words = std::max(value_.needs().result_words, sum_.needs().result_words);
        banner_ = texts.banner ? sum_.banner(texts.banner) : sum_.banner();
    }

    const Needs& needs() const override { return needs_; }
    SeriesBlocks series_blocks() const override {
        // Exact or not, the results of a block are compared with their residues.
        return {sum_.blocks(), sum_.blocks()};
    }
    // The phases "series" and "division".
    std::vector<WorkPhase> work() const override {
        const double sum = sum_.work(), division = value_.work();
        return {{"series", sum * kWorkSeconds, sum}, {"division", division * kWorkSeconds, division}};
    }

    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& x) const override {
        FloatRange<F> sum;
        {
            status.work().enter("series");
            StatusSection section(status, banner_);
            sum = sum_.run(context, section.node(), x.buffer);
        }
        AlignedBufferC memory = context.scratch;
        memory.spawn_words(sum_.accumulator_words());
        return value_.run(context.with_scratch(memory), status, sum[0], sum[1], x, series_->log_scale());
    }

  private:
    const std::shared_ptr<const typename F::Series> series_;
    const SeriesValuePlan value_;
    const PSR_SeriesB<F> sum_;
    Needs needs_;
    std::string banner_;
};

// With reduced memory where the full one would be over the request's budget and that is less.
template <SeriesFamily F>
std::unique_ptr<Evaluator> make_series_evaluator(const std::shared_ptr<const typename F::Series>& series,
                                                 const Coefficients& coefficients,
                                                 const EvaluatorRequest& request, SeriesMemory memory,
                                                 const SeriesTexts& texts = {}) {
    auto evaluator = std::make_unique<SeriesEvaluator<F>>(series, coefficients, request, memory, texts);
    if (memory != SeriesMemory::reduced && evaluator->needs().bytes > request.memory_budget) {
        auto reduced =
            std::make_unique<SeriesEvaluator<F>>(series, coefficients, request, SeriesMemory::reduced, texts);
        if (reduced->needs().bytes < evaluator->needs().bytes) return reduced;
    }
    return evaluator;
}

}  // namespace kalvor::BinarySplitting
