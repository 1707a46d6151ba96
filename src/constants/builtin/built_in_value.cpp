#include "constants/builtin/built_in_value.h"

#include <utility>

#include "constants/builtin/row_series.h"

namespace kalvor {
namespace {

using BinarySplitting::SeriesMemory;

// A value that says what it is.
class Labelled final : public Evaluator {
  public:
    Labelled(std::unique_ptr<Evaluator> value, std::string label)
        : value_(std::move(value)), label_(std::move(label)) {}

    const Needs& needs() const override { return value_->needs(); }
    std::vector<WorkPhase> work() const override { return value_->work(); }
    SeriesBlocks series_blocks() const override { return value_->series_blocks(); }
    u64 plan_bytes() const override { return value_->plan_bytes(); }
    std::string label() const override { return label_; }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label_);
        return value_->run(context, status, result);
    }

  private:
    const std::unique_ptr<Evaluator> value_;
    const std::string label_;
};

}  // namespace

std::unique_ptr<Evaluator> labelled(std::unique_ptr<Evaluator> value, std::string label) {
    return std::make_unique<Labelled>(std::move(value), std::move(label));
}

BuiltInValue::BuiltInValue(const BuiltInSeries& row, i64 coefficient_P, i64 coefficient_Q, i64 coefficient_D,
                           int power, SeriesMemory memory, std::string label)
    : row_(row),
      // The first term of a series that alternates is negative.
      coefficients_{coefficient_P, coefficient_Q, static_cast<Word>(coefficient_D), power, row.alternating},
      memory_(memory),
      label_(std::move(label)) {}

BuiltInValue::BuiltInValue(const BuiltInSeries& row, int power, std::string label)
    : BuiltInValue(row, row.coefficient_P, row.coefficient_Q, row.coefficient_D, power, SeriesMemory::full,
                   std::move(label)) {}

std::unique_ptr<Evaluator> BuiltInValue::make_evaluator(const EvaluatorRequest& request) const {
    auto value = BinarySplitting::make_series_evaluator<BinarySplitting::CommonP2B3::Family>(
        std::make_shared<const RowSeries>(row_, request.precision), coefficients_, request, memory_);
    if (label_.empty()) return value;
    return labelled(std::move(value), label_);
}

}  // namespace kalvor
