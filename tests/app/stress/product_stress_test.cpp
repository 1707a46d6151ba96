// The sizes of the tests and the way of a worker through its memory.
#include "app/stress/product_stress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "app/stress/product_worker.h"
#include "app/stress/stress_settings.h"
#include "arith/m61/m61.h"
#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "support/scratch.h"

namespace kalvor {
namespace {

constexpr u64 kMiB = u64(1) << 20;

const ProductStress& product(const char* tag) {
    return dynamic_cast<const ProductStress&>(*find_stress_test(tag));
}

TEST(StressTestsTest, NineInTheirOrder) {
    const char* const rows[9][4] = {
        {"BKT", "Basecase + Karatsuba", "words", "Scalar Integer"},
        {"BBP", "BBP Digit Extraction", "terms", "AVX512 Float"},
        {"SFT", "Small In-Cache FFT", "bits", "AVX512 Float"},
        {"FFT", "Fast Fourier Transform", "bits", "AVX512 Float"},
        {"N32", "Classic NTT (32-bit)", "blocks", "AVX512 Integer"},
        {"N64", "Classic NTT (64-bit)", "blocks", "AVX512 Integer"},
        {"HNT", "Hybrid NTT", "blocks", "Mixed Workload"},
        {"VST", "Vector Transform", "blocks", "AVX512 Float"},
        {"C17", "Code 17 Experiment", "blocks", "AVX512 Mixed"},
    };
    const StressTests tests = stress_tests();
    ASSERT_EQ(tests.size(), 9u);
    for (u64 i = 0; i < 9; i++) {
        const StressTest::Texts& texts = tests[i]->texts();
        EXPECT_STREQ(texts.tag, rows[i][0]);
        EXPECT_STREQ(texts.name, rows[i][1]);
        EXPECT_STREQ(texts.unit, rows[i][2]);
        EXPECT_STREQ(texts.component, rows[i][3]);
        EXPECT_STREQ(texts.tag, kStressTags[i]);
        EXPECT_EQ(tests[i]->is_small(), i < 3);
        EXPECT_EQ(find_stress_test(rows[i][0]), tests[i]);
    }
    for (const char* tag : {"", "bkt", "BKT ", "XYZ"}) EXPECT_EQ(find_stress_test(tag), nullptr) << tag;
}

TEST(StressSizesTest, SmallTestsHaveOneSize) {
    const StressTest &bkt = *find_stress_test("BKT"), &bbp = *find_stress_test("BBP"),
                     &sft = *find_stress_test("SFT");
    for (const u64 bytes : {kMiB, 64 * kMiB, 2048 * kMiB}) {
        EXPECT_EQ(bkt.size_for(bytes), 512u);
        EXPECT_EQ(bbp.size_for(bytes), 65536u);
        EXPECT_EQ(sft.size_for(bytes), sft.size_for(kMiB));
    }
    EXPECT_EQ(bkt.size_for(0), 0u);
    EXPECT_EQ(sft.size_for(0), 0u);
    EXPECT_EQ(bbp.size_for(0), 65536u);
    const u64 least = product_bytes(product("BKT").algorithm(), 512);
    EXPECT_EQ(bkt.size_for(least), 512u);
    EXPECT_EQ(bkt.size_for(least - 64), 0u);
}

// The largest product whose output, transform and scratch fit into 262144 bytes.
TEST(StressSizesTest, TheSmallTransformStaysInTheCache) {
    const MultiplyAlgorithm& fft = *find_algorithm(TableSlot::basic64, "FFT")->algorithm;
    const auto bytes = [&](u64 bits) {
        const MultiplySizes s = fft.sizes((bits + 63) / 64);
        return s.output + s.transform_data + s.transform_scratch;
    };
    const u64 bits = product("SFT").size_for(kMiB);
    EXPECT_GT(bits, 100000u);
    EXPECT_LE(bits, 786432u);
    EXPECT_LE(bytes(bits), 262144u);
    if (bits < 786432) {
        EXPECT_GT(bytes(bits + 1), 262144u);
    }
    EXPECT_EQ(product("SFT").operand_words(kMiB), bits / 128);
}

struct Family {
    const char* tag;
    u64 block, longest;
};
constexpr Family kFamilies[] = {{"FFT", 4224, 100663296 / 128}, {"N32", 5376, u64(1) << 20},
                                {"N64", 9216, u64(1) << 20},    {"HNT", 64, u64(1) << 20},
                                {"VST", 38912, u64(1) << 22},   {"C17", 36352, u64(1) << 22}};

TEST(StressSizesTest, TheLargestOperandThatFits) {
    for (const Family& family : kFamilies) {
        const ProductStress& test = product(family.tag);
        EXPECT_EQ(test.operand_words(0), 0u);
        EXPECT_EQ(test.size_for(0), 0u);
        EXPECT_EQ(test.size_for(64), 0u) << family.tag;
        for (const u64 bytes : {kMiB, 10 * kMiB + 4096, 64 * kMiB, 2048 * kMiB, u64(1) << 45}) {
            const u64 words = test.operand_words(bytes), budget = bytes / family.block * family.block;
            SCOPED_TRACE(std::string(family.tag) + " " + std::to_string(bytes));
            ASSERT_GT(words, 0u);
            EXPECT_LE(words, family.longest);
            EXPECT_LE(product_bytes(test.algorithm(), words), budget);
            if (words < family.longest) {
                EXPECT_GT(product_bytes(test.algorithm(), words + 1), budget);
            }
            if (std::string(family.tag) == "FFT") {
                EXPECT_EQ(test.size_for(bytes), 128 * words);
            } else {
                EXPECT_EQ(test.size_for(bytes), bytes / family.block);
            }
        }
        EXPECT_EQ(test.operand_words(u64(1) << 45), family.longest);
    }
}

TEST(StressSizesTest, WhatAProductTakes) {
    for (const Family& family : kFamilies) {
        const MultiplyAlgorithm& algorithm = product(family.tag).algorithm();
        const u64 n = 5000;
        EXPECT_EQ(product_bytes(algorithm, n), 2 * 40000 + 80000 +
                                                   round_up_64(algorithm.sizes(2 * n).scratch) +
                                                   round_up_64(algorithm.table_bytes(2 * n)));
    }
}

// The operand of BKT, word by word in arithmetic of 128 bits.
TEST(ProductWorkerTest, TheOneOperand) {
    Word A[600];
    ProductWorker::fill_one_operand(A, 600);
    for (u64 i = 0; i < 600; i++) {
        const u64 x = static_cast<u64>(u128(2760727302517) * i + 8297481315922261837u);
        const u64 y = static_cast<u64>(u128(2760733047673) + i);
        const u64 xy = static_cast<u64>(u128(x) * y);
        EXPECT_EQ(A[i], static_cast<u64>(u128(static_cast<u64>(u128(xy) * y)) + 2760730175003));
    }
}

// What the worker does is seen at the place where faults are brought in.
class Seen {
  public:
    Seen() {
        fault.at = [this](u32, std::string_view, u64, void* product, u64 bytes) {
            places.insert(static_cast<const u8*>(product));
            n_bytes = bytes;
            hashes.push_back(m61::canonical(m61::hash_words(static_cast<Word*>(product), bytes / 8)));
        };
    }
    StressFault fault;
    std::set<const u8*> places;
    std::vector<u64> hashes;
    u64 n_bytes = 0;
};

// A core's memory, its monitor and what it computed.
struct Core {
    explicit Core(u64 bytes = kMiB) : scratch(bytes) {}
    WorkerPlace place(u32 core = 0, u64 seed = 0) {
        return {scratch.view(), core, seed, monitor, seen.fault};
    }

