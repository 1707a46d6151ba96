// What menus wait for: the plan of a run, made anew after every change of a setting, and those of the whole
// list of the benchmark's sizes.
#include <benchmark/benchmark.h>

#include "app/benchmark/benchmark_run.h"
#include "app/benchmark/benchmark_sizes.h"
#include "app/session/memory_plan.h"

namespace {

using namespace kalvor;

trel::u64 planned_bytes(trel::u64 digits) {
    const ComputeSettings settings = benchmark_settings(digits);
    return RunPlan::make(settings, settings.size).memory.logical();
}

void BM_Plan(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(planned_bytes(static_cast<trel::u64>(state.range(0))));
}

void BM_BenchmarkPlans(benchmark::State& state) {
    for (auto _ : state) {
        for (const BenchmarkSize& size : BenchmarkSizes::usual().presets) {
            benchmark::DoNotOptimize(planned_bytes(size.digits));
        }
    }
}

}  // namespace

BENCHMARK(BM_Plan)->Arg(25000000)->Arg(2500000000000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BenchmarkPlans)->Unit(benchmark::kMillisecond);
