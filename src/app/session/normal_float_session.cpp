#include "app/session/normal_float_session.h"

#include "app/record/run_report.h"
#include "app/session/run_header.h"
#include "app/session/run_work.h"
#include "base/clock/date_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/progress_ticker.h"
#include "base/status/status_scope.h"
#include "os/path_kind.h"
#include "platform/fileio/output_folder.h"

namespace kalvor {

namespace {

constexpr double kTickSeconds = 1.0;
constexpr u64 kLabelWidth = 22;

}  // namespace

NormalFloatSession::NormalFloatSession(ComputeSettings settings, Status& status, Terminal* terminal,
                                       RunEnvironment environment)
    : settings_(std::move(settings)),
      status_(status),
      terminal_(terminal),
      environment_(std::move(environment)) {}

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

std::vector<OutputFiles::Request> NormalFloatSession::output_requests() const {
    std::vector<OutputFiles::Request> requests;
    const auto add = [&](u8 radix, const char* name, u64 digits) {
        requests.push_back(
            {radix, settings_.constant->name_short() + name + settings_.constant->algorithm_short(), digits});
        requests.back().set_digits_per_file(static_cast<u64>(settings_.digits_per_file));
    };
    if (settings_.output_enable && settings_.enable_hex)
        add(16, " - Hex - ", settings_.size.hexadecimal_digits);
    if (settings_.output_enable) add(10, " - Dec - ", settings_.size.decimal_digits);
    return requests;
}

OutputOptions NormalFloatSession::output_options() {
    return {settings_.overwrite, wants_minimum_space(settings_.minimum_space, expected_seconds()), terminal_,
            &files_, environment_.calls};
}

DigitRequest NormalFloatSession::digit_request() const {
    return {settings_.enable_hex,    settings_.output_enable,
            settings_.output_verify, settings_.constant->name_short(),
            reference_folder_,       environment_.calls};
}

void NormalFloatSession::begin_record() {
    record_.start_date = date_time_text();
    record_.constant = settings_.constant->name_long();
    record_.algorithm = settings_.constant->algorithm_long();
    record_.decimal_digits = settings_.size.decimal_digits;
    record_.hexadecimal_digits = settings_.enable_hex ? settings_.size.hexadecimal_digits : 0;
}

void NormalFloatSession::finish_checks() {
    add_checks(record_.checks);
    record_.checks.conversion = true;
    record_.checks.files = settings_.output_verify && settings_.output_enable;
    record_.checks.products = monitor_.checks.products;
    record_.checks.numbers = monitor_.checks.numbers;
    record_.checks.errors = monitor_.checks.corrected;
}

void NormalFloatSession::finish_record() {
    record_.end_date = date_time_text();
    record_.compute_seconds = compute_.wall;
    record_.wall_seconds = wall_.seconds();
    record_.compute_time = compute_;
    record_.event_log = log_.text();
    for (const auto& file : output_->written()) {
        record_.files.push_back({os::absolute_path(file.path), file.bytes});
    }
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
    end();
    return record_;
}

void NormalFloatSession::run_phases() {
    wall_.restart();
    begin_record();
    if (settings_.wants_folder())
        folder_ = FileIO::prepare_output_folder(settings_.path, *environment_.calls);
    record_.system = gather_system_record(environment_.include_pii);
    check_memory();
    // What stands in the way of the digit files is told now; they are made when nothing else can end the run
    // before it computes.
    OutputFiles::check(folder_, output_requests(), output_options());
    print_run_header(settings_, record_, mode(), status_);
    framework_ = settings_.parallelism.framework->make_framework();
    WorkMeter meter(work());
    const StatusWork metered(status_, meter.read().total > 0 ? &meter : nullptr);
    std::optional<ProgressTicker> ticker;
    if (terminal_ != nullptr) ticker.emplace(kTickSeconds, [this] { terminal_->tick(); });
    end_phase();
    allocate();
    output_ = std::make_unique<OutputFiles>(folder_, output_requests(), output_options(), status_);
    end_phase();

    status_.Status_Label(kLabelWidth, "Begin Computation:", {'Y', date_time_text()});
    status_.Status_Line("");
    log("Begin Computation");
    const ProcessTimer compute_timer;
    compute();
    log("End Computation");
    end_phase();
    convert();
    compute_ = compute_timer.elapsed();
    end_phase();

    DigitResults digits = write_digits(digit_request(), *output_);
    record_.hexadecimal = std::move(digits.hexadecimal);
    record_.decimal = std::move(digits.decimal);
    record_.spot_check = digits.spot_check;
    finish_checks();
    log(counts_of_checks(record_.checks));
    log("Digits Written");
    finish_record();
    report_warnings();
    print_run_report(record_, status_);
}

}  // namespace kalvor
