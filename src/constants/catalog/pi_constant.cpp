#include "constants/catalog/pi_constant.h"

#include "base/errors/exceptions.h"

namespace kalvor {
namespace {

// In the order of PiAlgorithm; the row's number is a token too.
struct Row {
    const char *token, *short_name, *long_name;
};
constexpr Row kRows[] = {
    {"chudnovsky", "Chudnovsky", "Chudnovsky (1988)"},
    {"ramanujan", "Ramanujan", "Ramanujan (1910)"},
    {"chudnovsky-reduced", "Chudnovsky (reduced)", "Chudnovsky (1988) (reduced memory)"},
    {"ramanujan-reduced", "Ramanujan (reduced)", "Ramanujan (1910) (reduced memory)"},
};

const Row& row(PiAlgorithm algorithm) {
    return kRows[static_cast<int>(algorithm)];
}

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

std::string PiConstant::algorithm_short() const {
    return row(algorithm_).short_name;
}
std::string PiConstant::algorithm_long() const {
    return row(algorithm_).long_name;
}

std::string PiConstant::algorithm_token() const {
    return row(algorithm_).token;
}

std::vector<std::string> PiConstant::algorithm_tokens() const {
    std::vector<std::string> tokens;
    for (const Row& each : kRows) tokens.push_back(each.token);
    return tokens;
}

void PiConstant::select_algorithm(const std::string& token) {
    for (int i = 0; i < 4; i++) {
        if (token == kRows[i].token || token == std::to_string(i)) {
            algorithm_ = static_cast<PiAlgorithm>(i);
            return;
        }
    }
    throw trel::InvalidParametersException("PiConstant::select_algorithm()", "Invalid Algorithm: " + token);
}

std::unique_ptr<ConstantPlan> PiConstant::plan(u64 precision_words, u64 tds) const {
    return std::make_unique<Plan>(algorithm_, precision_words, tds);
}

}  // namespace kalvor
