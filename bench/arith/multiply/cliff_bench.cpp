// Cliffs: time per word of n x n products, n from 2^10 in steps of 5 %. Prints every step and reports the
// worst rise from one step to the next (1.15 is the bound to hold).
//
//   bench_arith_multiply --benchmark_filter=cliff/16       (2^16 to 2^20 words; cliff/10 below, cliff/20 and
//   cliff/22 above)
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/side_by_side.h"
#include "platform/parallel/basic_parallelizer.h"

namespace {

using namespace trel;

void cliff(benchmark::State& state) {
    const u64 low = u64(1) << state.range(0), high = u64(1) << state.range(1);
    if (2 * high > basic_table64().items().back().threshold_words) {
        state.SkipWithError("beyond the table");
        return;
    }
    side_by_side::Products products(high);
    std::vector<u64> sizes;
    for (double n = static_cast<double>(low); n <= static_cast<double>(high); n *= 1.05)
        sizes.push_back(static_cast<u64>(n));
    std::vector<double> time(sizes.size(), 1e30);
    // Whole sweeps, so that a disturbance hits a size once.
    const u64 sweeps = state.range(1) <= 20 ? 5 : 2;
    double worst = 0;
    u64 worst_at = 0;
    for (auto _ : state) {
        double sum = 0;
        for (u64 sweep = 0; sweep < sweeps; sweep++) {
            for (u64 i = 0; i < sizes.size(); i++) {
                const u64 n = sizes[i];
                const auto product = [&] { products.ours(serial_context(), n); };
                const u64 repeats = n < (1 << 18) ? side_by_side::repeats_for(product, 0.005) : 1;
                for (u64 k = 0; k < 3; k++)
                    time[i] = std::min(time[i], side_by_side::seconds(product, repeats));
            }
        }
        for (u64 i = 0; i < sizes.size(); i++) {
            const double per_word = time[i] / static_cast<double>(sizes[i]);
            const double rise = i == 0 ? 1 : per_word / (time[i - 1] / static_cast<double>(sizes[i - 1]));
            std::printf("%9llu words %8.2f ns a word %6.3f%s\n", static_cast<unsigned long long>(sizes[i]),
                        per_word * 1e9, rise, rise > 1.15 ? " <--" : "");
            if (rise > worst) {
                worst = rise;
                worst_at = sizes[i];
            }
            sum += time[i];
        }
        state.SetIterationTime(sum);
    }
    state.counters["worst_rise"] = worst;
    state.counters["at_words"] = static_cast<double>(worst_at);
}

BENCHMARK(cliff)
    ->Args({10, 16})
    ->Args({16, 20})
    ->Args({20, 22})
    ->Args({22, 24})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
