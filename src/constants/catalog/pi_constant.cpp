#include "constants/catalog/pi_constant.h"

#include "constants/builtin/pi.h"
#include "constants/catalog/catalog.h"

namespace kalvor {
namespace {

class Plan final : public ConstantPlan {
  public:
    Plan(PiAlgorithm algorithm, u64 precision_words, u64 tds) : plan_(algorithm, 1, precision_words, tds) {}
    u64 result_words() const override { return plan_.result_words(); }
    u64 working_bytes() const override { return plan_.working_bytes(); }
    u64 max_product_words() const override { return plan_.max_product_words(); }
    std::vector<trel::WorkPhase> work() const override { return plan_.work(); }
    u64 series_blocks() const override { return plan_.series_blocks(); }
    u64 series_blocks_checked() const override { return plan_.series_blocks_checked(); }
    std::string label() const override { return plan_.label(); }
    void run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
        Pi_Series_BigFloatR::run(plan_, context, status, result);
    }

  private:
    PiPlan plan_;
};

const ConstantRegistration<PiConstant> g_registration;

}  // namespace

const CatalogRow& PiConstant::row() const {
    return *catalog().find(kToken);
}

// Their numbers are those of PiAlgorithm.
std::vector<AlgorithmRow> PiConstant::algorithms() const {
    return {
        {0, "chudnovsky", "Chudnovsky", "Chudnovsky (1988)", "(fastest)"},
        {1, "ramanujan", "Ramanujan", "Ramanujan (1910)", "(~40% slower)"},
        {2, "chudnovsky-reduced", "Chudnovsky (reduced)", "Chudnovsky (1988) (reduced memory)",
         "(reduced memory)"},
        {3, "ramanujan-reduced", "Ramanujan (reduced)", "Ramanujan (1910) (reduced memory)",
         "(reduced memory)"},
    };
}

std::vector<std::string> PiConstant::algorithm_explanation() const {
    return {"    Reduced memory algorithms use alternate parameters that require less",
            "    memory at the cost of decreased performance."};
}

std::unique_ptr<ConstantPlan> PiConstant::plan(u64 precision_words, u64 tds) const {
    return std::make_unique<Plan>(static_cast<PiAlgorithm>(algorithm()), precision_words, tds);
}

}  // namespace kalvor
