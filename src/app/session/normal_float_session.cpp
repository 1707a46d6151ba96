#include "app/session/normal_float_session.h"

#include <algorithm>

#include "app/record/computation_diagnostics.h"
#include "app/record/computation_output.h"
#include "app/record/run_report.h"
#include "app/session/run_header.h"
#include "app/session/run_work.h"
#include "app/session/start_check.h"
#include "app/settings/compute_settings_object.h"
#include "app/validation/validation_file.h"
#include "base/clock/date_text.h"
#include "base/clock/tsc_frequency.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/progress_ticker.h"
#include "base/status/status_scope.h"
#include "os/cpu.h"
#include "os/path_kind.h"
#include "os/process.h"
#include "platform/fileio/output_folder.h"
#include "platform/sysinfo/system_summary.h"

namespace kalvor {

namespace {

constexpr double kTickSeconds = 1.0;
constexpr u64 kLabelWidth = 22;

}  // namespace

NormalFloatSession::NormalFloatSession(const char* constructor, ComputeSettings settings,
                                       const AuthorizationToken& token, Status& status, Terminal* terminal,
                                       RunEnvironment environment)
    : settings_(std::move(settings)),
      token_(token),
      status_(status),
      terminal_(terminal),
      environment_(std::move(environment)) {
    token_.require(constructor, settings_.size.decimal_digits);
}

NormalFloatSession::~NormalFloatSession() = default;

double NormalFloatSession::expected_seconds() const {
    return kalvor::expected_seconds(work());
}

void NormalFloatSession::report_warnings() {
    if (framework_) framework_->warnings().report(status_);
    monitor_.warnings.report(status_);
    for (const std::string& operation : monitor_.corrections.news())
        log("Computation error detected and corrected: " + operation);
}

void NormalFloatSession::end_phase() {
    report_warnings();
    parallel().poll();
}

OutputOptions NormalFloatSession::output_options() {
    return {settings_.overwrite, wants_minimum_space(settings_.minimum_space, expected_seconds()), terminal_,
            &files_, environment_.calls};
}

DigitRequest NormalFloatSession::digit_request() const {
    return {settings_.enable_hex,
            settings_.output_enable,
            settings_.output_verify,
            settings_.constant->name_short(),
            reference_folder_,
            environment_.calls,
            record_.bbp_mismatch.has_value()};
}

void NormalFloatSession::set(u64 seed) {
    if (seed_.value_or(seed) != seed) {
        throw InvalidParametersException("NormalFloatSession::set()", "Cannot set to different seed.");
    }
    seed_ = seed;
}

void NormalFloatSession::log(std::string_view event) {
    log_.add(wall_.seconds(), event);
    if (const auto failure = log_.take_file_failure()) status_.Warning(*failure);
}

void NormalFloatSession::begin_record() {
    const Constant& constant = *settings_.constant;
    record_.start_date = date_time_text();
    record_.constant = constant.name_long();
    record_.constant_file = constant.name_short();
    record_.constant_color = constant.color();
    record_.algorithm = constant.algorithm_long();
    record_.decimal_digits = settings_.size.decimal_digits;
    record_.hexadecimal_digits = settings_.enable_hex ? settings_.size.hexadecimal_digits : 0;
    record_.mode = mode();
    record_.threading = settings_.parallelism.summary();
    const MemoryPlan memory = estimate_memory();
    record_.working_memory = memory.working_memory;
    record_.total_memory = memory.logical();
    record_.configuration = save_compute_settings(settings_)->to_acfg();
    record_.processors = std::max<u64>(os::active_processor_count(), 1);
    record_.debugger = os::is_debugger_present();
    record_.colors = environment_.colors;
    record_.user = environment_.user;
}

void NormalFloatSession::check_value() {
    const BbpRequest request = bbp_request(settings_, settings_.size);
    if (request.digits == 0) return;
    bbp_check_ = check_last_digits(request);
    log("BBP Check: " + bbp_check_->text());
    if (bbp_check_->mismatch != 0) {
        record_.bbp_mismatch = bbp_check_->mismatch;
    } else {
        record_.bbp_good_through = bbp_check_->good_through;
    }
    end_phase();
}

void NormalFloatSession::finish_checks(const DigitResults& digits) {
    add_checks(record_.checks);
    record_.spot_check = {digits.spot_check.position, digits.spot_check.last_good};
    // Unasked it says nothing of digits that are right.
    if (bbp_check_ && (settings_.bbp_digits != 0 || bbp_check_->mismatch != 0)) report(status_, *bbp_check_);
    const bool written = settings_.output_enable && !output_->written().empty();
    record_.checks.conversion = true;
    record_.checks.files = settings_.output_verify && written;
    record_.checks.products = monitor_.checks.products;
    record_.checks.numbers = monitor_.checks.numbers;
    record_.checks.errors = monitor_.checks.corrected;
    if (record_.checks.errors != 0)
        log("Computation Errors Corrected: " + std::to_string(record_.checks.errors));
}

void NormalFloatSession::finish_record() {
    const os::LocalTime now = os::local_time(os::unix_time());
    record_.end_date = date_time_text(now);
    record_.end_time = now;
    record_.compute_seconds = compute_.wall;
    record_.wall_seconds = wall_.seconds();
    record_.compute_time = compute_;
    record_.utilization = cpu_utilization(compute_, record_.processors);
    const ClockReading end = ClockReading::now();
    record_.event_log = log_.text();
    for (const auto& file : output_->written()) {
        record_.files.push_back({os::absolute_path(file.path), file.bytes, file.files});
    }
    record_.timer_check = check_timers(start_, end, record_.clocks.performance_frequency,
                                       record_.clocks.tsc_by_performance_counter);
}

void NormalFloatSession::require_checks() const {
    constexpr const char* kFunction = "NormalFloatSession::run()";
    if (record_.spot_check.position < 0) {
        throw AlgorithmFailedException(
            kFunction, "Spot check failed at: " +
                           Console::format_commas(static_cast<u64>(-record_.spot_check.position)));
    }
    if (record_.bbp_mismatch) {
        throw AlgorithmFailedException(
            kFunction, "BBP check failed at: " + Console::format_commas(*record_.bbp_mismatch));
    }
}

std::shared_ptr<LateLabel> NormalFloatSession::print_base_frequency() {
    std::shared_ptr<LateLabel> late = terminal_ != nullptr ? terminal_->late_label() : nullptr;
    if (late == nullptr) {
        const SummaryLine line = base_frequency_line(measure_tsc_frequency());
        status_.Status_Label(line.width, line.name, line.value);
        return late;
    }
    SharedTscRates::of_this_machine().when_there([late](const TscRates* rates) {
        if (rates == nullptr || rates->failure != nullptr) {
            late->drop();
        } else {
            const SummaryLine line = base_frequency_line(rates->by_performance_counter);
            late->arrive(line.width, line.name, line.value);
        }
        // Now, and not when hours have been computed.
        if (rates != nullptr && rates->failure != nullptr) rates->require();
    });
    return late;
}

const RunRecord& NormalFloatSession::run() {
    const auto end = [&] {
        release();
        output_.reset();
    };
    try {
        run_phases();
    } catch (...) {
        end();
        report_warnings();
        throw;
    }
    // It may wait for a key, but not with the memory of the run.
    end();
    record_.validation_file =
        write_validation_file(record_, {status_, terminal_, &files_, environment_.calls});
    return record_;
}

void NormalFloatSession::run_phases() {
    wall_.restart();
    start_ = ClockReading::now();
    begin_record();
    // A run that is refused leaves no folder: it is kept when the digit files stand in it.
    FileIO::PreparedFolder folder(settings_.path, *environment_.calls,
                                  FileIO::ask_again_through(status_, terminal_));
    folder_ = folder.prefix();
    record_.folder = folder_;
    record_.system = gather_unclocked_record(environment_.include_pii);
    check_memory();
    // Obstacles to the digit files are reported now; the files are made when nothing else can end the run
    // before it computes.
    OutputFiles::check(folder_, digit_file_requests(settings_), output_options());
    // Not before: a run that is refused leaves no log.
    if (!settings_.log_path.empty()) log_.open(settings_.log_path, *environment_.calls);
    // Behind it everything waits on its way to the screen, and not to be done. Not longer than this run.
    struct Late {
        std::shared_ptr<LateLabel> line;
        ~Late() {
            if (line) line->wait();
        }
    } late;
    print_run_header(settings_, record_, mode(), status_, [&] { late.line = print_base_frequency(); });
    framework_ = settings_.parallelism.framework->make_framework();
    // Its first thread takes half a millisecond to start, so it starts before anything waits for it.
    if (parallel().tds > 1)
        fork_join(
            parallel(), [] {}, [] {});
    WorkMeter meter(work());
    const StatusWork metered(status_, meter.read().total > 0 ? &meter : nullptr);
    std::optional<ProgressTicker> ticker;
    if (terminal_ != nullptr) ticker.emplace(kTickSeconds, [this] { terminal_->tick(); });
    end_phase();
    allocate();
    output_ =
        std::make_unique<OutputFiles>(folder_, digit_file_requests(settings_), output_options(), status_);
    folder.keep();
    end_phase();

    status_.Status_Label(kLabelWidth, "Begin Computation:", {'Y', date_time_text()});
    status_.Status_Line("");
    log("Begin Computation");
    ProcessTimer timer;
    token_.require("NormalFloatSession::run()", settings_.size.decimal_digits);
    compute();
    log("End Computation");
    end_phase();
    compute_ = timer.elapsed();
    check_value();
    timer.restart();
    convert();
    compute_ += timer.elapsed();
    end_phase();

    // Measured when the run began; a short one is here first. Nothing is asked of the clocks behind this.
    add_clocks(record_.system);
    record_.clocks = reference_clocks();
    DigitResults digits = write_digits(digit_request(), *output_);
    finish_checks(digits);
    record_.hexadecimal = std::move(digits.hexadecimal);
    record_.decimal = std::move(digits.decimal);
    log(counts_of_checks(record_.checks));
    log("Digits Written");
    finish_record();
    report_warnings();
    print_run_report(record_, status_);
    status_.Data_(ComputationOutput(record_));
    status_.Data_(ComputationDiagnostics(record_));
    require_checks();
}

}  // namespace kalvor
