// One run in RAM mode: memory, constant, conversion, digits, report.
#pragma once

#include <memory>
#include <string>

#include "app/record/run_record.h"
#include "app/session/custom_settings.h"
#include "app/session/event_log.h"
#include "app/session/memory_plan.h"
#include "base/clock/timer.h"
#include "base/status/status.h"

namespace kalvor {

// Used for one run. Plans everything when it is made, so that a size which no algorithm reaches is refused
// (LimitExceededException) before anything is allocated.
class NormalFloatSessionB {
  public:
    // Reports to a console of its own.
    explicit NormalFloatSessionB(const CustomSettings& settings);
    // settings and status outlive the session.
    NormalFloatSessionB(const CustomSettings& settings, Status& status);
    ~NormalFloatSessionB();

    MemoryPlan estimate_memory() const { return plan_.memory; }
    // By the model, at a default rate; 0 when nothing is known of the constant.
    double expected_seconds() const;
    // Runs to the end and returns the record; the digit files are then complete.
    const RunRecord& run();

  private:
    struct Regions;

    void print_header();
    void allocate(Regions& regions);
    void compute(const trel::MultiplyContext& context, BigFloat& value);
    void write_digits(const trel::MultiplyContext& context, const BigFloat& value);
    void finish_record();
    std::string file_base(bool hexadecimal) const;

    const CustomSettings& settings_;
    RunPlan plan_;
    trel::WorkMeter work_;
    std::string folder_;  // of the digit files, with its final "/"
    std::unique_ptr<trel::BasicParallelizer> framework_;
    std::unique_ptr<Status> own_status_;
    Status& status_;
    trel::WallTimer wall_;  // since the start of the run
    trel::ProcessTimer compute_timer_;
    trel::TimeSpan compute_;  // from "Begin Computation:" to the end of the radix conversion
    EventLog log_;
    RunRecord record_;
};

}  // namespace kalvor
