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
inline constexpr unsigned kShortRunBytes = 5000002;

// Many seconds are left after the start.
inline const std::vector<std::string> kLongRun = {"custom", "pi", "-dec:50m", "-o", "out"};
inline const std::vector<std::string> kShortRun = {"custom", "pi", "-dec:5m", "-o", "out"};

// At its last phases it has seconds left, so that an interrupt there must stop it.
inline const std::vector<std::string> kLateRun = {"custom", "pi", "-dec:20m", "-o", "out"};
inline constexpr const char* kLateMoment = "Base Converting:";

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
inline void expect_said(const TemporaryFolder& folder, const std::string& text) {
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
        EXPECT_EQ(std::filesystem::file_size(folder / kFile), kShortRunBytes);
    }
}

// An interrupt at a moment of the long run stops it.
inline void expect_stopped_early(const TemporaryFolder& folder, const std::string& text, int exit_code,
                                 int exit_code_of_interrupted) {
    EXPECT_EQ(exit_code, exit_code_of_interrupted) << text;
    expect_said(folder, text);
    EXPECT_FALSE(std::filesystem::exists(folder / kFile));
}

// The short run may be faster than the interrupt; it has then done its work.
inline void expect_stopped_or_complete(const TemporaryFolder& folder, const std::string& text, int exit_code,
                                       int exit_code_of_interrupted) {
    if (count(text, "Verified: ") == 1 && count(text, "Interrupted. ") == 0) {
        EXPECT_TRUE(exit_code == 0 || exit_code == exit_code_of_interrupted) << text;
        EXPECT_EQ(std::filesystem::file_size(folder / kFile), kShortRunBytes);
    } else {
        EXPECT_EQ(exit_code, exit_code_of_interrupted) << text;
        expect_said(folder, text);
    }
}

}  // namespace kalvor_test