    const Scratch scratch;
    RunMonitor monitor;
    Seen seen;
};

void iterate(StressWorker& worker, u64 iterations) {
    for (u64 i = 0; i < iterations; i++) worker.iterate(i);
}

TEST(ProductWorkerTest, MovesThroughAllOfItsMemory) {
    for (const char* tag : {"FFT", "C17", "N64"}) {
        const ProductStress& test = product(tag);
        const u64 words = 3000, bytes = product_bytes(test.algorithm(), words);
        const u64 memory_bytes = round_up_64(bytes * 7 / 2);
        Core core(memory_bytes);
        ProductWorker worker(core.place(0, 1), tag, test.algorithm(), words, {false, true});
        ASSERT_GE(worker.places(), 3u);
        // No place reaches beyond the next one's beginning by more than a place, and the last ends with the
        // memory.
        const u64 tables = round_up_64(test.algorithm().table_bytes(2 * words));
        const u64 place = bytes - tables;
        EXPECT_EQ(worker.offset_of(0), 0u);
        for (u64 i = 1; i < worker.places(); i++) {
            EXPECT_GT(worker.offset_of(i), worker.offset_of(i - 1));
            EXPECT_LE(worker.offset_of(i), worker.offset_of(i - 1) + place);
            EXPECT_EQ(worker.offset_of(i) % 64, 0u);
        }
        EXPECT_EQ(worker.offset_of(worker.places() - 1) + place + tables, memory_bytes);
        EXPECT_EQ(worker.offset_of(worker.places()), 0u);
        iterate(worker, 2 * worker.places());
        EXPECT_EQ(core.seen.places.size(), worker.places());
        EXPECT_EQ(core.seen.n_bytes, 16 * words);
    }
}

TEST(ProductWorkerTest, OperandsAreNewEveryTime) {
    const ProductStress& test = product("SFT");
    const auto hashes = [&](u32 number, u64 seed) {
        Core core;
        iterate(*test.make_worker(core.place(number, seed)), 8);
        return core.seen.hashes;
    };
    std::set<u64> all;
    for (u32 core = 0; core < 3; core++) {
        for (u64 seed = 0; seed < 3; seed++) {
            const auto h = hashes(core, seed);
            all.insert(h.begin(), h.end());
            EXPECT_EQ(h, hashes(core, seed));
        }
    }
    EXPECT_EQ(all.size(), 9u * 8u);
}

// The algorithm of BKT, for algorithms that differ from it in their products.
class OfBasecase : public MultiplyAlgorithm {
  public:
    MultiplySizes sizes(u64 words) const override { return inner.sizes(words); }
    void make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const override {
        inner.make_transform(holder, words, context);
    }

