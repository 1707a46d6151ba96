// The checksum of blocks beside copying the same bytes and beside merely reading them.
// range(0): bytes in memory; range(1): bytes a block
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "platform/fileio/block_checksum.h"

namespace {

using namespace trel;
using namespace trel::FileIO;

std::vector<u64> words(const benchmark::State& state) {
    std::vector<u64> memory(static_cast<std::size_t>(state.range(0)) / 8);
    u64 x = 1;
    for (u64& word : memory) word = x = x * 6364136223846793005U + 1442695040888963407U;
    return memory;
}

void checksum(benchmark::State& state, Isa isa) {
    if (isa == Isa::avx512 && available_isas().size() < 2) return state.SkipWithError("this processor has no AVX-512");
    const std::vector<u64> memory = words(state);
    const u64 block = static_cast<u64>(state.range(1)), n = static_cast<u64>(state.range(0)) / block;
    std::vector<u32> sums(n);
    for (auto _ : state) {
        block_checksums(isa, sums.data(), memory.data(), n, block, 1);
        benchmark::DoNotOptimize(sums.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void copy(benchmark::State& state) {
    const std::vector<u64> memory = words(state);
    std::vector<u64> target(memory.size());
    for (auto _ : state) {
        std::memcpy(target.data(), memory.data(), 8 * memory.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// The end of a search that finds nothing: every byte is read, none written.
void read(benchmark::State& state) {
    std::vector<u64> memory = words(state);
    char* bytes = reinterpret_cast<char*>(memory.data());
    const std::size_t n = 8 * memory.size();
    for (std::size_t i = 0; i < n; i++) bytes[i] |= 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::memchr(bytes, 0, n));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Args({1 << 14, 4096})->Args({1 << 18, 4096})->Args({1 << 18, 1 << 18})->Args({1 << 28, 1 << 18});
}
BENCHMARK_CAPTURE(checksum, avx512, Isa::avx512)->Apply(sizes);
BENCHMARK_CAPTURE(checksum, avx2, Isa::avx2)->Apply(sizes);
BENCHMARK(copy)->Arg(1 << 14)->Arg(1 << 18)->Arg(1 << 28);
BENCHMARK(read)->Arg(1 << 14)->Arg(1 << 18)->Arg(1 << 28);

}  // namespace
