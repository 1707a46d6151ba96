// Cost of handing out tasks that do nothing, for every framework: what a split of work must gain to be worth
// it.
#include <benchmark/benchmark.h>

#include <atomic>
#include <string>

#include "os/cpu.h"
#include "platform/parallel/framework_registry.h"

namespace {

using namespace trel;

void dispatch(benchmark::State& state, const std::string& name) {
    const auto framework = make_default_framework_config(name)->make_framework();
    const u64 n = static_cast<u64>(state.range(0));
    std::atomic<u64> sum{0};
    const ParallelContext context{framework.get(), n};
    for (auto _ : state)
        parallel_for(context, n, [&](u64 i) { sum.fetch_add(i, std::memory_order_relaxed); });
    benchmark::DoNotOptimize(sum.load());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Two tasks as a fork-join.
void join(benchmark::State& state, const std::string& name) {
    const auto framework = make_default_framework_config(name)->make_framework();
    const ParallelContext context{framework.get(), 2};
    std::atomic<u64> a{0}, b{0};
    for (auto _ : state) {
        fork_join(
            context, [&] { a.fetch_add(1, std::memory_order_relaxed); },
            [&] { b.fetch_add(1, std::memory_order_relaxed); });
    }
    benchmark::DoNotOptimize(a + b);
    state.SetItemsProcessed(state.iterations() * 2);
}

// A fork-join whose halves work for the microseconds given: what is lost against half of the serial time
// shows what a hand-over really costs, waking included.
void work(benchmark::State& state, const std::string& name) {
    const auto framework = make_default_framework_config(name)->make_framework();
    const ParallelContext context{framework.get(), 2};
    const u64 cycles = static_cast<u64>(state.range(0)) * 2500;
    const auto busy = [&] {
        const u64 start = os::read_tsc();
        while (os::read_tsc() - start < cycles) {
        }
    };
    for (auto _ : state) fork_join(context, busy, busy);
}

const bool g_registered = [] {
    for (const std::string& name : framework_names()) {
        for (const i64 n : {2, 64, 1000}) {
            benchmark::RegisterBenchmark(("dispatch/" + name).c_str(), dispatch, name)->Arg(n)->UseRealTime();
        }
    }
    for (const std::string& name : framework_names()) {
        benchmark::RegisterBenchmark(("join/" + name).c_str(), join, name)->UseRealTime();
    }
    for (const std::string& name : framework_names()) {
        benchmark::RegisterBenchmark(("work/" + name).c_str(), work, name)->Arg(10)->Arg(100)->UseRealTime();
    }
    return true;
}();

}  // namespace
