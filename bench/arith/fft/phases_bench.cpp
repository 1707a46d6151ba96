// What the phases of a product cost, in nanoseconds of the best turn: cutting and the first two radices
// (twice), the streams (twice), leaves and inverse streams, the last radices with joining.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <random>
#include <vector>

#include "arith/fft/fft_parameters.h"
#include "arith/fft/fft_transform.h"
#include "base/simd/isa.h"

namespace {

using namespace trel;

template <class F>
double best_ns(F&& f) {
    double best = 1e30;
    for (int round = 0; round < 20; round++) {
        constexpr int kRepeats = 50;
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kRepeats; i++) f();
        const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
        best = std::min(best, time.count() / kRepeats);
    }
    return best;
}

void phases(benchmark::State& state) {
    const u64 n = static_cast<u64>(state.range(0));
    const FftKernels& kernels = fft_kernels();
    const FftTransform t(kernels, fft_parameter_table()[fft_entry_for(128 * n)], nullptr);
    const FftPlan& plan = t.plan();
    std::mt19937_64 rng(1);
    std::vector<Word> a(n), r(2 * n);
    for (Word& w : a) w = rng();
    double* const x =
        static_cast<double*>(std::aligned_alloc(1 << 21, (t.data_bytes() + (1 << 21)) & ~u64((1 << 21) - 1)));
    double* const y =
        static_cast<double*>(std::aligned_alloc(1 << 21, (t.data_bytes() + (1 << 21)) & ~u64((1 << 21) - 1)));
    const u8* const operand = reinterpret_cast<const u8*>(a.data());
    const FftWindow window{reinterpret_cast<u8*>(r.data()), 0, 16 * n};
    i64 carry[2 * FftPlan::kMaxStreams];
    double distance = 0;  // measured as in a product
    const u64 columns = plan.columns(), streams = plan.streams();
    for (auto _ : state) {
        t.forward(serial_context(), y, a.data(), n, nullptr);
        const double top = best_ns([&] { kernels.forward_top(plan, x, operand, 8 * n, 0, columns); });
        const double rest = best_ns([&] {
            kernels.forward_top(plan, x, operand, 8 * n, 0, columns);
            kernels.forward_streams(plan, x, 0, streams);
        });
        const double leaves = best_ns([&] { kernels.inverse_streams(plan, x, y, y, 0, streams); });
        const double last =
            best_ns([&] { kernels.inverse_top(plan, window, x, 0, columns, carry, &distance); });
        state.counters["2_tops"] = 2 * top;
        state.counters["2_streams"] = 2 * (rest - top);
        state.counters["inverse_streams"] = leaves;
        state.counters["inverse_top"] = last;
        state.counters["sum"] = 2 * rest + leaves + last;
    }
    std::free(x);
    std::free(y);
    state.SetLabel(isa_name(active_isa()));
}

BENCHMARK(phases)
    ->Arg(41)
    ->Arg(80)
    ->Arg(128)
    ->Arg(256)
    ->Arg(512)
    ->Arg(1024)
    ->Arg(1130)
    ->Arg(1600)
    ->Iterations(1);

}  // namespace
