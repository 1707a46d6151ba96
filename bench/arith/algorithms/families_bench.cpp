// Products of n x n words by the families beside Code 17, on one and two tasks, with GMP beside them; items
// are words of the product.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "base/simd/isa.h"
#include "platform/parallel/spawn_framework.h"

namespace {

using namespace trel;

constexpr u64 kLargest = u64(1) << 20;

struct Operands {
    std::vector<Word> a, b, r;
    Operands() : a(kLargest), b(kLargest), r(2 * kLargest) {
        std::mt19937_64 rng(1);
        for (Word& w : a) w = rng();
        for (Word& w : b) w = rng();
    }
};
Operands& operands() {
    static Operands o;
    return o;
}

void product(benchmark::State& state, const char* name, u64 tds) {
    Operands& o = operands();
    SpawnFramework spawn(64);
    const u64 n = static_cast<u64>(state.range(0));
    const MultiplyAlgorithm& algorithm = *find_algorithm(TableSlot::basic64, name)->algorithm;
    const u64 bytes = algorithm.mSBsize(2 * n);
    void* const memory = std::aligned_alloc(4096, (bytes + 4095) / 4096 * 4096);
    const MultiplyContext context{{&spawn, tds}, AlignedBufferC(memory, bytes)};
    for (auto _ : state) {
        algorithm.mul(context, o.r.data(), o.a.data(), n, o.b.data(), n);
        benchmark::ClobberMemory();
    }
    std::free(memory);
    state.SetLabel(isa_name(active_isa()));
    state.SetItemsProcessed(static_cast<int64_t>(2 * n) * state.iterations());
}

void BM_GmpProduct(benchmark::State& state) {
    Operands& o = operands();
    const u64 n = static_cast<u64>(state.range(0));
    for (auto _ : state) {
        mpn_mul_n(reinterpret_cast<mp_limb_t*>(o.r.data()), reinterpret_cast<const mp_limb_t*>(o.a.data()),
                  reinterpret_cast<const mp_limb_t*>(o.b.data()), static_cast<mp_size_t>(n));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(2 * n) * state.iterations());
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Arg(1 << 12)->Arg(1 << 14)->Arg(1 << 17)->Arg(1 << 20)->Unit(benchmark::kMicrosecond)->UseRealTime();
}

BENCHMARK_CAPTURE(product, N32, "N32", 1)->Apply(sizes);
BENCHMARK_CAPTURE(product, N32_two_tasks, "N32", 2)->Apply(sizes);
BENCHMARK_CAPTURE(product, N64, "N64", 1)->Apply(sizes);
BENCHMARK_CAPTURE(product, N64_two_tasks, "N64", 2)->Apply(sizes);
BENCHMARK_CAPTURE(product, VST, "VST", 1)->Apply(sizes);
BENCHMARK_CAPTURE(product, HNT, "HNT", 1)->Apply(sizes);
BENCHMARK_CAPTURE(product, HNT_two_tasks, "HNT", 2)->Apply(sizes);
BENCHMARK(BM_GmpProduct)->Apply(sizes);

}  // namespace