  protected:
    const MultiplyAlgorithm& inner = product("BKT").algorithm();
};

// Squares go another way than products, and both are to be tried.
TEST(ProductWorkerTest, EveryFourthIterationMultiplies) {
    class Noted final : public OfBasecase {
      public:
        u64 sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L, u64 carried) const override {
            calls += 's';
            return inner.sqr(context, T, A, L, carried);
        }
        u64 mul(const MultiplyContext& context, Word* T, const Word* A, u64 LA, const Word* B, u64 LB,
                Carried carried) const override {
            calls += std::equal(A, A + LA, B, B + LB) ? '=' : 'm';
            return inner.mul(context, T, A, LA, B, LB, carried);
        }
        mutable std::string calls;
    };
    for (const bool one_operand : {false, true}) {
        const Noted noted;
        Core core;
        ProductWorker worker(core.place(), "SFT", noted, 300, {one_operand, false});
        iterate(worker, 8);
        EXPECT_EQ(noted.calls, one_operand ? "ssssssss" : "sssmsssm");
    }
}

TEST(ProductWorkerTest, AnOldProductIsNotTakenForANewOne) {
    // Does nothing after the first time.
    class Lazy final : public OfBasecase {
      public:
        u64 sqr(const MultiplyContext& context, Word* T, const Word* A, u64 L, u64 carried) const override {
            return calls++ == 0 ? inner.sqr(context, T, A, L, carried) : 0;
        }
        mutable int calls = 0;
    } lazy;
    Core core;
    ProductWorker worker(core.place(), "BKT", lazy, 512, {true, false});
    worker.iterate(0);
    EXPECT_THROW(worker.iterate(1), AlgorithmFailedException);
}

}  // namespace
}  // namespace kalvor
