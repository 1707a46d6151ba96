#include "app/benchmark/benchmark_run.h"

#include "base/console/console.h"

namespace kalvor {

ComputeSettings benchmark_settings(u64 decimal_digits) {
    ComputeSettings settings;
    (void)settings.set_decimal_digits(static_cast<i64>(decimal_digits));
    return settings;
}

bool run_benchmark(ComputeCommand command, const AuthorizationToken& token) {
    const std::optional<RunRecord> record = run_or_save(std::move(command), token);
    // Without known digits the run has said so itself; digits that differ have ended it.
    if (record && record->spot_check.position > 0)
        Console::print_line("Benchmark Successful. The digits appear to be OK.", 'G');
    return true;
}

}  // namespace kalvor
