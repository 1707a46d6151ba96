#include "app/session/memory_plan.h"

#include <algorithm>
#include <vector>

#include "app/session/bbp_check.h"
#include "arith/multiply/transform_tables.h"
#include "base/errors/exceptions.h"
#include "digits/files/sector_window.h"

namespace kalvor {

namespace {

constexpr u64 kMiB = u64(1) << 20;
// Resident beside the regions: 7.7 to 9.9 MiB measured, with a text file or without.
constexpr u64 kProgramBytes = 10 * kMiB + kMiB / 2;
// A digit file's writer keeps its text in a window of 4 MiB, in working memory where that has room for it.
constexpr u64 kOutputBytes = 4 * kMiB + kMiB / 4;
// What a task's thread touches of its stack.
constexpr u64 kThreadBytes = 32 << 10;
// A page of 4 KiB takes an entry of 8 bytes.
constexpr u64 kPageTableShare = 512;

// The sizes with at most two significant digits from the smallest one up to `most`.
std::vector<u64> round_sizes(u64 most) {
    std::vector<u64> sizes;
    for (u64 unit = 10;; unit *= 10) {
        for (u64 n = 10; n < 100; n++) {
            if (n * unit > most) return sizes;
            sizes.push_back(n * unit);
        }
    }
}

}  // namespace

RunPlan RunPlan::make(const ComputeSettings& settings, const ComputeSize& size) {
    const u64 tds = settings.parallelism.task_decomposition;
    RunPlan plan;
    plan.constant = settings.constant->make_evaluator({size.words, tds});
    const Needs& needs = plan.constant->needs();
    plan.writer =
        WriterPlan::make(needs.result_words, size.decimal_digits, size.decimal_digits,
                         settings.enable_hex ? size.hexadecimal_digits : 0, settings.output_verify, tds);
    const Needs both = needs.maximum(plan.writer.needs);
    plan.max_product_words = both.product_words;
    MemoryPlan& memory = plan.memory;
    memory.working_memory = both.above(needs.result_words).bytes;
    memory.twiddle_tables = round_up_64(TransformTables::bytes(plan.max_product_words));
    const bool in_working_memory =
        settings.digits_per_file == 0 && plan.writer.window_bytes(both.bytes) >= SectorWindow::kLeastLent;
    memory.output = settings.output_enable && !in_working_memory ? kOutputBytes : 0;
    memory.program = kProgramBytes + kThreadBytes * settings.parallelism.logical_cores +
                     (memory.working_memory + memory.twiddle_tables) / kPageTableShare +
                     bbp_request(settings, size).bytes() + plan.constant->plan_bytes();
    return plan;
}

u64 digits_that_fit(const ComputeSettings& settings, u64 bytes) {
    const std::vector<u64> sizes = round_sizes(settings.size.decimal_digits);
    const auto fits = [&](u64 digits) {
        try {
            return RunPlan::make(settings, ComputeSize::from_decimal(digits)).memory.total() <= bytes;
        } catch (const Exception&) {
            return false;  // beyond what the algorithms reach
        }
    };
    const auto end = std::partition_point(sizes.begin(), sizes.end(), fits);
    return end == sizes.begin() ? 0 : *(end - 1);
}

}  // namespace kalvor
