// The memory that a run really takes is the memory that it announced.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>

#include "app/session/memory_plan.h"
#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_kalvor;
using kalvor_test::TemporaryFolder;

// Sanitizers keep memory of their own beside the program's.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr double kMiB = 1024.0 * 1024.0;

// "34.5 MiB, locked" in bytes; not a number when it is not a size.
double bytes_of(const std::string& text) {
    std::istringstream words(text);
    double number = 0;
    std::string unit;
    if (!(words >> number >> unit)) return std::nan("");
    unit = unit.substr(0, unit.find(','));
    const char* const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    for (const char* name : units) {
        if (unit == name) return number;
        number *= 1024;
    }
    return std::nan("");
}

double peak_bytes(const ProgramRun& run) {
    return static_cast<double>(run.peak_kib) * 1024;
}

ProgramRun compute(const std::string& digits, const std::string& tasks, const std::string& allocator,
                   const std::string& output = "-od:1", const std::string& constant = "pi") {
    TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    return run_kalvor({"skip-warnings", "custom", constant, "-dec:" + digits, "-TD:" + tasks, "-PF:spawn",
                       "-MA:" + allocator, "-hex:1", output},
                      options);
}

double announced_bytes(const ProgramRun& run) {
    return bytes_of(run.value("Working Memory: ")) + bytes_of(run.value("Twiddle Tables: "));
}

void expect_as_announced(const ProgramRun& run) {
    ASSERT_EQ(run.exit_code, 0) << run.out;
    const double announced = announced_bytes(run);
    ASSERT_GT(announced, 0) << run.out;
    EXPECT_NEAR(peak_bytes(run), announced, 0.05 * announced + 16 * kMiB) << run.out;
}

TEST(MemoryTest, SmallRunsShowTheSizeOfWhatTheyDoNotNeedOnce) {
    const ProgramRun run = compute("1000", "1", "mmap");
    ASSERT_EQ(run.exit_code, 0) << run.out;
    EXPECT_EQ(run.value("Twiddle Tables:"), "0 bytes");
    EXPECT_NE(run.value("Working Memory:").find("spread: ?"), std::string::npos) << run.out;
}

// What is compared with the machine's memory counts everything in: the program, its threads and the writer.
TEST(SlowMemoryTest, TheDemandIsNotBelowThePeak) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    kalvor::ComputeSettings settings;
    settings.set_decimal_digits(20000000);
    for (const char* framework : {"none", "spawn", "pushpool", "cilk"}) {
        for (const trel::u64 tasks : {1, 16}) {
            settings.parallelism.task_decomposition = tasks;
            const kalvor::MemoryPlan plan = kalvor::RunPlan::make(settings, settings.size).memory;
            TemporaryFolder folder;
            kalvor_test::RunOptions options;
            options.folder = folder.path();
            const ProgramRun run =
                run_kalvor({"skip-warnings", "custom", "pi", "-dec:20m", "-TD:" + std::to_string(tasks),
                            std::string("-PF:") + framework},
                           options);
            ASSERT_EQ(run.exit_code, 0) << run.out;
            const double total = static_cast<double>(plan.total());
            EXPECT_LE(peak_bytes(run), total) << framework << ' ' << tasks;
            EXPECT_GE(peak_bytes(run), total - 8 * kMiB) << framework << ' ' << tasks;
        }
    }
}

// More than the machines that run tests have.
TEST(MemoryTest, WhatCannotBeHadIsRefusedWithTheSizeThatFits) {
    TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    const ProgramRun run =
        run_kalvor({"skip-warnings", "custom", "pi", "-dec:10t", "-o", "new/deeper"}, options);
    const std::string said = run.out + run.err;
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_NE(said.find("There is insufficient physical memory.\nThe computation needs 4"), std::string::npos)
        << said;
    EXPECT_NE(said.find(" are free: at most "), std::string::npos) << said;
    EXPECT_NE(said.find("0,000 digits.\nChoose fewer digits. On a command line -force:1 runs it anyway."),
              std::string::npos)
        << said;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(MemoryTest, AMillionDigits) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    for (const char* tasks : {"1", "2", "7"})
        for (const char* allocator : {"mmap", "malloc"}) expect_as_announced(compute("1m", tasks, allocator));
}

// The stress test uses all of the memory that it was given, and little more.
TEST(MemoryTest, TheStressTestStaysWithinWhatItWasGiven) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    TemporaryFolder folder;
    const ProgramRun run = kalvor_test::run_in(
        folder, {"stress", "BKT", "FFT", "-pertest:1", "-total:2", "-M:128M", "-cores:0"});
    ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_GE(peak_bytes(run), 128 * kMiB) << run.out;
    EXPECT_LE(peak_bytes(run), (128 + 64) * kMiB) << run.out;
}

