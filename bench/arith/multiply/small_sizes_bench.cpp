// Products and squares of every size from 1 to 80 words beside GMP, in turns: `over_gmp` is our time over GMP's, to
// stay below 1.15 up to 40 words. `mul` and `sqr` are the kernels as the number types call them (schoolbook, then
// Karatsuba), `full` the dispatcher.
//
//   bench_arith_multiply --benchmark_filter='small_(mul|sqr|full)'     (a minute in all)
#include <benchmark/benchmark.h>
#include <gmp.h>

#include <algorithm>
#include <random>

#include "arith/kernels/multiply_small.h"
#include "arith/multiply/dispatch.h"
#include "arith/multiply/transform_tables.h"
#include "platform/parallel/basic_parallelizer.h"
#include "arith/multiply/side_by_side.h"

namespace {

using namespace trel;

constexpr u64 kLargest = 80;

struct Operands {
    Operands() : memory(1 << 20) {
        std::mt19937_64 rng(1);
        for (u64 i = 0; i < kLargest; i++) {
            a[i] = rng();
            b[i] = rng();
        }
    }
    alignas(64) Word a[kLargest], b[kLargest], t[2 * kLargest];
    side_by_side::Region memory;
};

void report(benchmark::State& state, const side_by_side::Best& best) {
    state.SetIterationTime(best.first);
    state.counters["ns"] = best.first * 1e9;
    state.counters["gmp_ns"] = best.second * 1e9;
    state.counters["over_gmp"] = best.first / best.second;
}

mp_limb_t* limbs(Word* w) {
    return reinterpret_cast<mp_limb_t*>(w);
}

template <class F>
void beside_gmp(benchmark::State& state, bool square, F&& f) {
    static Operands o;
    const u64 n = static_cast<u64>(state.range(0));
    const auto gmp = [&] {
        if (square) {
            mpn_sqr(limbs(o.t), limbs(o.a), static_cast<mp_size_t>(n));
        } else {
            mpn_mul_n(limbs(o.t), limbs(o.a), limbs(o.b), static_cast<mp_size_t>(n));
        }
        benchmark::ClobberMemory();
    };
    const auto ours = [&] {
        f(o, n);
        benchmark::ClobberMemory();
    };
    for (auto _ : state) report(state, side_by_side::best_of(ours, gmp, 9, 0.004));
}

void small_mul(benchmark::State& state) {
    beside_gmp(state, false, [](Operands& o, u64 n) {
        if (n < karatsuba_thresholds().mul64) {
            mul_basecase(o.t, o.a, n, o.b, n);
        } else {
            mul_karatsuba(o.t, o.a, n, o.b, n, o.memory.view().word_pointer(), serial_context());
        }
    });
}

void small_sqr(benchmark::State& state) {
    beside_gmp(state, true, [](Operands& o, u64 n) {
        if (n < karatsuba_thresholds().sqr64) {
            sqr_basecase(o.t, o.a, n);
        } else {
            sqr_karatsuba(o.t, o.a, n, o.memory.view().word_pointer(), serial_context());
        }
    });
}

void small_full(benchmark::State& state) {
    beside_gmp(state, false, [](Operands& o, u64 n) {
        multiply_full({serial_context(), o.memory.view(), nullptr}, o.t, o.a, n, o.b, n);
    });
}

BENCHMARK(small_mul)->DenseRange(1, 80)->Iterations(1)->UseManualTime();
BENCHMARK(small_sqr)->DenseRange(1, 80)->Iterations(1)->UseManualTime();
BENCHMARK(small_full)->DenseRange(1, 80)->Iterations(1)->UseManualTime();

}  // namespace
