#include "app/session/normal_float_session.h"

#include "app/record/run_report.h"
#include "app/session/memory_check.h"
#include "app/session/run_work.h"
#include "arith/multiply/transform_tables.h"
#include "base/clock/date_text.h"
#include "base/command_line/console_settings.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/simd/isa.h"
#include "base/status/linear_console_node.h"
#include "base/status/progress_ticker.h"
#include "base/status/status_scope.h"
#include "os/console.h"
#include "os/path_kind.h"
#include "platform/fileio/output_folder.h"
#include "platform/fileio/raw_file.h"
#include "platform/memory/allocate_heap.h"
#include "platform/sysinfo/system_summary.h"

namespace kalvor {

using trel::AlignedBufferC;
using trel::MultiplyContext;
using trel::ParallelContext;
using trel::round_up_64;
namespace Console = trel::Console;

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 1.0;
constexpr u64 kAlignmentLog2 = 21;  // huge pages fit into the regions
constexpr u64 kHeaderWidth = 22;
constexpr u64 kNameWidth = 12;

}  // namespace

// The two regions of a run and what lives in them.
struct NormalFloatSessionB::Regions {
    trel::HeapAllocation working;
    trel::HeapAllocation twiddles;
    std::unique_ptr<trel::TransformTables> tables;
};

NormalFloatSessionB::NormalFloatSessionB(const CustomSettings& settings)
    : settings_(settings),
      plan_(RunPlan::make(settings, settings.size)),
      work_(run_work(plan_, settings)),
      own_status_(std::make_unique<trel::LinearConsoleNode>(kLineWidth, kRefreshSeconds)),
      status_(*own_status_) {}

NormalFloatSessionB::NormalFloatSessionB(const CustomSettings& settings, Status& status)
    : settings_(settings),
      plan_(RunPlan::make(settings, settings.size)),
      work_(run_work(plan_, settings)),
      status_(status) {}

NormalFloatSessionB::~NormalFloatSessionB() = default;

double NormalFloatSessionB::expected_seconds() const {
    return work_.read().total;
}

void NormalFloatSessionB::print_header() {
    const Constant& constant = *settings_.constant;
    trel::print_system_summary(record_.system, status_);
    status_.Status_Line("");
    status_.Status_Label(kNameWidth, "Constant:", {constant.color(), constant.name_long()});
    status_.Status_Label(kNameWidth, "Algorithm:", {'Y', constant.algorithm_long()});
    status_.Status_Line("");
    status_.Status_Label(kHeaderWidth,
                         "Decimal Digits:", {'G', Console::format_commas(settings_.size.decimal_digits)});
    if (settings_.enable_hex) {
        status_.Status_Label(kHeaderWidth, "Hexadecimal Digits:",
                             {'G', Console::format_commas(settings_.size.hexadecimal_digits)});
    } else {
        status_.Status_Label(kHeaderWidth, "Hexadecimal Digits:", {'g', "Disabled"});
    }
    status_.Status_Line("");
    status_.Status_Label(kHeaderWidth, "Computation Mode:", {'R', "Ram Only"});
    status_.Status_Label(kHeaderWidth, "Multi-Threading:", {'T', settings_.parallelism.summary()});
    status_.Status_Line("");
    status_.Status_Label(kHeaderWidth, "Start Time:", {'Y', record_.start_date});
    status_.Status_Line("");
}

void NormalFloatSessionB::allocate(Regions& regions) {
    const ParallelContext parallel{framework_.get(), settings_.parallelism.task_decomposition};
    settings_.allocator->acquire_permissions();
    status_.work().enter("memory");
    bool errors = false;
    auto phase = [&](const char* progress, const char* label, const char* event, u64 bytes,
                     trel::HeapAllocation& heap, auto&& build) {
        {
            trel::StatusFrame frame(status_, progress);
            frame.node().refresh(true);
            heap = trel::allocate_heap(*settings_.allocator, parallel, kAlignmentLog2, bytes);
            build();
            // The estimate learns when the memory was there.
            frame.node().refresh(true);
        }
        // Without a region there is nothing but its size to tell.
        const std::string size = Console::format_bytes(bytes);
        status_.Status_ColoredLine({{'w', label}, {'Y', heap.region ? size + ", " + heap.summary : size}});
        log_.add(wall_.seconds(), event);
        for (const std::string& warning : heap.warnings) {
            log_.add(wall_.seconds(), "Allocation Error: " + warning);
            errors = true;
        }
    };
    phase("Working Memory...  ", "Working Memory: ", "Working Memory", plan_.memory.working_memory,
          regions.working, [] {});
    phase("Twiddle Tables...  ", "Twiddle Tables: ", "Twiddle Tables", plan_.memory.twiddle_tables,
          regions.twiddles, [&] {
              regions.tables = std::make_unique<trel::TransformTables>(plan_.max_product_words,
                                                                       regions.twiddles.buffer(), parallel);
          });
    if (errors) {
        status_.Status_ColoredLine(
            {{'R', "Memory allocation errors detected. Possible performance degradation."}});
        status_.Status_ColoredLine({{'R', "Please see event log for details."}});
    }
    status_.Status_Line("");
}

