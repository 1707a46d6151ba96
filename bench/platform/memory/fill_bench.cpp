// Filling memory that is mapped already (against memset) and getting a fresh region filled, by task count and kind of page.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "platform/memory/allocate_heap.h"
#include "platform/memory/fill_pattern.h"
#include "platform/memory/mmap_allocator.h"
#include "platform/parallel/framework_registry.h"

namespace {

using namespace trel;

void fill(benchmark::State& state) {
    std::vector<char> memory(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        fill_memory(memory.data(), memory.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void set(benchmark::State& state) {
    std::vector<char> memory(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::memset(memory.data(), 0x55, memory.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// range(0): bytes; range(1): tasks
void fresh_region(benchmark::State& state, const char* allocator, bool lock) {
    const auto framework = make_default_framework_config("spawn")->make_framework();
    const auto config = make_default_allocator_config(allocator);
    if (auto* mmap = dynamic_cast<MmapConfig*>(config.get())) mmap->locked_pages.set(lock ? "attempt" : "disabled");
    const ParallelContext context{framework.get(), static_cast<u64>(state.range(1))};
    for (auto _ : state) {
        u64 bytes = static_cast<u64>(state.range(0));
        const auto region = config->allocate(context, 12, bytes);
        if (!region->pointer()) state.SkipWithError("no memory");
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(fill)->Arg(1 << 14)->Arg(1 << 20)->Arg(1 << 28);
BENCHMARK(set)->Arg(1 << 14)->Arg(1 << 20)->Arg(1 << 28);
BENCHMARK_CAPTURE(fresh_region, mmap, "mmap", false)->Args({1 << 30, 1})->Args({1 << 30, 8})->UseRealTime();
BENCHMARK_CAPTURE(fresh_region, mmap_locked, "mmap", true)->Args({1 << 30, 1})->Args({1 << 30, 8})->UseRealTime();
BENCHMARK_CAPTURE(fresh_region, malloc, "malloc", false)->Args({1 << 30, 1})->Args({1 << 30, 8})->UseRealTime();

}  // namespace
