// The value of a built-in series, with the coefficients of its row or others.
#pragma once

#include <memory>
#include <string>

#include "base/names/names.h"
#include "constants/bsr/series_value.h"
#include "constants/builtin/built_in_series.h"
#include "constants/evaluator/evaluator.h"

namespace kalvor {

// An evaluator whose run begins by saying what it is.
std::unique_ptr<Evaluator> labelled(std::unique_ptr<Evaluator> value, std::string label);

// ((P S + Q) / D)^power. The row outlives it and its evaluators. label: what a run announces itself with, if
// with anything.
class BuiltInValue final : public EvaluatorFactory {
  public:
    BuiltInValue(const BuiltInSeries& row, i64 coefficient_P, i64 coefficient_Q, i64 coefficient_D, int power,
                 BinarySplitting::SeriesMemory memory = BinarySplitting::SeriesMemory::full,
                 std::string label = {});
    // With the row's coefficients.
    BuiltInValue(const BuiltInSeries& row, int power, std::string label);

    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override;

  private:
    const BuiltInSeries& row_;
    const BinarySplitting::Coefficients coefficients_;
    const BinarySplitting::SeriesMemory memory_;
    const std::string label_;
};

}  // namespace kalvor
