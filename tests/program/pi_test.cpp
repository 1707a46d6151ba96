// Pi by the whole program, on disk, for every combination of tasks, framework, instruction set and algorithm:
// the digits are MPFR's, up to a million; beyond that two algorithms, run in different ways, agree with each
// other.
#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "base/simd/isa.h"
#include "platform/sysinfo/system_record.h"
#include "reference/mpfr_pi.h"
#include "support/effort.h"
#include "support/run_program.h"

namespace {

using kalvor_test::mpfr_pi_decimal;
using kalvor_test::mpfr_pi_hexadecimal;
using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

// A thread takes sixty times as long to start under Wine.
#ifdef KALVOR_SLOW_THREADS
constexpr bool kSlowThreads = true;
#else
constexpr bool kSlowThreads = false;
#endif

constexpr const char* kAlgorithmShort[] = {"Chudnovsky", "Ramanujan", "Chudnovsky (reduced)",
                                           "Ramanujan (reduced)"};

struct Case {
    int algorithm;
    int tasks;
    const char* framework;
    const char* isa;  // "": the program's choice
};

std::string name(const Case& c) {
    return std::string(kAlgorithmShort[c.algorithm]) + ", " + std::to_string(c.tasks) + " tasks, " +
           c.framework + ", " + c.isa;
}

bool available(const std::string& isa) {
    if (isa.empty()) return true;
    for (const trel::Isa level : trel::available_isas()) {
        if (isa == trel::isa_name(level)) return true;
    }
    return false;
}

ProgramRun compute(const Case& c, unsigned long digits, const TemporaryFolder& folder,
                   std::vector<std::string> more = {}) {
    RunOptions options;
    options.environment = {std::string("KALVOR_ISA=") + c.isa};
    options.folder = folder.path();
    std::vector<std::string> arguments = {"skip-warnings",
                                          "custom",
                                          "pi",
                                          "-dec:" + std::to_string(digits),
                                          "-algorithm:" + std::to_string(c.algorithm),
                                          "-TD:" + std::to_string(c.tasks),
                                          std::string("-PF:") + c.framework,
                                          "-o",
                                          "out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_kalvor(arguments, options);
}

std::string file_name(const Case& c, bool hexadecimal = false) {
    return std::string("out/Pi - ") + (hexadecimal ? "Hex" : "Dec") + " - " + kAlgorithmShort[c.algorithm] +
           ".txt";
}

// Runs the case and compares the file it wrote with the digits that are wanted, and its report with the file.
void check(const Case& c, unsigned long digits, const std::string& wanted) {
    if (!available(c.isa)) return;
    TemporaryFolder folder;
    const ProgramRun run = compute(c, digits, folder);
    ASSERT_EQ(run.exit_code, 0) << name(c) << "\n" << run.out;
    ASSERT_EQ(kalvor_test::files_but_validation(folder), std::vector<std::string>{file_name(c)}) << name(c);
    // EXPECT_EQ would print megabytes
    ASSERT_TRUE(read_file(folder / file_name(c)) == wanted) << name(c) << ", " << digits << " digits";
}

// Of 72, every step-th: a step without a divisor in common with them still meets every value of every
// parameter.
std::vector<Case> every_combination(unsigned step = 1) {
    std::vector<Case> cases;
    for (int algorithm = 0; algorithm < 4; algorithm++)
        for (const int tasks : {1, 2, 7})
            for (const char* framework : {"none", "spawn", "cilk"})
                for (const char* isa : {"avx512", "avx2"})
                    if (available(isa)) cases.push_back({algorithm, tasks, framework, isa});
    std::vector<Case> chosen;
    for (std::size_t i = 0; i < cases.size(); i += step) chosen.push_back(cases[i]);
    return chosen;
}

TEST(PiTest, EveryCombinationAt100Digits) {
    const std::string wanted = mpfr_pi_decimal(100);
    for (const Case& c : every_combination()) check(c, 100, wanted);
}

TEST(PiTest, EveryCombinationAt101Digits) {
    const std::string wanted = mpfr_pi_decimal(101);
    for (const Case& c : every_combination(kalvor_test::thinned(5))) check(c, 101, wanted);
}

TEST(PiTest, EveryCombinationAt10000Digits) {
    const std::string wanted = mpfr_pi_decimal(10000);
    for (const Case& c : every_combination(kalvor_test::thinned(5))) {
        if (!kSlowThreads || c.algorithm == 0) check(c, 10000, wanted);
    }
}

// Beyond the 28 digits at which a sign counted twice would show.
TEST(PiTest, ConsecutiveDigitCounts) {
    for (unsigned long digits = 100; digits < 160; digits += kalvor_test::thinned_under_wine_too(7)) {
        check({0, 1, "none", ""}, digits, mpfr_pi_decimal(digits));
    }
}

TEST(PiTest, HexadecimalDigits) {
    for (const unsigned long digits : {100UL, 101UL, 12345UL}) {
        const Case c{0, 2, "spawn", ""};
        TemporaryFolder folder;
        const ProgramRun run = compute(c, digits, folder, {"-hex:1"});
        ASSERT_EQ(run.exit_code, 0) << run.out;
        const std::string hex = read_file(folder / file_name(c, true));
        ASSERT_GT(hex.size(), 2U);
        EXPECT_TRUE(hex == mpfr_pi_hexadecimal(hex.size() - 2)) << digits;
        EXPECT_TRUE(read_file(folder / file_name(c)) == mpfr_pi_decimal(digits));
        EXPECT_TRUE(run.has("Verifying Hexadecimal Output")) << run.out;
        EXPECT_TRUE(run.has("Verifying Decimal Output")) << run.out;
    }
    TemporaryFolder folder;
    const ProgramRun off = compute({0, 1, "none", ""}, 1000, folder, {"-hex:0"});
    EXPECT_EQ(off.value("Hexadecimal Digits:"), "Disabled");
    EXPECT_EQ(kalvor_test::files_but_validation(folder).size(), 1U);
}

TEST(PiTest, TheReportSaysWhatWasDone) {
    TemporaryFolder folder;
    const ProgramRun run = compute({1, 2, "spawn", ""}, 1000, folder, {"-MA:malloc"});
    ASSERT_EQ(run.exit_code, 0) << run.out;
    EXPECT_EQ(run.value("Version:"), trel::get_os_version());
    EXPECT_EQ(run.value("Processor(s):"), trel::processor_name());
    EXPECT_EQ(run.value("Topology:"), trel::topology_text(trel::gather_system_record(false).topology));
    EXPECT_NE(run.value("CPU Base Frequency:").find(" Hz"), std::string::npos) << run.out;
    EXPECT_EQ(run.value("Constant:"), "Pi");
    EXPECT_EQ(run.value("Algorithm:"), "Ramanujan (1910)");
    EXPECT_EQ(run.value("Decimal Digits:"), "1,000");
    EXPECT_EQ(run.value("Hexadecimal Digits:"), "Disabled");
    EXPECT_EQ(run.value("Computation Mode:"), "Ram Only");
    EXPECT_EQ(run.value("Multi-Threading:"), "Thread Spawn (1 Thread/Task)  ->  2 / ?");
    EXPECT_TRUE(run.has("Pi - Ramanujan (1910):")) << run.out;
    EXPECT_NE(run.value("Working Memory: "), "");
    EXPECT_NE(run.value("Twiddle Tables: "), "");
    EXPECT_NE(run.value("Total Computation Time: "), "");
    EXPECT_NE(run.value("Start-to-End Wall Time: "), "");
    EXPECT_EQ(run.value("Pre-Write Hash = "), run.value("Read-Back Hash = "));
    EXPECT_NE(run.value("Pre-Write Hash = "), "");
    EXPECT_EQ(run.value("Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) ="), run.value("Read-Back Hash = "));
    EXPECT_TRUE(run.has("CPU Utilization:        ")) << run.out;
}

TEST(PiTest, OutputAndVerificationCanBeSwitchedOff) {
    TemporaryFolder folder;
    const ProgramRun run = compute({0, 1, "none", ""}, 1000, folder, {"-od:0", "-verify:0"});
    ASSERT_EQ(run.exit_code, 0) << run.out;
    EXPECT_TRUE(kalvor_test::files_but_validation(folder).empty());
    EXPECT_EQ(folder.files().size(), 1U);
    // The conversion is verified whatever the options say.
    EXPECT_TRUE(run.has("Verifying Base Conversion:")) << run.out;
    EXPECT_FALSE(run.has("Verifying Decimal Output:")) << run.out;
    EXPECT_TRUE(run.has("Processing Decimal Digits:")) << run.out;
}

// Twelve runs that take every value of every parameter several times.
TEST(SlowPiTest, AMillionDigits) {
    const std::string wanted = mpfr_pi_decimal(1000000);
    const Case cases[] = {
        {0, 1, "none", "avx512"}, {0, 2, "spawn", "avx512"},   {0, 7, "cilk", "avx2"},
        {1, 1, "spawn", "avx2"},  {1, 2, "none", "avx512"},    {1, 7, "pushpool", "avx512"},
        {2, 1, "none", "avx2"},   {2, 2, "winpool", "avx2"},   {2, 7, "none", "avx512"},
        {3, 1, "cilk", "avx512"}, {3, 2, "taskqueue", "avx2"}, {3, 7, "cppasync", "avx512"}};
    for (const Case& c : cases) check(c, 1000000, wanted);
    TemporaryFolder folder;
    const ProgramRun run = compute({0, 2, "spawn", ""}, 1000000, folder, {"-hex:1"});
    ASSERT_EQ(run.exit_code, 0) << run.out;
    const std::string hex = read_file(folder / file_name({0, 2, "spawn", ""}, true));
    EXPECT_TRUE(hex == mpfr_pi_hexadecimal(hex.size() - 2));
}

// Six runs: the digits of all agree, by two algorithms that share no series, and so do the hashes; memory
// stays within its bounds.
TEST(SlowPiTest, TenMillionDigits) {
    const Case cases[] = {{0, 1, "none", "avx512"}, {1, 2, "spawn", "avx512"}, {2, 7, "spawn", "avx2"},
                          {3, 2, "cilk", "avx512"}, {0, 2, "cilk", "avx2"},    {1, 7, "none", "avx512"}};
    std::string first, hash;
    for (const Case& c : cases) {
        if (!available(c.isa)) continue;
        TemporaryFolder folder;
        const ProgramRun run = compute(c, 10000000, folder);
        ASSERT_EQ(run.exit_code, 0) << name(c) << "\n" << run.out;
        const std::string digits = read_file(folder / file_name(c));
        ASSERT_EQ(digits.size(), 10000002U);
        if (first.empty()) {
            first = digits;
            hash = run.value("Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) =");
            ASSERT_NE(hash, "");
        }
        EXPECT_TRUE(digits == first) << name(c);
        EXPECT_EQ(run.value("Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) ="), hash) << name(c);
        EXPECT_LT(run.peak_kib * 1024.0, 16.0 * 10000000) << name(c) << ": bytes a digit";
    }
    EXPECT_TRUE(first.substr(0, 1000002) == mpfr_pi_decimal(1000000));
}

}  // namespace
