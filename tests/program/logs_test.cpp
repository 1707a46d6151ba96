// Logarithms by the whole program: the digits are MPFR's by both formulas, and what cannot be computed is
// refused before anything is.
#include "reference/mpfr_digits.h"
#include "support/constant_program.h"
#include "support/effort.h"

namespace {

using kalvor_test::check_digits;
using kalvor_test::kDecHash;
using kalvor_test::ProgramRun;
using kalvor_test::run_custom;
using kalvor_test::TemporaryFolder;

// ln n, which several digits are asked of one after the other.
class Logarithm {
  public:
    Logarithm() { mpfr_init2(x_, MPFR_PREC_MIN); }
    ~Logarithm() { mpfr_clear(x_); }
    Logarithm(const Logarithm&) = delete;
    Logarithm& operator=(const Logarithm&) = delete;
    // To that many bits and more.
    const mpfr_t& of(unsigned long n, mpfr_prec_t bits) {
        if (n != n_ || bits > mpfr_get_prec(x_)) {
            mpfr_set_prec(x_, bits + 64);
            mpfr_log_ui(x_, n, MPFR_RNDN);
            n_ = n;
        }
        return x_;
    }

  private:
    unsigned long n_ = 0;
    mpfr_t x_;
};

std::string logarithm(unsigned long n, unsigned base, unsigned long digits) {
    static Logarithm known;
    return kalvor_test::mpfr_digits(
        base, digits, [n](mpfr_ptr x) { mpfr_set(x, known.of(n, mpfr_get_prec(x)), MPFR_RNDN); });
}

void check(unsigned long n, const std::string& algorithm, unsigned long digits, const std::string& tasks) {
    const std::string number = std::to_string(n);
    check_digits({"log:" + number,
                  {"-algorithm:" + algorithm},
                  "Log(" + number + ")",
                  std::string("Machin (") + (algorithm == "0" ? "primary" : "secondary") + ")",
                  [n](unsigned base, unsigned long count) { return logarithm(n, base, count); }},
                 digits, tasks);
}

constexpr unsigned long kArguments[] = {2, 3, 10, 11, 97, 251, 257, 1000003, 2147483647};

TEST(LogsTest, DigitsByBothFormulas) {
    for (unsigned i = 0; i < std::size(kArguments); i += kalvor_test::thinned_under_wine_too(4)) {
        const unsigned long n = kArguments[i];
        for (const char* algorithm : {"0", "1"}) {
            check(n, algorithm, 100, "1");
            check(n, algorithm, 101, "2");
            check(n, algorithm, 1000, "7");
        }
        check(n, n % 2 == 0 ? "0" : "1", 10000, "2");
    }
}

TEST(SlowLogsTest, AHundredThousandDigitsAndAMillion) {
    for (unsigned i = 0; i < std::size(kArguments); i += kalvor_test::thinned_under_wine_too(4)) {
        const unsigned long n = kArguments[i];
        for (const char* algorithm : {"0", "1"}) {
            check(n, algorithm, 10000, "1");
            check(n, algorithm, 100000, "2");
        }
    }
    for (unsigned i = 0; i < std::size(kArguments); i += kalvor_test::thinned_under_wine_too(4)) {
        for (const char* algorithm : {"0", "1"})
            check(kArguments[i], algorithm, 1000000, i % 2 == 0 ? "1" : "2");
    }
}

TEST(SlowLogsTest, TenMillionDigits) {
    TemporaryFolder folder;
    const ProgramRun first = run_custom(folder, "log:10", 10000000, {"-od:0", "-verify:0"});
    const ProgramRun second = run_custom(folder, "log:10", 10000000, {"-od:0", "-verify:0", "-algorithm:1"});
    ASSERT_EQ(first.exit_code, 0) << first.out;
    EXPECT_NE(first.value(kDecHash), "");
    EXPECT_EQ(first.value(kDecHash), second.value(kDecHash));
}

TEST(LogsTest, TheReportNamesTheConstant) {
    TemporaryFolder folder;
    const ProgramRun run = run_custom(folder, "log:10", 1000, {});
    EXPECT_EQ(run.value("Constant:"), "Log(10)");
    EXPECT_EQ(run.value("Algorithm:"), "Primary Machin-like Formula (4 terms)");
    EXPECT_TRUE(run.has("\nLog( 10 )\n478 ArcCoth( 251 ):\nSeries CommonP2B3...  ")) << run.out;
    EXPECT_TRUE(run.has("\n-126 ArcCoth( 4801 ):\n")) << run.out;
    EXPECT_TRUE(run.has("\nAccumulate...\nTime: ")) << run.out;
    const ProgramRun series = run_custom(folder, "log:2", 1000000, {"-od:0"});
    EXPECT_EQ(series.value("Verified:").find("series residues ("), 0u) << series.out;
}

TEST(LogsTest, Refusals) {
    kalvor_test::check_refusals({{{"log"}, "Argument must be greater than 1."},
                                 {{"log:1"}, "Argument must be greater than 1."},
                                 {{"log:-5"}, "Argument must be greater than 1."},
                                 {{"log:2147483648"}, "2147483648 is out of range."},
                                 {{"log:two"}, "\"two\" is not a number."},
                                 {{"log:2", "-algorithm:2"}, "Invalid Algorithm: 2"},
                                 {{"log:2", "-algorithm:agm"}, "Invalid Algorithm: agm"}});
}

}  // namespace
