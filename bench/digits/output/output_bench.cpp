// Bytes of digits per second in one task: words to digit values, and the whole of an output pass.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <vector>

#include "digits/files/word_digits.h"
#include "digits/output/float_writer.h"

namespace {

using namespace kalvor;
using trel::i64;
using trel::u64;
using trel::u8;
using trel::Word;

std::vector<Word> random_words(u64 n) {
    std::mt19937_64 rng(n);
    std::vector<Word> words(n);
    for (Word& w : words) w = rng() % 10000000000000000000ULL;
    return words;
}

void Decimal(benchmark::State& state) {
    const std::vector<Word> words = random_words(8192);
    std::vector<u8> values(19 * words.size());
    for (auto _ : state) {
        word_digits().decimal(values.data(), words.data(), words.size());
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(values.size()));
    state.SetLabel(word_digits().isa);
}

void Hexadecimal(benchmark::State& state) {
    const std::vector<Word> words = random_words(8192);
    std::vector<u8> values(16 * words.size());
    for (auto _ : state) {
        word_digits().hexadecimal(values.data(), words.data(), words.size());
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<i64>(values.size()));
    state.SetLabel(word_digits().isa);
}

// A writer whose radix words are random: what is measured does not depend on them.
struct Writing {
    explicit Writing(u64 digits)
        : value(random_words(digits / 19 + 6)),
          plan(WriterPlan::make(value.size(), digits, digits, digits, false, 1)),
          memory(std::aligned_alloc(64, plan.needs.bytes)),
          x(value.data(), value.size()) {
        x.L = value.size();
        x.exp = 1 - static_cast<i64>(x.L);
    }
    ~Writing() { std::free(memory); }
    FloatWriterB writer() {
        FloatWriterB w(plan, {trel::serial_context(), {memory, plan.needs.bytes}, nullptr},
                       trel::null_status(), x);
        std::copy_n(value.begin(), plan.conversion.n, w.radix_words());
        return w;
    }
    std::vector<Word> value;
    WriterPlan plan;
    void* memory;
    trel::BigFloat x;
};

void Statistics(benchmark::State& state) {
    Writing s(static_cast<u64>(state.range(0)));
    FloatWriterB writer = s.writer();
    for (auto _ : state) benchmark::DoNotOptimize(writer.stat_dec_digits().hash);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void HexStatistics(benchmark::State& state) {
    Writing s(static_cast<u64>(state.range(0)));
    FloatWriterB writer = s.writer();
    for (auto _ : state) benchmark::DoNotOptimize(writer.stat_hex_digits().hash);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void WriteAndReadBack(benchmark::State& state) {
    Writing s(static_cast<u64>(state.range(0)));
    FloatWriterB writer = s.writer();
    const std::string base = (std::filesystem::temp_directory_path() / "kalvor-output-bench").string();
    const DigitFormat& format = digit_format(kTextFormat);
    double write = 0, read = 0;
    for (auto _ : state) {
        const auto sink = format.make_sink(base, {10, s.plan.output_digits});
        const auto file = sink->make_writer(writer.first_dec_digits(), nullptr);
        const OutputStats stats = writer.write_dec_digits(*file);
        file->publish();
        write += stats.seconds;
        const auto start = std::chrono::steady_clock::now();
        writer.read_check(base + ".txt", stats, 10);
        read += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    std::filesystem::remove(base + ".txt");
    const double bytes = static_cast<double>(state.iterations() * state.range(0));
    state.counters["write_MB/s"] = bytes / write * 1e-6;
    state.counters["read_MB/s"] = bytes / read * 1e-6;
}

BENCHMARK(Decimal);
BENCHMARK(Hexadecimal);
BENCHMARK(Statistics)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(HexStatistics)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteAndReadBack)->Arg(10000000)->Unit(benchmark::kMillisecond);

}  // namespace
