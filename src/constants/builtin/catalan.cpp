#include "constants/builtin/catalan.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/builtin/built_in_value.h"
#include "constants/builtin/huvent_series.h"

namespace kalvor {

Catalan::Catalan(CatalanAlgorithm algorithm, i64 power)
    : algorithm_(algorithm), power_(static_cast<int>(power)) {
    if (power != 1 && power != -1) throw InvalidParametersException("Catalan", "Power must be 1 or -1.");
}

std::unique_ptr<Evaluator> Catalan::make_evaluator(const EvaluatorRequest& request) const {
    if (algorithm_ == CatalanAlgorithm::huvent) {
        using namespace BinarySplitting;
        return labelled(make_series_evaluator<BinaryBBP::Family>(
                            std::make_shared<const HuventSeries>(request.precision),
                            {1334025, 469137217, 512265600, power_, false}, request, SeriesMemory::full),
                        "Catalan - Huvent (2006):");
    }
    const BuiltInSeries& row = catalan_series()[static_cast<std::size_t>(algorithm_)];
    // R of Lupas' series is hardly shorter than Q.
    using BinarySplitting::SeriesMemory;
    const bool long_R = algorithm_ == CatalanAlgorithm::lupas;
    return BuiltInValue(row, row.coefficient_P, row.coefficient_Q, row.coefficient_D, power_,
                        long_R ? SeriesMemory::shorter : SeriesMemory::full,
                        "Catalan - " + std::string(row.name) + ":")
        .make_evaluator(request);
}

}  // namespace kalvor
