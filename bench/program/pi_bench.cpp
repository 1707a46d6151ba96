// Pi by the whole program, output and verification off, against the GMP yardstick in the same run. The
// program's time is the "Total Computation Time" that it prints. More than one task run on the default
// framework.
//   KALVOR_BENCH_DIGITS=100000000 adds a size, and runs everything once instead of three times
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "gmp_chudnovsky.h"

namespace {

// Runs the program and returns its "Total Computation Time" in seconds.
double run_kalvor(unsigned long digits, int tasks) {
    const std::string command =
        std::string(KALVOR_PROGRAM) + " pause:-2 skip-warnings custom pi -dec:" + std::to_string(digits) +
        " -o pi-bench -od:0 -verify:0 -TD:" + std::to_string(tasks) + (tasks == 1 ? " -PF:none" : "");
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    double seconds = -1;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::sscanf(line, "Total Computation Time: %lf", &seconds);
    }
    return pclose(pipe) == 0 ? seconds : -1;
}

void BM_Kalvor(benchmark::State& state) {
    for (auto _ : state) {
        const double seconds =
            run_kalvor(static_cast<unsigned long>(state.range(0)), static_cast<int>(state.range(1)));
        if (seconds < 0) state.SkipWithError("the program failed");
        state.SetIterationTime(seconds);
    }
}

void BM_Gmp(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(gmp_pi(static_cast<unsigned long>(state.range(0))));
}

void sizes(benchmark::internal::Benchmark* bench, bool tasks) {
    long list[] = {1000000, 10000000, 0};
    if (const char* text = std::getenv("KALVOR_BENCH_DIGITS")) list[2] = std::atol(text);
    for (const long digits : list) {
        if (digits == 0) continue;
        if (tasks) {
            bench->Args({digits, 1})->Args({digits, 2});
        } else {
            bench->Arg(digits);
        }
    }
    bench->Unit(benchmark::kMillisecond)->Iterations(list[2] == 0 ? 3 : 1);
}

BENCHMARK(BM_Kalvor)->Apply([](auto* b) { sizes(b, true); }) -> UseManualTime();
BENCHMARK(BM_Gmp)->Apply([](auto* b) { sizes(b, false); });

}  // namespace
