// e by the whole program: both roads give MPFR's digits, and what cannot be computed is refused before
// anything is.
#include "reference/mpfr_digits.h"
#include "support/constant_program.h"

namespace {

using kalvor_test::kDecHash;
using kalvor_test::ProgramRun;
using kalvor_test::run_custom;
using kalvor_test::TemporaryFolder;

std::string digits_of_e(unsigned base, unsigned long digits) {
    return kalvor_test::mpfr_digits(base, digits, [](mpfr_ptr x) {
        mpfr_set_ui(x, 1, MPFR_RNDN);
        mpfr_exp(x, x, MPFR_RNDN);
    });
}

void check(unsigned long digits, const std::string& algorithm, const std::string& name,
           const std::string& tasks) {
    kalvor_test::check_digits({"e", {"-algorithm:" + algorithm}, "e", name, digits_of_e}, digits, tasks);
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
    const ProgramRun run = run_custom(folder, "e", 1000, {"-algorithm:exp(-1)"});
    EXPECT_EQ(run.value("Constant:"), "e");
    EXPECT_EQ(run.value("Algorithm:"), "Taylor Series of exp(-1)");
    EXPECT_TRUE(run.has("\ne - exp(-1):\nSeries Hyperdescent...  ")) << run.out;
    const ProgramRun other = run_custom(folder, "e", 1000, {"-algorithm:exp(1)"});
    EXPECT_TRUE(other.has("\ne - exp(1)\nSeries Hyperdescent...  ")) << other.out;
    EXPECT_EQ(run.value(kDecHash), other.value(kDecHash));
    EXPECT_EQ(other.value("Verified:").find("series residues (1 of 1), "), 0u) << other.out;
}

TEST(EProgramTest, Refusals) {
    kalvor_test::check_refusals({{{"e", "-algorithm:exp"}, "Invalid Algorithm: exp"},
                                 {{"e", "-algorithm:2"}, "Invalid Algorithm: 2"}});
}

}  // namespace
