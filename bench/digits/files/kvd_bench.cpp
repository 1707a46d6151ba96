// Digits to words and back beside plain loops, and compressed files beside what they are made of.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "digits/files/basic_kvd_set_reader.h"
#include "digits/files/basic_kvd_set_writer.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/files/digit_packing.h"
#include "digits/files/word_digits.h"
#include "platform/memory/guarded_heap.h"
#include "platform/parallel/framework_registry.h"

namespace {

using namespace kalvor;
using trel::u64;
using trel::u8;
using trel::Word;

// Words that stay in the second-level cache with their digits.
constexpr u64 kWords = 16384;

std::vector<Word> random_words(u64 n) {
    std::vector<Word> words(n);
    u64 x = 1;
    for (Word& w : words) {
        x = x * 6364136223846793005ULL + 1442695040888963407ULL;
        w = (x ^ x >> 29) % (kLargestDecimalWord + 1);
    }
    return words;
}

std::vector<u8> digits_of(const std::vector<Word>& words) {
    std::vector<u8> values(19 * words.size());
    word_digits().decimal(values.data(), words.data(), words.size());
    return values;
}

// Bytes are digits.
void label(benchmark::State& state, u64 digits) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * digits));
    state.SetLabel(digit_packing().isa);
}

void plain_pack(benchmark::State& state) {
    const std::vector<u8> values = digits_of(random_words(kWords));
    std::vector<Word> words(kWords);
    for (auto _ : state) {
        for (u64 i = 0; i < kWords; i++) {
            Word word = 0;
            for (u64 d = 0; d < 19; d++) word = 10 * word + values[19 * i + d];
            words[i] = word;
        }
        benchmark::DoNotOptimize(words.data());
    }
    label(state, 19 * kWords);
}
void unpack_decimal(benchmark::State& state) {
    const std::vector<Word> words = random_words(kWords);
    std::vector<u8> values(19 * kWords);
    for (auto _ : state) {
        word_digits().decimal(values.data(), words.data(), kWords);
        benchmark::DoNotOptimize(values.data());
    }
    label(state, 19 * kWords);
}
void pack_decimal(benchmark::State& state) {
    const std::vector<u8> values = digits_of(random_words(kWords));
    std::vector<u8> out(8 * kWords + 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(digit_packing().decimal(out.data() + 3, values.data(), kWords));
    label(state, 19 * kWords);
}
void pack_hexadecimal(benchmark::State& state) {
    std::vector<u8> values = digits_of(random_words(kWords));
    std::vector<u8> out(8 * kWords + 3);
    for (auto _ : state)
        benchmark::DoNotOptimize(digit_packing().hexadecimal(out.data() + 3, values.data(), kWords));
    label(state, 16 * kWords);
}
// The argument is r.
void shift_decimal(benchmark::State& state) {
    const std::vector<Word> words = random_words(kWords + 1);
    std::vector<u8> out(8 * kWords + 3);
    for (auto _ : state) {
        digit_packing().shift_decimal(out.data() + 3, words.data(), kWords,
                                      static_cast<trel::u32>(state.range(0)));
        benchmark::DoNotOptimize(out.data());
    }
    label(state, 19 * kWords);
}
void plain_shift(benchmark::State& state) {
    const std::vector<Word> words = random_words(kWords + 1);
    std::vector<Word> out(kWords);
    Word power = 1, rest = 1;
    for (int64_t i = 0; i < 19 - state.range(0); i++) power *= 10;
    for (int64_t i = 0; i < state.range(0); i++) rest *= 10;
    benchmark::DoNotOptimize(power);
    for (auto _ : state) {
        for (u64 i = 0; i < kWords; i++) out[i] = words[i] % power * rest + words[i + 1] / power;
        benchmark::DoNotOptimize(out.data());
    }
    label(state, 19 * kWords);
}

// ---- one file of 100 million digits

constexpr u64 kFileDigits = 100000000;
constexpr u64 kFileWords = (kFileDigits + 18) / 19;
constexpr u64 kStepWords = 16384;
constexpr const char* kBase = "bench digits";

// As the session writes: words, their digits, hash and counts; each step to the file when there is one.
u64 statistics(const std::vector<Word>& words, BasicDigitWriter* writer) {
    std::vector<u8> values(19 * kStepWords);
    u64 counts[16] = {}, hash = 0;
    for (u64 done = 0; done < kFileWords; done += kStepWords) {
        const u64 n = std::min(kStepWords, kFileWords - done);
        const u64 digits = std::min(19 * n, kFileDigits - 19 * done);
        word_digits().decimal(values.data(), words.data() + done, n);
        digit_kernels().count(counts, values.data(), digits, 10);
        hash = extend_digit_hash(hash, values.data(), digits, 10);
        if (writer != nullptr) {
            writer->store_words({words.data() + done, values.data(), 19 * done}, 19 * done, digits, {},
                                trel::serial_context());
        }
    }
    return hash + counts[3];
}

void file_statistics_alone(benchmark::State& state) {
    const std::vector<Word> words = random_words(kFileWords);
    for (auto _ : state) benchmark::DoNotOptimize(statistics(words, nullptr));
    label(state, kFileDigits);
}
void file_plain_store(benchmark::State& state) {
    const trel::GuardedBuffer bytes(4 << 20, 4096);
    std::memset(bytes.get(), 7, bytes.size());
    for (auto _ : state) {
        trel::FileIO::RawFile file("bench plain", trel::FileIO::OpenMode::create, true);
        for (u64 at = 0; at < 8 * kFileWords; at += bytes.size()) file.store(bytes.get(), at, bytes.size());
        file.flush();
    }
    label(state, kFileDigits);
    std::remove("bench plain");
}
// The argument is the window in KiB.
void file_write(benchmark::State& state) {
    const std::vector<Word> words = random_words(kFileWords);
    for (auto _ : state) {
        BasicKvdSetWriter writer(kBase, "3.", 10, 0, kFileDigits, static_cast<u64>(state.range(0)) << 10);
        benchmark::DoNotOptimize(statistics(words, &writer));
        writer.close();
    }
    label(state, kFileDigits);
    std::remove((std::string(kBase) + " - 0.kvd").c_str());
}

struct WrittenFile {
    WrittenFile() {
        BasicKvdSetWriter writer(kBase, "3.", 10, 0, kFileDigits);
        (void)statistics(random_words(kFileWords), &writer);
        writer.close();
    }
    ~WrittenFile() { std::remove(path().c_str()); }
    static std::string path() { return std::string(kBase) + " - 0.kvd"; }
};

void file_plain_load(benchmark::State& state) {
    const WrittenFile written;
    const trel::GuardedBuffer bytes(4 << 20, 4096);
    for (auto _ : state) {
        trel::FileIO::RawFile file(WrittenFile::path(), trel::FileIO::OpenMode::read, true);
        for (u64 at = 0; at < 8 * kFileWords; at += bytes.size()) {
            benchmark::DoNotOptimize(file.load_available(bytes.get(), at, bytes.size()));
        }
    }
    label(state, kFileDigits);
}
// The argument is the number of tasks.
void file_load_stats(benchmark::State& state) {
    const WrittenFile written;
    const trel::GuardedBuffer scratch(4 << 20, 4096);
    const auto framework = trel::make_default_framework_config("spawn")->make_framework();
    for (auto _ : state) {
        BasicKvdSetReader reader(WrittenFile::path());
        DigitRangeStats stats(10);
        reader.load_stats(stats, 0, kFileDigits, trel::AlignedBufferC(scratch.get(), scratch.size()),
                          {framework.get(), static_cast<u64>(state.range(0))});
        benchmark::DoNotOptimize(stats.hash);
    }
    label(state, kFileDigits);
}

}  // namespace

BENCHMARK(plain_pack);
BENCHMARK(pack_decimal);
BENCHMARK(pack_hexadecimal);
BENCHMARK(unpack_decimal);
BENCHMARK(plain_shift)->Arg(11);
BENCHMARK(shift_decimal)->Arg(1)->Arg(11)->Arg(18);
BENCHMARK(file_statistics_alone)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(file_plain_store)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(file_write)->RangeMultiplier(4)->Range(256, 16384)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(file_plain_load)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(file_load_stats)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
