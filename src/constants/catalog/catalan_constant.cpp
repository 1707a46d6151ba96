#include "constants/catalog/catalan_constant.h"

#include "constants/builtin/catalan.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

const ConstantRegistration<CatalanConstant> g_registration;

}  // namespace

const CatalogRow& CatalanConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of CatalanAlgorithm.
std::vector<AlgorithmRow> CatalanConstant::algorithms() const {
    return {
        {0, "0", "Pilehrood (short)", "Pilehrood (2010-short)", "(fastest)", "", "pilehrood-short"},
        {1, "1", "Guillera (2019)", "Guillera (2019)", "(1.3x slower)"},
        {2, "2", "Pilehrood (long)", "Pilehrood (2010-long)", "(1.5x slower)", "", "pilehrood-long"},
        {3, "3", "Guillera (2008)", "Guillera (2008)", "(1.8x slower)"},
        {4, "4", "Lupas", "Lupas (2000)", "(3.8x slower)"},
        {5, "5", "Huvent", "Huvent (2006)", "(4.3x slower)"},
    };
}

std::unique_ptr<Evaluator> CatalanConstant::make_evaluator(const EvaluatorRequest& request) const {
    return Catalan(static_cast<CatalanAlgorithm>(algorithm())).make_evaluator(request);
}

}  // namespace kalvor
