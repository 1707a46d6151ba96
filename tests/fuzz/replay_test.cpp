// The seeds of the fuzzers, and some thousand simple mutations of them, without a fuzzer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <vector>

#include "fuzz/counted_memory.h"
#include "fuzz/targets.h"

namespace {

std::vector<std::string> seeds_of(const std::string& target) {
    std::vector<std::filesystem::path> paths;
    const std::filesystem::path source = KALVOR_SOURCE_FOLDER;
    for (const auto& file : std::filesystem::directory_iterator(source / "tests/fuzz/seeds" / target)) {
        paths.push_back(file.path());
    }
    if (target == "formula") {
        for (const auto& file : std::filesystem::directory_iterator(source / "Custom Formulas")) {
            paths.push_back(file.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<std::string> seeds;
    for (const auto& path : paths) {
        std::ifstream in(path, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    return seeds;
}

// What any input may take: one that promises much gets no more.
constexpr std::size_t kMostMemory = std::size_t(64) << 20;

// The memory that the target has taken beyond what was there.
std::size_t memory_of(const fuzz::Target& target, std::string_view input) {
    const std::size_t before = fuzz::CountedMemory::now;
    fuzz::CountedMemory::begin();
    target.run(input);
    return fuzz::CountedMemory::most - before;
}

// Every seed, and so many mutations of each.
void replay(const fuzz::Target& target, int mutations) {
    const std::vector<std::string> seeds = seeds_of(target.name);
    ASSERT_GE(seeds.size(), 5u);
    std::mt19937_64 random(20240229);
    const auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
    const std::string marks("\"\\/:,[]{}-\r\n \t0A\0\xff", 19);
    for (const std::string& seed : seeds) {
        ASSERT_LE(memory_of(target, seed), kMostMemory);
        for (int i = 0; i < mutations; i++) {
            std::string input = seed;
            for (size_t changes = 1 + pick(4); changes > 0 && !input.empty(); changes--) {
                const size_t at = pick(input.size());
                switch (pick(5)) {
                    case 0:
                        input[at] = marks[pick(marks.size())];
                        break;
                    case 1:
                        input.insert(at, 1, marks[pick(marks.size())]);
                        break;
                    case 2:
                        input.erase(at, 1 + pick(8));
                        break;
                    case 3:
                        input[at] = static_cast<char>(input[at] ^ (1 << pick(8)));
                        break;
                    default: {
                        const std::string& other = seeds[pick(seeds.size())];
                        input.insert(at, other.substr(0, pick(other.size() + 1)));
                    }
                }
            }
            ASSERT_LE(memory_of(target, input), kMostMemory);
        }
    }
}

TEST(FuzzMemoryTest, WhatATargetTakesIsCounted) {
    static std::size_t wanted;
    const fuzz::Target taker = {"taker", [](std::string_view input) {
                                    const std::string first(wanted, input[0]), second(1000, input[0]);
                                    fuzz::require(first[0] == second[0], "both are there");
                                }};
    for (const std::size_t bytes : {std::size_t(5000), kMostMemory}) {
        wanted = bytes;
        EXPECT_GT(memory_of(taker, "x"), bytes + 1000);
        EXPECT_LT(memory_of(taker, "x"), bytes + 2000);
    }
}

class FuzzReplayTest : public testing::TestWithParam<fuzz::Target> {};

TEST_P(FuzzReplayTest, SeedsAndTheirMutations) {
    replay(GetParam(), 500);
}

// What needs rooms that the fuzzer's program does not have is tried here as often as it is there: a part of
// it in every run of the slow suite; KALVOR_FUZZ_INPUTS=1000000 is all.
int inputs_or(int usual) {
    const char* const asked = std::getenv("KALVOR_FUZZ_INPUTS");
    return asked == nullptr ? usual : std::atoi(asked);
}

TEST(SlowFormulaReplayTest, ManyFormulas) {
    const fuzz::Target formula = {"formula", fuzz::formula};
    replay(formula, inputs_or(200000) / static_cast<int>(seeds_of("formula").size()) + 1);
}

class SlowFuzzReplayTest : public testing::TestWithParam<const char*> {};

TEST_P(SlowFuzzReplayTest, ManyInputs) {
    const int inputs = inputs_or(50000);
    const std::string name = GetParam();
    const auto* const target = std::find_if(std::begin(fuzz::kTargets), std::end(fuzz::kTargets),
                                            [&](const fuzz::Target& known) { return name == known.name; });
    ASSERT_NE(target, std::end(fuzz::kTargets));
    replay(*target, inputs / static_cast<int>(seeds_of(name).size()) + 1);
}

INSTANTIATE_TEST_SUITE_P(SlowWholeProgram, SlowFuzzReplayTest,
                         testing::Values("digit_text", "kvd_file", "spot_check", "custom_settings",
                                         "options"),
                         [](const auto& info) { return std::string(info.param); });

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplayTest, testing::ValuesIn(fuzz::kTargets),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(FuzzReplayDeathTest, ABrokenPropertyEndsTheProcess) {
    EXPECT_DEATH(fuzz::require(false, "water flows uphill"), "does not hold: water flows uphill");
}

}  // namespace
