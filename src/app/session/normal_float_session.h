// One run of a constant: what every mode has in common.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/record/run_record.h"
#include "app/session/authorization_token.h"
#include "app/session/bbp_check.h"
#include "app/session/digit_stage.h"
#include "app/session/event_log.h"
#include "app/session/memory_plan.h"
#include "app/settings/compute_settings.h"
#include "app/validation/user_name.h"
#include "base/clock/timer.h"
#include "base/clock/timer_check.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "base/status/terminal.h"
#include "base/status/work_meter.h"
#include "digits/output/file_ledger.h"
#include "digits/output/output_files.h"
#include "os/memory_status.h"
#include "platform/fileio/file_calls.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor {

// What a run asks for outside of its settings.
struct RunEnvironment {
    // The machine's memory when the run begins. The one call that a run makes besides those of files, so it
    // has no struct of its own.
    std::function<os::MemoryStatus()> memory_status = [] { return os::memory_status(); };
    bool include_pii = false;        // whether its record may name the machine
    bool colors = false;             // whether the user has them
    std::string user = kNoUserFile;  // user_line()
    // For the digit files; they outlive the run.
    const FileIO::FileCalls* calls = &FileIO::FileCalls::of_this_machine();
};

// Used for one run. A mode is a class over it, which says where the numbers live; the order of a run, its
// reports and its files are decided here.
class NormalFloatSession {
  public:
    virtual ~NormalFloatSession();
    NormalFloatSession(const NormalFloatSession&) = delete;
    NormalFloatSession& operator=(const NormalFloatSession&) = delete;

    // Runs to the end and returns the record; the digit files are then complete. Throws RunStopped when it
    // was asked to stop. When an exception leaves, memory and files have been given back.
    const RunRecord& run();
    // What it takes from the machine.
    virtual MemoryPlan estimate_memory() const = 0;
    // By the model, at a default rate; 0 when nothing is known of the constant.
    double expected_seconds() const;

    // Any thread.
    void request_stop() noexcept { monitor_.stop.request(); }
    // Whatever carries the run out may ask it to stop.
    RunMonitor& monitor() noexcept { return monitor_; }
    const FileLedger& files() const { return files_; }

    // The session's random seed: fixed once. Throws InvalidParametersException "Cannot set to different
    // seed.". In memory nothing uses it.
    void set(u64 seed);

    // Where known digits are looked for instead of the program's folder; with its final separator.
    void set_reference_folder(std::string folder) { reference_folder_ = std::move(folder); }

  protected:
    // Throws InvalidParametersException at `constructor` for a token that is not valid or a size beyond its
    // limit. token, status and terminal outlive the session; the terminal may be missing.
    NormalFloatSession(const char* constructor, ComputeSettings settings, const AuthorizationToken& token,
                       Status& status, Terminal* terminal, RunEnvironment environment);

    // The phases of a run, in this order.
    virtual void check_memory() = 0;
    virtual void allocate() = 0;
    virtual void compute() = 0;
    // Only where request.digits is not 0.
    virtual BbpCheck check_last_digits(const BbpRequest& request) = 0;
    virtual void convert() = 0;
    virtual DigitResults write_digits(const DigitRequest& request, OutputFiles& files) = 0;
    // Gives back the memory, also when a phase has failed.
    virtual void release() noexcept = 0;

    virtual std::string mode() const = 0;  // for the header
    virtual std::vector<WorkPhase> work() const = 0;
    virtual void add_checks(RunChecks& checks) const = 0;

    const ComputeSettings& settings() const { return settings_; }
    const RunEnvironment& environment() const { return environment_; }
    Status& status() { return status_; }
    ParallelContext parallel() {
        return {framework_.get(), settings_.parallelism.task_decomposition, &monitor_};
    }
    // Reports what the work has warned of so far.
    void report_warnings();
    void log(std::string_view event);

  private:
    void run_phases();
    void begin_record();
    // The line of the header that takes a moment to measure: at once, or late where the terminal can.
    std::shared_ptr<LateLabel> print_base_frequency();
    // The value against digits that are computed another way. A difference is reported at the end of the run.
    void check_value();
    void finish_checks(const DigitResults& digits);
    void finish_record();
    // Throws AlgorithmFailedException for digits that were compared and differ.
    void require_checks() const;
    // Between two phases: their warnings are reported, and a stop takes effect.
    void end_phase();
    DigitRequest digit_request() const;
    OutputOptions output_options();

    const ComputeSettings settings_;
    const AuthorizationToken& token_;
    Status& status_;
    Terminal* const terminal_;
    const RunEnvironment environment_;
    RunMonitor monitor_;
    FileLedger files_;
    std::optional<u64> seed_;
    std::optional<std::string> reference_folder_;
    std::string folder_;                   // of the files, with its final "/"
    std::unique_ptr<OutputFiles> output_;  // from before the computation
    std::unique_ptr<BasicParallelizer> framework_;
    WallTimer wall_;  // since the start of the run
    ClockReading start_;
    TimeSpan compute_;  // of the computation and the radix conversion, without the checks of their results
    std::optional<BbpCheck> bbp_check_;
    EventLog log_;
    RunRecord record_;
};

}  // namespace kalvor
