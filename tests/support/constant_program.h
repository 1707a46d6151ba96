// A constant by the whole program: its digit files against a reference, and what is refused.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
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

// Runs the program in the folder, and never waits for a key.
inline ProgramRun run_in_folder(const TemporaryFolder& folder, std::vector<std::string> arguments) {
    RunOptions options;
    options.folder = folder.path();
    arguments.insert(arguments.begin(), {"pause:-2", "skip-warnings"});
    return run_kalvor(arguments, options);
}

// The same with "custom", whose files go to "out" there.
inline ProgramRun run_custom(const TemporaryFolder& folder, const std::string& word, unsigned long digits,
                             const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"custom", word, "-dec:" + std::to_string(digits), "-o", "out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_in_folder(folder, std::move(arguments));
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

// Each road at several lengths, with one, two and seven tasks.
inline void check_every_road(const std::vector<Road>& roads, bool all_lengths = true) {
    for (const Road& road : roads) {
        for (const unsigned long digits : {100UL, 101UL, 1000UL, 10000UL}) {
            if (digits != 100 && digits != 10000 && !all_lengths) continue;
            check_digits(road, digits, digits % 2 == 0 ? "2" : "1");
        }
        check_digits(road, 1000, "7");
    }
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