void NormalFloatSessionB::compute(const MultiplyContext& context, BigFloat& value) {
    status_.Status_Label(kHeaderWidth, "Begin Computation:", {'Y', trel::date_time_text()});
    status_.Status_Line("");
    log_.add(wall_.seconds(), "Begin Computation");
    if (const std::string label = plan_.constant->label(); !label.empty()) log_.add(wall_.seconds(), label);
    compute_timer_.restart();
    plan_.constant->run(context, status_, value);
    log_.add(wall_.seconds(), "End Computation");
}

std::vector<OutputFiles::Request> NormalFloatSessionB::output_requests() const {
    std::vector<OutputFiles::Request> requests;
    const auto add = [&](trel::u8 radix, const char* name, u64 digits) {
        requests.push_back(
            {radix, settings_.constant->name_short() + name + settings_.constant->algorithm_short(), digits});
    };
    if (settings_.output_enable && settings_.enable_hex) add(16, " - Hex - ", plan_.writer.hex_digits);
    if (settings_.output_enable) add(10, " - Dec - ", plan_.writer.output_digits);
    return requests;
}

OutputOptions NormalFloatSessionB::output_options() const {
    return {settings_.overwrite, wants_minimum_space(settings_.minimum_space, expected_seconds()),
            trel::Console::is_terminal() && trel::os::stdin_is_terminal()};
}

OutputStats NormalFloatSessionB::write_or_count(FloatWriterB& writer, trel::u8 radix) {
    if (settings_.output_enable) return output_->write(writer, radix, settings_.output_verify);
    return radix == 10 ? writer.stat_dec_digits() : writer.stat_hex_digits();
}

void NormalFloatSessionB::write_digits(const MultiplyContext& context, const BigFloat& value) {
    FloatWriterB writer(plan_.writer, context, status_, value);
    writer.convert();
    compute_ = compute_timer_.elapsed();
    if (settings_.output_verify) writer.verify();
    if (settings_.enable_hex) {
        if (settings_.output_verify) writer.verify_binary_words();
        record_.hexadecimal = write_or_count(writer, 16);
    }
    record_.decimal = write_or_count(writer, 10);
    log_.add(wall_.seconds(), "Digits Written");
}

void NormalFloatSessionB::finish_record() {
    record_.end_date = trel::date_time_text();
    record_.compute_seconds = compute_.wall;
    record_.wall_seconds = wall_.seconds();
    record_.compute_time = compute_;
    record_.event_log = log_.text();
    record_.checks.series_blocks = plan_.constant->series_blocks();
    record_.checks.series_checked = plan_.constant->series_blocks_checked();
    record_.checks.conversion = settings_.output_verify;
    record_.checks.files = settings_.output_verify && settings_.output_enable;
    for (const auto& file : output_->written()) {
        record_.files.push_back({trel::os::absolute_path(file.path), file.bytes});
    }
}

const RunRecord& NormalFloatSessionB::run() {
    wall_.restart();
    record_.start_date = trel::date_time_text();
    record_.constant = settings_.constant->name_long();
    record_.algorithm = settings_.constant->algorithm_long();
    record_.decimal_digits = settings_.size.decimal_digits;
    record_.hexadecimal_digits = settings_.enable_hex ? settings_.size.hexadecimal_digits : 0;

    if (settings_.output_enable || !settings_.path.empty()) {
        folder_ = trel::FileIO::prepare_output_folder(settings_.path);
    }
    record_.system = trel::gather_system_record(trel::CommandLine::console_settings().include_pii);
    check_memory(trel::os::memory_status(),
                 {plan_.memory.total(), [this](u64 bytes) { return digits_that_fit(settings_, bytes); },
                  settings_.force},
                 status_);
    // What stands in the way of the digit files is told now; they are made when nothing else can end the run
    // before it computes.
    OutputFiles::check(folder_, output_requests(), output_options());
    print_header();
    framework_ = settings_.parallelism.framework->make_framework();
    const trel::StatusWork metered(status_, work_.read().total > 0 ? &work_ : nullptr);
    const trel::ProgressTicker ticker(kRefreshSeconds, [this] { status_.tick(); });
    Regions regions;
    allocate(regions);
    (void)trel::active_isa();  // ends the program where KALVOR_ISA names none
    output_ = std::make_unique<OutputFiles>(folder_, output_requests(), output_options());

    AlignedBufferC memory = regions.working.buffer();
    const AlignedBufferC result = memory.spawn_words(plan_.constant->result_words());
    BigFloat value(result.word_pointer(), result.words());
    const MultiplyContext context{
        {framework_.get(), settings_.parallelism.task_decomposition}, memory, regions.tables.get()};
    compute(context, value);
    write_digits(context, value);
    finish_record();
    print_run_report(record_, status_);
    return record_;
}

}  // namespace kalvor
