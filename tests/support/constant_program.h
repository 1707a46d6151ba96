// A constant by the whole program: its digit files against a reference, and what is refused.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/run_program.h"

namespace kalvor_test {

// The label of a run's hash of the decimal digits.
inline constexpr const char* kDecHash = "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) =";

// One road to a constant.
struct Road {
    std::string word;
    std::vector<std::string> options;
    std::string name, algorithm;  // of the files
    // What a file of so many digits holds.
    std::function<std::string(unsigned base, unsigned long digits)> text;
};

// Runs "custom" in the folder; its files go to "out" there.
inline ProgramRun run_custom(const TemporaryFolder& folder, const std::string& word, unsigned long digits,
                             const std::vector<std::string>& more) {
    RunOptions options;
    options.folder = folder.path();
    std::vector<std::string> arguments = {
        "pause:-2", "skip-warnings", "custom", word, "-dec:" + std::to_string(digits), "-o", "out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_kalvor(arguments, options);
}

// Decimal and hexadecimal digits of the road, every one.
inline void check_digits(const Road& road, unsigned long digits, const std::string& tasks) {
    TemporaryFolder folder;
    std::vector<std::string> more = road.options;
    more.insert(more.end(), {"-hex:1", "-TD:" + tasks});
    const ProgramRun run = run_custom(folder, road.word, digits, more);
    const std::string what = road.word + " " + road.algorithm + " " + std::to_string(digits);
    ASSERT_EQ(run.exit_code, 0) << what << "\n" << run.out;
    ASSERT_FALSE(run.has("Cancellation")) << run.out;
    const std::string tail = " - " + road.algorithm + ".txt";
    const std::string dec = "out/" + road.name + " - Dec" + tail, hex = "out/" + road.name + " - Hex" + tail;
    ASSERT_EQ(files_but_validation(folder), (std::vector<std::string>{dec, hex})) << what;
    ASSERT_TRUE(read_file(folder / dec) == road.text(10, digits)) << what;
    const std::string hexadecimal = read_file(folder / hex);
    const std::size_t point = hexadecimal.find('.');
    ASSERT_NE(point, std::string::npos);
    ASSERT_TRUE(hexadecimal == road.text(16, hexadecimal.size() - point - 1)) << what;
}

// Words of "custom" and the sentence that refuses them. Nothing is allocated or written.
struct Refusal {
    std::vector<std::string> words;
    const char* text;
};
inline void check_refusals(const std::vector<Refusal>& refusals) {
    for (const auto& [words, text] : refusals) {
        TemporaryFolder folder;
        const ProgramRun run =
            run_custom(folder, words.front(), 1000, std::vector<std::string>(words.begin() + 1, words.end()));
        EXPECT_EQ(run.exit_code, 1) << text;
        EXPECT_TRUE(run.has(text)) << text << "\n" << run.err;
        EXPECT_FALSE(run.has("Working Memory")) << text;
        EXPECT_TRUE(folder.files().empty()) << text;
    }
}

}  // namespace kalvor_test
