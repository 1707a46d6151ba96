#include "app/session/run_work.h"

#include <algorithm>

#include "app/session/bbp_check.h"
#include "arith/estimate/product_work.h"
#include "digits/convert/convert_work.h"

namespace kalvor {

namespace {

// What a core adds to the first one.
constexpr double kCoreGain = 0.9;
constexpr double kMemorySeconds = 1.0e-9;  // a byte: the system clears it
constexpr double kWriteSeconds = 1.0e-9;   // a digit
constexpr double kReadSeconds = 0.65e-9;

double speed_of(const ParallelismSettings& parallelism) {
    const u64 cores = std::min(parallelism.logical_cores, parallelism.task_decomposition.value());
    return 1 + kCoreGain * static_cast<double>(std::max<u64>(cores, 1) - 1);
}

}  // namespace

std::vector<WorkPhase> run_work(const RunPlan& plan, const ComputeSettings& settings) {
    const std::vector<WorkPhase> constant = plan.constant->work();
    if (constant.empty()) return {};
    const double speed = speed_of(settings.parallelism);
    const u64 bytes = plan.memory.working_memory + plan.memory.twiddle_tables;
    std::vector<WorkPhase> phases;
    // How fast memory comes says nothing about how fast it is computed with.
    phases.push_back({"memory", static_cast<double>(bytes) * kMemorySeconds, 0, false});
    const auto parallel = [&](const char* name, double work) {
        phases.push_back({name, work * kWorkSeconds / speed, work});
    };
    for (WorkPhase phase : constant) {
        phase.seconds /= speed;
        phases.push_back(phase);
    }
    const BbpRequest check = bbp_request(settings, settings.size);
    if (check.digits != 0) phases.push_back({kBbpCheckPhase, check.seconds() / speed, kBbpCheckUnits});
    const u64 radix_words = plan.writer.conversion.n;
    parallel("conversion", CBRv2::range_work(radix_words) + CBRv2::table_work(radix_words));
    parallel("verification", CBRv2::verify_work(radix_words));
    const auto output = [&](u64 n) {
        const double digits = static_cast<double>(n);
        phases.push_back({"writing", digits * kWriteSeconds, digits});
        if (settings.output_enable && settings.output_verify)
            phases.push_back({"reading back", digits * kReadSeconds, digits});
    };
    if (settings.enable_hex) output(plan.writer.hex_digits);
    output(plan.writer.output_digits);
    return phases;
}

double expected_seconds(const std::vector<WorkPhase>& phases) {
    double seconds = 0;
    for (const WorkPhase& phase : phases) seconds += phase.seconds;
    return seconds;
}

}  // namespace kalvor
