// Pi as an entry of the list of constants.
#pragma once

#include "constants/builtin/pi.h"
#include "constants/catalog/constant.h"

namespace kalvor {

class PiConstant final : public Constant {
  public:
    static constexpr const char* kToken = "pi";

    std::string name_short() const override { return "Pi"; }
    std::string name_long() const override { return "Pi"; }
    trel::Console::ColorLetter color() const override { return 'G'; }
    std::string algorithm_short() const override;
    std::string algorithm_long() const override;
    std::string token() const override { return kToken; }
    std::string algorithm_token() const override;
    std::vector<std::string> algorithm_tokens() const override;
    u64 max_decimal_digits() const override { return 1000000000000000; }
    void select_algorithm(const std::string& token) override;
    std::unique_ptr<ConstantPlan> plan(u64 precision_words, u64 tds) const override;

  private:
    PiAlgorithm algorithm_ = PiAlgorithm::chudnovsky;
};

}  // namespace kalvor
