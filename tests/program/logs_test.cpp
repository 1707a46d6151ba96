// Logarithms by the whole program: the digits are MPFR's by both formulas, and what cannot be computed is
// refused before anything is.
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include <filesystem>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

constexpr const char* kHash = "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) =";

// floor(ln n base^digits), with its point.
std::string logarithm(unsigned long n, unsigned base, unsigned long digits) {
    mpz_class scale;
    mpz_ui_pow_ui(scale.get_mpz_t(), base, digits);
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(mpz_sizeinbase(scale.get_mpz_t(), 2) + 128));
    mpfr_log_ui(x, n, MPFR_RNDN);
    mpfr_mul_z(x, x, scale.get_mpz_t(), MPFR_RNDD);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    std::string text = z.get_str(static_cast<int>(base));
    if (text.size() <= digits) text.insert(0, digits + 1 - text.size(), '0');
    text.insert(text.size() - digits, ".");
    return text;
}

ProgramRun compute(const TemporaryFolder& folder, const std::string& word, unsigned long digits,
                   const std::vector<std::string>& more) {
    RunOptions options;
    options.folder = folder.path();
    std::vector<std::string> arguments = {
        "skip-warnings", "custom", word, "-dec:" + std::to_string(digits), "-o", "out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_kalvor(arguments, options);
}

void check(unsigned long n, const std::string& algorithm, unsigned long digits, const std::string& tasks) {
    TemporaryFolder folder;
    const std::string word = "log:" + std::to_string(n);
    const ProgramRun run =
        compute(folder, word, digits, {"-algorithm:" + algorithm, "-hex:1", "-TD:" + tasks});
    const std::string what = word + " " + algorithm + " " + std::to_string(digits);
    ASSERT_EQ(run.exit_code, 0) << what << "\n" << run.out;
    ASSERT_FALSE(run.has("Cancellation")) << run.out;
    const std::string tail =
        std::string(" - Machin (") + (algorithm == "0" ? "primary" : "secondary") + ").txt";
    const std::string name = "out/Log(" + std::to_string(n) + ")";
    const std::string dec = name + " - Dec" + tail, hex = name + " - Hex" + tail;
    ASSERT_EQ(kalvor_test::files_but_validation(folder), (std::vector<std::string>{dec, hex})) << what;
    ASSERT_TRUE(read_file(folder / dec) == logarithm(n, 10, digits)) << what;
    const std::string hexadecimal = read_file(folder / hex);
    const std::size_t point = hexadecimal.find('.');
    ASSERT_NE(point, std::string::npos);
    ASSERT_TRUE(hexadecimal == logarithm(n, 16, hexadecimal.size() - point - 1)) << what;
}

constexpr unsigned long kArguments[] = {2, 3, 10, 11, 97, 251, 257, 1000003, 2147483647};

TEST(LogsTest, DigitsByBothFormulas) {
    for (const unsigned long n : kArguments) {
        for (const char* algorithm : {"0", "1"}) {
            check(n, algorithm, 100, "1");
            check(n, algorithm, 101, "2");
            check(n, algorithm, 1000, "7");
        }
        check(n, n % 2 == 0 ? "0" : "1", 10000, "2");
    }
}

TEST(SlowLogsTest, AHundredThousandDigitsAndAMillion) {
    for (const unsigned long n : kArguments) {
        for (const char* algorithm : {"0", "1"}) {
            check(n, algorithm, 10000, "1");
            check(n, algorithm, 100000, "2");
        }
    }
    for (const char* algorithm : {"0", "1"}) {
        check(2, algorithm, 1000000, "1");
        check(1000003, algorithm, 1000000, "2");
    }
}

TEST(SlowLogsTest, TenMillionDigits) {
    TemporaryFolder folder;
    const ProgramRun first = compute(folder, "log:10", 10000000, {"-od:0", "-verify:0"});
    const ProgramRun second = compute(folder, "log:10", 10000000, {"-od:0", "-verify:0", "-algorithm:1"});
    ASSERT_EQ(first.exit_code, 0) << first.out;
    EXPECT_NE(first.value(kHash), "");
    EXPECT_EQ(first.value(kHash), second.value(kHash));
}

TEST(LogsTest, TheReportNamesTheConstant) {
    TemporaryFolder folder;
    const ProgramRun run = compute(folder, "log:10", 1000, {});
    EXPECT_EQ(run.value("Constant:"), "Log(10)");
    EXPECT_EQ(run.value("Algorithm:"), "Primary Machin-like Formula (4 terms)");
    EXPECT_TRUE(run.has("\nLog( 10 )\n478 ArcCoth( 251 ):\nSeries CommonP2B3...  ")) << run.out;
    EXPECT_TRUE(run.has("\n-126 ArcCoth( 4801 ):\n")) << run.out;
    EXPECT_TRUE(run.has("\nAccumulate...\nTime: ")) << run.out;
    const ProgramRun series = compute(folder, "log:2", 1000000, {"-od:0"});
    EXPECT_EQ(series.value("Verified:").find("residues of "), 0u) << series.out;
}

// Nothing is allocated or written.
TEST(LogsTest, Refusals) {
    const struct {
        std::vector<std::string> words;
        const char* text;
    } cases[] = {{{"log"}, "Argument must be greater than 1."},
                 {{"log:1"}, "Argument must be greater than 1."},
                 {{"log:-5"}, "Argument must be greater than 1."},
                 {{"log:2147483648"}, "2147483648 is out of range."},
                 {{"log:two"}, "\"two\" is not a number."},
                 {{"log:2", "-algorithm:2"}, "Invalid Algorithm: 2"},
                 {{"log:2", "-algorithm:agm"}, "Invalid Algorithm: agm"}};
    for (const auto& [words, text] : cases) {
        TemporaryFolder folder;
        RunOptions options;
        options.folder = folder.path();
        std::vector<std::string> arguments = {"pause:-2", "skip-warnings", "custom"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        arguments.insert(arguments.end(), {"-dec:1000", "-o", "out"});
        const ProgramRun run = run_kalvor(arguments, options);
        EXPECT_EQ(run.exit_code, 1) << text;
        EXPECT_TRUE(run.has(text)) << text << "\n" << run.err;
        EXPECT_FALSE(run.has("Working Memory")) << text;
        EXPECT_TRUE(folder.files().empty()) << text;
    }
}

}  // namespace
