// Code 17: transforms (ns per point of one prime), and products of n x n words on one and two tasks with GMP
// beside them.
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "arith/c17/c17_algorithm.h"
#include "arith/c17/c17_plan.h"
#include "arith/c17/c17_transform.h"
#include "base/simd/isa.h"
#include "os/memory.h"
#include "platform/parallel/spawn_framework.h"

namespace {

using namespace trel;

constexpr u64 kLargest = u64(1) << 22;

// One region for all benchmarks, touched, on large pages where the system gives them.
u8* region(u64 bytes) {
    static const auto make = [](u64 size) {
        u8* p = static_cast<u8*>(std::aligned_alloc(u64(1) << 21, size));
        os::advise_large_pages(p, size);
        for (u64 i = 0; i < size; i += 4096) p[i] = 0;
        return p;
    };
    static const u64 size = u64(3) << 28;
    static u8* const p = make(size);
    if (bytes > size) std::abort();
    return p;
}

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

void product(benchmark::State& state, u64 tds, bool square) {
    Operands& o = operands();
    region(0);
    SpawnFramework spawn(64);
    const ParallelContext parallel{&spawn, tds};
    const u64 n = static_cast<u64>(state.range(0));
    for (auto _ : state) {
        TransformHolder t;
        c17_algorithm().make_transform(t, 2 * n, {serial_context(), {}});
        if (square) {
            u8* const memory = region(t->data_bytes() + t->scratch_bytes());
            t->square_plain(parallel, o.r.data(), 0, 2 * n, o.a.data(), n, memory);
        } else {
            u8* const memory = region(t->plain_bytes());
            t->multiply_plain(parallel, o.r.data(), 0, 2 * n, o.a.data(), n, o.b.data(), n, memory);
        }
        benchmark::ClobberMemory();
    }
    const NttRecord& r = find_ntt_record_for_words(NttFamily::c17, 2 * n);
    state.SetLabel(std::string(isa_name(active_isa())) + " (" + std::to_string(r.a) + ", " +
                   std::to_string(r.b) + ", " + std::to_string(r.c) + ")");
    state.SetItemsProcessed(static_cast<int64_t>(2 * n) * state.iterations());
}

void BM_C17Product(benchmark::State& state) {
    product(state, 1, false);
}
void BM_C17Square(benchmark::State& state) {
    product(state, 1, true);
}
void BM_C17ProductTwoTasks(benchmark::State& state) {
    product(state, 2, false);
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

// forward, inverse and whole middle of all rows of one prime: b = 1, 2^c points
void middle(benchmark::State& state, C17Middle what) {
    const NttRecord record{9, 1, static_cast<u8>(state.range(0)), 0, 0, 0};
    const C17Setup& setup = c17_setup(active_isa(), record);
    const C17Plan& plan = setup.plan;
    double* const x = reinterpret_cast<double*>(region(16 * plan.prime_stride));
    double* const y = x + plan.prime_stride;
    for (u64 i = 0; i < 2 * plan.prime_stride; i++) x[i] = static_cast<double>(i * 0x9e3779b97f4a7c15 >> 18);
    for (auto _ : state) {
        for (u32 r = 0; r < plan.rows(); r++) {
            const u64 at = r * plan.row_stride;
            setup.passes->middle(what, C17Part::whole, 0, 1, plan, setup.tables->primes[0], r, x + at, x + at,
                                 y + at);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(plan.points()) * state.iterations());
}
void BM_C17Forward(benchmark::State& state) {
    middle(state, C17Middle::forward);
}
void BM_C17Inverse(benchmark::State& state) {
    middle(state, C17Middle::inverse_square);
}
void BM_C17Fused(benchmark::State& state) {
    middle(state, C17Middle::product);
}

void powers(benchmark::internal::Benchmark* b) {
    for (int n = 1024; n <= static_cast<int>(kLargest); n *= 4) b->Arg(n);
    b->Unit(benchmark::kMicrosecond)->UseRealTime();
}
// steps of 5 %
void steps(benchmark::internal::Benchmark* b) {
    for (double n = 1632; n <= 70000; n *= 1.05) b->Arg(static_cast<int>(n));
    b->Unit(benchmark::kMicrosecond);
}
void BM_C17Steps(benchmark::State& state) {
    product(state, 1, false);
}

BENCHMARK(BM_C17Forward)->DenseRange(8, 13);
BENCHMARK(BM_C17Inverse)->DenseRange(8, 13);
BENCHMARK(BM_C17Fused)->DenseRange(8, 13);
BENCHMARK(BM_C17Product)->Apply(powers);
BENCHMARK(BM_C17Square)->Apply(powers);
BENCHMARK(BM_C17ProductTwoTasks)->Apply(powers);
BENCHMARK(BM_GmpProduct)->Apply(powers);
BENCHMARK(BM_C17Steps)->Apply(steps);
BENCHMARK(BM_C17Product)
    ->Arg(12288)
    ->Arg(98304)
    ->Arg(393216)
    ->Arg(786432)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace
