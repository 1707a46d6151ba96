#include "app/benchmark/benchmark_run.h"

#include "base/console/console.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

ComputeSettings benchmark_settings(u64 decimal_digits) {
    ComputeSettings settings;
    settings.constant = make_constant("pi", "");
    (void)settings.set_decimal_digits(static_cast<i64>(decimal_digits));
    return settings;
}

// Without known digits the run has said so itself; digits that differ have ended it.
void report_benchmark(const RunRecord& record) {
    if (record.spot_check.position > 0)
        Console::print_line("Benchmark Successful. The digits appear to be OK.", 'G');
}

bool run_benchmark(ComputeCommand command, const AuthorizationToken& token) {
    const std::optional<RunRecord> record = run_or_save(std::move(command), token);
    if (record) report_benchmark(*record);
    return true;
}

}  // namespace kalvor
