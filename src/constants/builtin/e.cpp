#include "constants/builtin/e.h"

#include "base/errors/exceptions.h"
#include "constants/bsr/e_taylor.h"
#include "constants/bsr/series_value.h"

namespace kalvor {
namespace {

const char kRun[] = "e_Taylor_BigFloatR()";

// The series' value, and 2 more by exp(1).
class EValue final : public Evaluator {
  public:
    EValue(EAlgorithm algorithm, int power, const EvaluatorRequest& request)
        : plain_(algorithm == EAlgorithm::exp_1),
          series_(BinarySplitting::make_series_evaluator<BinarySplitting::Hyperdescent::Family>(
              std::make_shared<const BinarySplitting::ETaylor>(!plain_, request.precision),
              // The alternating series has the sum 1/e.
              {1, 0, 1, plain_ ? 1 : -power, false}, request, BinarySplitting::SeriesMemory::full)),
          needs_(series_->needs()) {
        // A word for the carry of the sum.
        if (plain_) needs_.result_words++;
    }

    const Needs& needs() const override { return needs_; }
    std::vector<WorkPhase> work() const override { return series_->work(); }
    SeriesBlocks series_blocks() const override { return series_->series_blocks(); }
    std::string label() const override { return plain_ ? "e - exp(1)" : "e - exp(-1):"; }
    ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        status.Status_Line(label());
        const ErrorBound error = series_->run(context, status, result);
        if (plain_) result.add_ip(2, 0);
        return error;
    }

  private:
    const bool plain_;
    const std::unique_ptr<Evaluator> series_;
    Needs needs_;
};

}  // namespace

E::E(EAlgorithm algorithm, i64 power) : algorithm_(algorithm), power_(power == -1 ? -1 : 1) {
    if (power != 1 && power != -1) throw InvalidParametersException(kRun, "Power must be 1 or -1.");
    if (algorithm == EAlgorithm::exp_1 && power == -1) {
        throw InvalidParametersException(kRun, "Inversion not supported for non-alternating series.");
    }
}

std::unique_ptr<Evaluator> E::make_evaluator(const EvaluatorRequest& request) const {
    return std::make_unique<EValue>(algorithm_, power_, request);
}

}  // namespace kalvor
