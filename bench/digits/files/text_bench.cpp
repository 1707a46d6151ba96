// Digit values to characters and back, counting, hashing; writing a text file and reading its statistics.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "digits/files/basic_text_reader.h"
#include "digits/files/basic_text_writer.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "platform/memory/guarded_heap.h"

namespace {

using namespace kalvor;
using trel::u64;
using trel::u8;

std::vector<u8> digits(u64 n) {
    std::vector<u8> values(n);
    u64 x = 1;
    for (u8& v : values) {
        x = x * 6364136223846793005ULL + 1442695040888963407ULL;
        v = static_cast<u8>((x >> 33) % 10);
    }
    return values;
}

void label(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetLabel(digit_kernels().isa);
}

void to_text(benchmark::State& state) {
    const std::vector<u8> values = digits(static_cast<u64>(state.range(0)));
    std::vector<char> text(values.size());
    for (auto _ : state) benchmark::DoNotOptimize(digit_kernels().to_text(text.data(), values.data(), text.size(), 10));
    label(state);
}
void to_values(benchmark::State& state) {
    std::vector<u8> values = digits(static_cast<u64>(state.range(0)));
    std::vector<char> text(values.size());
    (void)digit_kernels().to_text(text.data(), values.data(), text.size(), 10);
    for (auto _ : state) benchmark::DoNotOptimize(digit_kernels().to_values(values.data(), text.data(), text.size(), 10));
    label(state);
}
void count(benchmark::State& state) {
    const std::vector<u8> values = digits(static_cast<u64>(state.range(0)));
    u64 counts[16] = {};
    for (auto _ : state) digit_kernels().count(counts, values.data(), values.size(), 10);
    benchmark::DoNotOptimize(counts[3]);
    label(state);
}
void hash(benchmark::State& state) {
    const std::vector<u8> values = digits(static_cast<u64>(state.range(0)));
    u64 h = 0;
    for (auto _ : state) h = extend_digit_hash(h, values.data(), values.size(), 10);
    benchmark::DoNotOptimize(h);
    label(state);
}

void write_file(benchmark::State& state) {
    const std::vector<u8> values = digits(static_cast<u64>(state.range(0)));
    for (auto _ : state) {
        BasicTextWriter writer("bench digits", "3.", 10, values.size());
        writer.store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
        writer.close();
    }
    label(state);
    std::remove("bench digits.txt");
}
void read_stats(benchmark::State& state) {
    const std::vector<u8> values = digits(static_cast<u64>(state.range(0)));
    BasicTextWriter writer("bench digits", "3.", 10, values.size());
    writer.store_digits(values.data(), 0, values.size(), {}, trel::serial_context());
    const auto reader = writer.close_and_get_basic_reader();
    const trel::GuardedBuffer scratch(4 << 20, 4096);
    for (auto _ : state) {
        DigitRangeStats stats(10);
        reader->load_stats(stats, 0, values.size(), trel::AlignedBufferC(scratch.get(), scratch.size()),
                           trel::serial_context());
        benchmark::DoNotOptimize(stats.hash);
    }
    label(state);
    std::remove("bench digits.txt");
}

BENCHMARK(to_text)->Arg(1 << 14)->Arg(1 << 26);
BENCHMARK(to_values)->Arg(1 << 14)->Arg(1 << 26);
BENCHMARK(count)->Arg(1 << 14)->Arg(1 << 26);
BENCHMARK(hash)->Arg(1 << 14)->Arg(1 << 26);
BENCHMARK(write_file)->Arg(1 << 26)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(read_stats)->Arg(1 << 26)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
