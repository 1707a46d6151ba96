// The multiplication table: n x n words on one and on two tasks (of the default framework) beside mpn_mul_n,
// in turns; `over_gmp` is GMP's time over ours. Tables and memory are made beforehand.
//
//   bench_arith_multiply --benchmark_filter=mul_table      (2^22 and 2^24 take a minute; mul_table/10?..
//   choose)
#include <benchmark/benchmark.h>

#include <memory>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/side_by_side.h"
#include "base/simd/isa.h"
#include "platform/parallel/parallelism_settings.h"

namespace {

using namespace trel;

void measure(benchmark::State& state, u64 n) {
    if (2 * n > basic_table64().items().back().threshold_words) {
        state.SkipWithError("beyond the table");
        return;
    }
    side_by_side::Products products(n);
    const std::unique_ptr<BasicParallelizer> framework = ParallelismSettings(2).framework->make_framework();
    const ParallelContext two{framework.get(), 2};
    const bool small = n <= u64(1) << 18;
    const u64 rounds = n <= u64(1) << 20 ? 7 : n <= u64(1) << 22 ? 3 : 1;
    double one_task = 0, two_tasks = 0, gmp = 0;
    for (auto _ : state) {
        const auto ours = [&] { products.ours(serial_context(), n); };
        const side_by_side::Best a = side_by_side::best_of(
            ours, [&] { products.gmp(n); }, rounds, small ? 0.05 : 0.0);
        const side_by_side::Best b = side_by_side::best_of([&] { products.ours(two, n); }, ours,
                                                           std::max<u64>(rounds, 2), small ? 0.05 : 0.0);
        one_task = std::min(a.first, b.second);
        two_tasks = b.first;
        gmp = a.second;
        state.SetIterationTime(one_task);
    }
    state.counters["gmp_us"] = gmp * 1e6;
    state.counters["one_us"] = one_task * 1e6;
    state.counters["two_us"] = two_tasks * 1e6;
    state.counters["over_gmp"] = gmp / one_task;
    state.counters["two_over_gmp"] = gmp / two_tasks;
    state.counters["tasks_gain"] = one_task / two_tasks;
    state.SetLabel(isa_name(active_isa()));
}

void mul_table(benchmark::State& state) {
    measure(state, u64(1) << state.range(0));
}
// Lengths whose transforms have one root, which gives tasks the fewest rows to share.
void mul_one_root(benchmark::State& state) {
    measure(state, u64(3) << state.range(0));
}

BENCHMARK(mul_one_root)->DenseRange(12, 18)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(mul_table)->DenseRange(10, 24, 2)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
