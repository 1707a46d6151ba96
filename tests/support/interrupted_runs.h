// Runs of the program that tests interrupt, on either system: at which moments, and what must be left then.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace kalvor_test {

inline constexpr const char* kDraft = "out/Pi - Dec - Chudnovsky (incomplete).txt";
inline constexpr const char* kFile = "out/Pi - Dec - Chudnovsky.txt";

// Many seconds are left after the start.
inline const std::vector<std::string> kLongRun = {"custom", "pi", "-dec:50m", "-o", "out"};
inline const std::vector<std::string> kShortRun = {"custom", "pi", "-dec:5m", "-o", "out"};
inline constexpr unsigned kShortRunBytes = 5000002;
// The same moments with more work left behind them.
inline const std::vector<std::string> kLateRun = {"custom", "pi", "-dec:20m", "-o", "out"};
inline constexpr unsigned kLateRunBytes = 20000002;

// A moment is what the program has printed by then.
inline const std::vector<std::string> kMomentsOfLongRun = {
    "Multi-Threading:", "Start Time:", "Working Memory: ", "Twiddle Tables: ", "Begin Computation:"};
inline const std::vector<std::string> kMomentsOfShortRun = {
    "Large Division",          "InvSqrt",
    "Base Converting:",        "Verifying Base Conversion:",
    "Writing Decimal Digits:", "Verifying Decimal Output:"};

inline int count(const std::string& text, const std::string& what) {
    int n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) n++;
    return n;
}

// What is left must be what was said.
inline void expect_said(const TemporaryFolder& folder, const std::string& text, unsigned bytes) {
    ASSERT_EQ(count(text, "Interrupted. "), 1) << text;
    EXPECT_EQ(text.find("xception"), std::string::npos) << text;
    std::string line = text.substr(text.find("Interrupted. "));
    line = line.substr(0, line.find_first_of("\r\n"));
    const bool draft = std::filesystem::exists(folder / kDraft);
    const bool file = std::filesystem::exists(folder / kFile);
    std::string kept = draft ? kDraft : file ? kFile : "";
    // The run may have come to its validation file.
    for (const std::string& name : folder.files()) {
        if (name.starts_with("out/Pi - 2")) kept += ", " + name;
    }
    EXPECT_EQ(line, kept.empty() ? "Interrupted. Nothing was kept." : "Interrupted. Kept: " + kept);
    if (file) {
        EXPECT_EQ(std::filesystem::file_size(folder / kFile), bytes);
    }
}

// An interrupt at a moment of the long run stops it.
inline void expect_stopped_early(const TemporaryFolder& folder, const std::string& text, int exit_code,
                                 int exit_code_of_interrupted) {
    EXPECT_EQ(exit_code, exit_code_of_interrupted) << text;
    expect_said(folder, text, 0);
    EXPECT_FALSE(std::filesystem::exists(folder / kFile));
}

// A run may be faster than the interrupt; it has then done its work, and this is false.
inline bool expect_stopped_or_complete(const TemporaryFolder& folder, const std::string& text, int exit_code,
                                       int exit_code_of_interrupted, unsigned bytes = kShortRunBytes) {
    if (count(text, "Verified: ") == 1 && count(text, "Interrupted. ") == 0) {
        EXPECT_TRUE(exit_code == 0 || exit_code == exit_code_of_interrupted) << text;
        EXPECT_EQ(std::filesystem::file_size(folder / kFile), bytes);
        return false;
    }
    EXPECT_EQ(exit_code, exit_code_of_interrupted) << text;
    expect_said(folder, text, bytes);
    // The series, the numbers or the digits: the run was not at its last report.
    return count(text, "Verified: ") == 0;
}

// An interrupt at a late moment stops the run. attempt(folder) interrupts one, expects the above of it and
// says whether it was stopped. Little is left behind the last moments, so several runs may try; but not all
// of them may be complete.
template <class Attempt>
void expect_stopped_late(const Attempt& attempt) {
    constexpr int kAttempts = 5;
    for (int i = 0; i < kAttempts; i++) {
        const TemporaryFolder folder;
        if (attempt(folder) || testing::Test::HasFailure()) return;
    }
    ADD_FAILURE() << kAttempts << " runs were complete before the interrupt";
}

}  // namespace kalvor_test
