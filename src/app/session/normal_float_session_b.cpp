#include "app/session/normal_float_session_b.h"

#include <optional>

#include "app/session/certain_digits.h"
#include "app/session/memory_check.h"
#include "app/session/run_work.h"
#include "arith/multiply/transform_tables.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "platform/memory/allocate_heap.h"

namespace kalvor {

namespace {

constexpr u64 kAlignmentLog2 = 21;  // huge pages fit into the regions

}  // namespace

// The two regions of a run and what lives in them.
struct NormalFloatSessionB::Memory {
    HeapAllocation working;
    HeapAllocation twiddles;
    std::unique_ptr<TransformTables> tables;
    AlignedBufferC scratch;  // of the working region, behind the value
    std::optional<BigFloat> value;
};

NormalFloatSessionB::NormalFloatSessionB(ComputeSettings settings, const AuthorizationToken& token,
                                         Status& status, Terminal* terminal, RunEnvironment environment)
    : NormalFloatSession("NormalFloatSessionB::NormalFloatSessionB()", std::move(settings), token, status,
                         terminal, std::move(environment)),
      plan_(RunPlan::make(this->settings(), this->settings().size)) {}

NormalFloatSessionB::~NormalFloatSessionB() = default;

std::vector<WorkPhase> NormalFloatSessionB::work() const {
    return run_work(plan_, settings());
}

void NormalFloatSessionB::check_memory() {
    kalvor::check_memory(environment().memory_status(),
                         {plan_.memory.total(),
                          [this](u64 bytes) { return digits_that_fit(settings(), bytes); }, settings().force},
                         status());
}

void NormalFloatSessionB::allocate() {
    memory_ = std::make_unique<Memory>();
    settings().allocator->acquire_permissions(parallel());
    report_warnings();
    status().work().enter("memory");
    bool errors = false;
    const auto phase = [&](const char* progress, const std::string& name, u64 bytes, HeapAllocation& heap,
                           auto&& build) {
        parallel().poll();
        {
            StatusFrame frame(status(), progress);
            frame.node().refresh(true);
            heap = allocate_heap(*settings().allocator, parallel(), kAlignmentLog2, bytes);
            build();
            // The estimate learns when the memory was there.
            frame.node().refresh(true);
        }
        report_warnings();
        // Without a region there is nothing but its size to tell.
        const std::string size = Console::format_bytes(bytes);
        status().Status_ColoredLine(
            {{'w', name + ": "}, {'Y', heap.region ? size + ", " + heap.summary : size}});
        log(name);
        for (const std::string& warning : heap.warnings) {
            log("Allocation Error: " + warning);
            errors = true;
        }
    };
    phase("Working Memory...  ", "Working Memory", plan_.memory.working_memory, memory_->working, [] {});
    phase("Twiddle Tables...  ", "Twiddle Tables", plan_.memory.twiddle_tables, memory_->twiddles, [&] {
        memory_->tables = std::make_unique<TransformTables>(plan_.max_product_words,
                                                            memory_->twiddles.buffer(), parallel());
    });
    if (errors) {
        status().Status_ColoredLine(
            {{'R', "Memory allocation errors detected. Possible performance degradation."}});
        status().Status_ColoredLine({{'R', "Please see event log for details."}});
    }
    status().Status_Line("");
    memory_->scratch = memory_->working.buffer();
    memory_->value = carve<BigFloat>(memory_->scratch, plan_.constant->needs().result_words);
}

void NormalFloatSessionB::compute() {
    if (const std::string label = plan_.constant->label(); !label.empty()) log(label);
    BigFloat& value = *memory_->value;
    error_ = plan_.constant->run({parallel(), memory_->scratch, memory_->tables.get()}, status(), value);
    // Every use of it begins with a comparison.
    if (value.residue == trel::goldilocks::kNone) {
#ifdef KALVOR_CHECK_NUMBERS
        throw AlgorithmFailedException("NormalFloatSessionB::compute()", "The value carries no residue.");
#endif
        value.seal(parallel());
    }
    certain_digits_ = warn_of_lost_digits(error_, settings().size.decimal_digits, status());
}

BbpCheck NormalFloatSessionB::check_last_digits(const BbpRequest& request) {
    FloatReaderB digits(*memory_->value, request.last);
    return bbp_check(digits, request, status(), parallel());
}

void NormalFloatSessionB::convert() {
    const MultiplyContext context{parallel(), memory_->scratch, memory_->tables.get()};
    digits_ = std::make_unique<DigitStage>(plan_.writer, context, status(), *memory_->value);
    digits_->convert();
    if (!certain_digits_) {
        certain_digits_ =
            warn_of_open_carry(error_, digits_->decimal_digits(), settings().size.decimal_digits, status());
    }
}

DigitResults NormalFloatSessionB::write_digits(const DigitRequest& request, OutputFiles& files) {
    return digits_->write(request, files);
}

void NormalFloatSessionB::add_checks(RunChecks& checks) const {
    const SeriesBlocks blocks = plan_.constant->series_blocks();
    checks.series_blocks = blocks.all;
    checks.series_checked = blocks.checked;
    checks.certain_digits = certain_digits_;
}

void NormalFloatSessionB::release() noexcept {
    digits_.reset();
    memory_.reset();
}

}  // namespace kalvor
