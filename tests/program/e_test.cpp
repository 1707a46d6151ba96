// e by the whole program: both roads give MPFR's digits, and what cannot be computed is refused before
// anything is.
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

// e to n places, cut off.
std::string digits_of_e(unsigned base, unsigned long n) {
    mpz_class scale, z;
    mpz_ui_pow_ui(scale.get_mpz_t(), base, n);
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(mpz_sizeinbase(scale.get_mpz_t(), 2) + 128));
    mpfr_set_ui(x, 1, MPFR_RNDN);
    mpfr_exp(x, x, MPFR_RNDN);
    mpfr_mul_z(x, x, scale.get_mpz_t(), MPFR_RNDD);
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    std::string text = z.get_str(static_cast<int>(base));
    text.insert(text.size() - n, ".");
    return text;
}

ProgramRun compute(const TemporaryFolder& folder, unsigned long digits, const std::string& algorithm,
                   const std::vector<std::string>& more) {
    RunOptions options;
    options.folder = folder.path();
    std::vector<std::string> arguments = {
        "skip-warnings",           "custom", "e",  "-dec:" + std::to_string(digits),
        "-algorithm:" + algorithm, "-o",     "out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_kalvor(arguments, options);
}

void check(unsigned long digits, const std::string& algorithm, const std::string& name,
           const std::string& tasks) {
    TemporaryFolder folder;
    const ProgramRun run = compute(folder, digits, algorithm, {"-hex:1", "-TD:" + tasks});
    const std::string what = algorithm + " " + std::to_string(digits);
    ASSERT_EQ(run.exit_code, 0) << what << "\n" << run.out;
    ASSERT_FALSE(run.has("Cancellation")) << run.out;
    const std::string dec = "out/e - Dec - " + name + ".txt", hex = "out/e - Hex - " + name + ".txt";
    ASSERT_EQ(kalvor_test::files_but_validation(folder), (std::vector<std::string>{dec, hex})) << what;
    ASSERT_TRUE(read_file(folder / dec) == digits_of_e(10, digits)) << what;
    const std::string hexadecimal = read_file(folder / hex);
    const std::size_t point = hexadecimal.find('.');
    ASSERT_NE(point, std::string::npos);
    ASSERT_TRUE(hexadecimal == digits_of_e(16, hexadecimal.size() - point - 1)) << what;
}

TEST(EProgramTest, DigitsOfBothRoads) {
    for (const unsigned long digits : {100UL, 101UL, 1000UL, 10000UL, 100000UL}) {
        check(digits, "0", "exp(1)", "1");
        check(digits, "exp(-1)", "exp(-1)", "2");
    }
    check(10000, "exp(1)", "exp(1)", "7");
    check(10000, "1", "exp(-1)", "7");
}

TEST(SlowEProgramTest, AMillionDigits) {
    check(1000000, "0", "exp(1)", "1");
    check(1000000, "1", "exp(-1)", "2");
}

TEST(EProgramTest, TheReport) {
    TemporaryFolder folder;
    const ProgramRun run = compute(folder, 1000, "exp(-1)", {});
    EXPECT_EQ(run.value("Constant:"), "e");
    EXPECT_EQ(run.value("Algorithm:"), "Taylor Series of exp(-1)");
    EXPECT_TRUE(run.has("\ne - exp(-1):\nSeries Hyperdescent...  ")) << run.out;
    const ProgramRun other = compute(folder, 1000, "exp(1)", {});
    EXPECT_TRUE(other.has("\ne - exp(1)\nSeries Hyperdescent...  ")) << other.out;
    EXPECT_EQ(run.value("Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) ="),
              other.value("Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) ="));
    EXPECT_EQ(other.value("Verified:").find("series residues (1 of 1), "), 0u) << other.out;
}

TEST(EProgramTest, Refusals) {
    for (const auto& [algorithm, text] :
         {std::pair<std::string, std::string>{"exp", "Invalid Algorithm: exp"},
          {"2", "Invalid Algorithm: 2"}}) {
        TemporaryFolder folder;
        const ProgramRun run = compute(folder, 1000, algorithm, {});
        EXPECT_EQ(run.exit_code, 1) << text;
        EXPECT_TRUE(run.has(text)) << run.err;
        EXPECT_TRUE(folder.files().empty());
    }
}

}  // namespace