// However long the file: its digits are not all read.
TEST(MemoryTest, ViewingDigitsTakesLittleMoreThanTheProgram) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    TemporaryFolder folder;
    folder.write("a.txt", "3." + std::string(50000000, '1'));
    const ProgramRun about = kalvor_test::run_in(folder, {"about"});
    const ProgramRun view =
        kalvor_test::run_in(folder, {"digitviewer", "a.txt", "view", "-start:25000000", "-digits:100000"});
    ASSERT_EQ(about.exit_code, 0);
    ASSERT_EQ(view.exit_code, 0) << view.err;
    EXPECT_LE(peak_bytes(view), peak_bytes(about) + 8 * kMiB);
}

// Beyond what is announced a run takes only the program's fixed part, which the smallest run shows. A digit
// file would add its writer's buffer of 4 MiB, which small files do not fill.
TEST(SlowMemoryTest, TenMillionDigits) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    for (const char* tasks : {"1", "2", "7"}) {
        const ProgramRun small = compute("1m", tasks, "mmap", "-od:0");
        const ProgramRun run = compute("10m", tasks, "mmap", "-od:0");
        ASSERT_EQ(small.exit_code, 0) << small.out;
        ASSERT_EQ(run.exit_code, 0) << run.out;
        const double fixed = peak_bytes(small) - announced_bytes(small);
        const double announced = announced_bytes(run);
        EXPECT_LT(fixed, 16 * kMiB) << small.out;
        EXPECT_NEAR(peak_bytes(run) - fixed, announced, 0.03 * announced) << tasks << " tasks";
        EXPECT_LT(announced, 6.0 * 10000000) << tasks << " tasks";
    }
}

// The same for the other constants; bytes a digit. Gamma takes as long as all others together, so that it has
// two million digits: of fewer, 3 % are no more than the pages of its own code, which the small run may not
// have met.
TEST(SlowMemoryTest, TenMillionDigitsOfOtherConstants) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    const struct {
        const char* constant;
        double bytes, millions = 10;
    } cases[] = {{"sqrt:2", 4.5}, {"goldenratio", 4.5}, {"e", 5.3},        {"log:2", 5.8},
                 {"zeta3", 6.3},  {"catalan", 6.3},     {"lemniscate", 8}, {"gamma", 8, 2}};
    for (const auto& [constant, bytes, millions] : cases) {
        const bool full = millions == 10;
        const ProgramRun small = compute(full ? "1m" : "100k", "2", "mmap", "-od:0", constant);
        const ProgramRun run = compute(full ? "10m" : "2m", "2", "mmap", "-od:0", constant);
        ASSERT_EQ(small.exit_code, 0) << small.out;
        ASSERT_EQ(run.exit_code, 0) << run.out;
        const double fixed = peak_bytes(small) - announced_bytes(small);
        const double announced = announced_bytes(run);
        EXPECT_NEAR(peak_bytes(run) - fixed, announced, 0.03 * announced) << constant;
        EXPECT_LT(announced, bytes * millions * 1000000) << constant;
    }
}

// Very many tasks take no more memory to speak of.
TEST(SlowMemoryTest, ManyTasks) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    for (const char* digits : {"1m", "10m"}) {
        const ProgramRun one = compute(digits, "1", "mmap"), many = compute(digits, "64", "mmap");
        ASSERT_EQ(one.exit_code, 0) << one.out;
        ASSERT_EQ(many.exit_code, 0) << many.out;
        EXPECT_LT(announced_bytes(many), 1.3 * announced_bytes(one)) << digits;
    }
}

TEST(SlowMemoryTest, ManyTasksOfOtherConstants) {
    if (kSanitized) GTEST_SKIP() << "the sanitizer's own memory counts too";
    for (const auto& [constant, digits] :
         std::initializer_list<std::pair<const char*, const char*>>{{"sqrt:2", "1m"},
                                                                    {"sqrt:2", "10m"},
                                                                    {"e", "1m"},
                                                                    {"e", "10m"},
                                                                    {"log:2", "1m"},
                                                                    {"zeta3", "1m"},
                                                                    {"catalan", "1m"},
                                                                    {"lemniscate", "1m"}}) {
        const ProgramRun one = compute(digits, "1", "mmap", "-od:0", constant);
        const ProgramRun many = compute(digits, "64", "mmap", "-od:0", constant);
        ASSERT_EQ(one.exit_code, 0) << one.out;
        ASSERT_EQ(many.exit_code, 0) << many.out;
        EXPECT_LT(announced_bytes(many), 1.3 * announced_bytes(one)) << constant;
    }
}

}  // namespace
