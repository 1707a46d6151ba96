// Cost of handing out tasks that do nothing: what a split of work must gain to be worth it.
#include <benchmark/benchmark.h>

#include <atomic>

#include "platform/parallel/framework_registry.h"

namespace {

using namespace trel;

void dispatch(benchmark::State& state, const char* name) {
    const auto framework = make_default_framework_config(name)->make_framework();
    const u64 n = static_cast<u64>(state.range(0));
    std::atomic<u64> sum{0};
    const ParallelContext context{framework.get(), n};
    for (auto _ : state) parallel_for(context, n, [&](u64 i) { sum.fetch_add(i, std::memory_order_relaxed); });
    benchmark::DoNotOptimize(sum.load());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void join(benchmark::State& state, const char* name) {
    const auto framework = make_default_framework_config(name)->make_framework();
    const ParallelContext context{framework.get(), 2};
    u64 a = 0, b = 0;
    for (auto _ : state) {
        fork_join(context, [&] { a++; }, [&] { b++; });
    }
    benchmark::DoNotOptimize(a + b);
    state.SetItemsProcessed(state.iterations() * 2);
}

BENCHMARK_CAPTURE(dispatch, none, "none")->Arg(2)->Arg(64)->Arg(1000)->UseRealTime();
BENCHMARK_CAPTURE(dispatch, spawn, "spawn")->Arg(2)->Arg(64)->Arg(1000)->UseRealTime();
BENCHMARK_CAPTURE(join, spawn, "spawn")->UseRealTime();

}  // namespace
