// A run whose numbers are all in memory.
#pragma once

#include <memory>
#include <optional>

#include "app/session/memory_plan.h"
#include "app/session/normal_float_session.h"
#include "base/names/names.h"
#include "constants/evaluator/error_bound.h"

namespace kalvor {

// Plans everything when it is made, so that a size which no algorithm reaches is refused
// (LimitExceededException) before anything is allocated.
class NormalFloatSessionB : public NormalFloatSession {
  public:
    // What NormalFloatSession says of its parameters holds.
    NormalFloatSessionB(ComputeSettings settings, const AuthorizationToken& token, Status& status,
                        Terminal* terminal = nullptr, RunEnvironment environment = {});
    ~NormalFloatSessionB() override;

    MemoryPlan estimate_memory() const override { return plan_.memory; }

  protected:
    void check_memory() override;
    void allocate() override;
    void compute() override;
    BbpCheck check_last_digits(const BbpRequest& request) override;
    void convert() override;
    DigitResults write_digits(const DigitRequest& request, OutputFiles& files) override;
    void release() noexcept override;
    std::string mode() const override { return "Ram Only"; }
    std::vector<WorkPhase> work() const override;
    void add_checks(RunChecks& checks) const override;

  private:
    struct Memory;

    const RunPlan plan_;
    ErrorBound error_;                    // of the value
    std::optional<u64> certain_digits_;   // when these are not all
    std::unique_ptr<Memory> memory_;      // while it runs
    std::unique_ptr<DigitStage> digits_;  // from the conversion on
};

}  // namespace kalvor
