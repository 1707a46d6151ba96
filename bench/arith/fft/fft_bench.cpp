// Products of n x n words by the FFT on one and two tasks, GMP beside them; items are words of the product.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "arith/fft/fft_algorithm.h"
#include "arith/fft/fft_tables.h"
#include "arith/fft/fft_transform.h"
#include "base/simd/isa.h"
#include "platform/parallel/spawn_framework.h"

namespace {

using namespace trel;

constexpr u64 kLargest = u64(1) << 19;

// Memory that lives as long as the program, touched, on large pages where the system gives them.
AlignedBufferC memory(u64 bytes) {
    static char* region = static_cast<char*>(std::aligned_alloc(u64(1) << 21, u64(1) << 28));
    static u64 used = 0;
    char* p = region + used;
    used += round_up_64(bytes);
    for (u64 i = 0; i < bytes; i += 4096) p[i] = 0;
    return AlignedBufferC(p, round_up_64(bytes));
}

struct Setup {
    std::vector<Word> a, b, r;
    AlignedBufferC scratch;
    FftSharedTables tables;

    Setup()
        : a(kLargest),
          b(kLargest),
          r(2 * kLargest),
          scratch(memory(fft_algorithm().sizes(2 * kLargest).scratch)),
          tables(2 * kLargest, memory(FftSharedTables::bytes(2 * kLargest)), serial_context()) {
        std::mt19937_64 rng(1);
        for (Word& w : a) w = rng();
        for (Word& w : b) w = rng();
    }
};
Setup& setup() {
    static Setup s;
    return s;
}

void sizes(benchmark::internal::Benchmark* b) {
    for (int n : {40, 81, 100, 128, 160, 200, 256, 300, 400, 512, 700, 1024, 1500, 2048}) b->Arg(n);
    for (int n = 4096; n <= static_cast<int>(kLargest); n *= 2) b->Arg(n);
    b->Unit(benchmark::kMicrosecond);
}

void product(benchmark::State& state, u64 tds, bool square) {
    Setup& s = setup();
    SpawnFramework spawn(64);
    const ParallelContext parallel{&spawn, tds};
    const u64 n = static_cast<u64>(state.range(0));
    const FftParameters& p = fft_parameter_table()[fft_entry_for(128 * n)];
    for (auto _ : state) {
        const FftTransform t(fft_kernels(), p, &s.tables);
        char* x = static_cast<char*>(s.scratch.get());
        char* y = square ? x : x + t.data_bytes();
        t.forward(parallel, x, s.a.data(), n, nullptr);
        if (!square) t.forward(parallel, y, s.b.data(), n, nullptr);
        t.inverse(parallel, s.r.data(), 0, 2 * n, x, x, y, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetLabel(isa_name(active_isa()));
    state.SetItemsProcessed(static_cast<int64_t>(2 * n) * state.iterations());
}

void BM_FftProduct(benchmark::State& state) {
    product(state, 1, false);
}
void BM_FftSquare(benchmark::State& state) {
    product(state, 1, true);
}
void BM_FftProductTwoTasks(benchmark::State& state) {
    product(state, 2, false);
}
void BM_GmpProduct(benchmark::State& state) {
    Setup& s = setup();
    const u64 n = static_cast<u64>(state.range(0));
    for (auto _ : state) {
        mpn_mul_n(reinterpret_cast<mp_limb_t*>(s.r.data()), reinterpret_cast<const mp_limb_t*>(s.a.data()),
                  reinterpret_cast<const mp_limb_t*>(s.b.data()), static_cast<mp_size_t>(n));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(2 * n) * state.iterations());
}

BENCHMARK(BM_FftProduct)->Apply(sizes);
BENCHMARK(BM_FftSquare)->Apply(sizes);
BENCHMARK(BM_FftProductTwoTasks)
    ->RangeMultiplier(4)
    ->Range(8192, kLargest)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_GmpProduct)->Apply(sizes);

}  // namespace
