// Runs that write compressed digit files: the same digits as in text, cut as the option says.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_in;
using kalvor_test::TemporaryFolder;

// What the viewer makes of a set.
std::string as_text(const TemporaryFolder& folder, const std::string& file, const std::string& end) {
    const ProgramRun run = run_in(folder, {"digitviewer", file, "extract", "-end:" + end, "-to", "back"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    std::string text = read_file(folder / "back.txt");
    std::filesystem::remove(folder / "back.txt");
    return text;
}

std::uintmax_t size_of(const TemporaryFolder& folder, const std::string& file) {
    return std::filesystem::file_size(folder / file);
}

TEST(CompressedTest, SetsOfBothRadicesHoldTheDigitsOfTheTextFiles) {
    TemporaryFolder folder;
    const ProgramRun text = run_in(folder, {"custom", "pi", "-dec:2500k", "-hex:1"});
    ASSERT_EQ(text.exit_code, 0) << text.out << text.err;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:2500k", "-hex:1", "-C:1m", "-o", "set"});
    ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
    for (const char* radix : {"Dec", "Hex"}) {
        const std::string name = std::string("Pi - ") + radix + " - Chudnovsky";
        for (const char* id : {"0", "1", "2"}) {
            EXPECT_TRUE(std::filesystem::exists(folder / ("set/" + name + " - " + id + ".kvd")))
                << name << id;
        }
        EXPECT_FALSE(std::filesystem::exists(folder / ("set/" + name + " - 3.kvd")));
        EXPECT_FALSE(std::filesystem::exists(folder / ("set/" + name + ".txt")));
        const std::string digits = read_file(folder / (name + ".txt"));
        EXPECT_TRUE(as_text(folder, "set/" + name + " - 2.kvd", std::to_string(digits.size() - 2)) == digits);
    }
    // 195 bytes of header and 52632 words of 19 digits.
    EXPECT_EQ(size_of(folder, "set/Pi - Dec - Chudnovsky - 0.kvd"), 421251u);
    const char* const hash = "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) =";
    EXPECT_EQ(run.value(hash), text.value(hash));
    EXPECT_TRUE(run.value("Verified:").ends_with(", conversion, written files")) << run.out;
}

TEST(CompressedTest, OneFileOfAllDigits) {
    TemporaryFolder folder;
    ASSERT_EQ(run_in(folder, {"custom", "pi", "-dec:1200000"}).exit_code, 0);
    for (const char* option : {"-C:-1", "-compress:9m"}) {
        const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:1200000", option, "-o", "set"});
        ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "set/Pi - Dec - Chudnovsky - 1.kvd"));
        EXPECT_TRUE(as_text(folder, "set/Pi - Dec - Chudnovsky - 0.kvd", "1200000") ==
                    read_file(folder / "Pi - Dec - Chudnovsky.txt"));
    }
}

}  // namespace
