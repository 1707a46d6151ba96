// Square roots, the golden ratio and the lemniscate constant by the whole program: the digits are GMP's and
// MPFR's, the second road of each gives the same ones, and what cannot be computed is refused before anything
// is.
#include <functional>

#include "reference/mpfr_digits.h"
#include "reference/mpfr_lemniscate.h"
#include "support/constant_program.h"
#include "support/effort.h"

namespace {

using kalvor_test::check_digits;
using kalvor_test::kDecHash;
using kalvor_test::power_of;
using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::Road;
using kalvor_test::run_custom;
using kalvor_test::TemporaryFolder;

// floor(n^(1/2) base^digits)
mpz_class root(const mpz_class& n, unsigned base, unsigned long digits) {
    return sqrt(n * power_of(base, 2 * digits));
}
mpz_class golden(unsigned base, unsigned long digits) {
    return (root(5, base, digits) + power_of(base, digits)) / 2;
}
std::string lemniscate(unsigned base, unsigned long digits) {
    return kalvor_test::mpfr_digits(base, digits, kalvor_test::set_lemniscate);
}

// An integer's text with its point, as a function of base and digits.
std::function<std::string(unsigned, unsigned long)> text_of(
    const std::function<mpz_class(unsigned base, unsigned long digits)>& scaled) {
    return [scaled](unsigned base, unsigned long digits) {
        return kalvor_test::with_point(scaled(base, digits), base, digits);
    };
}

std::vector<Road> roads() {
    const auto root_road = [](const std::string& n) {
        return Road{
            "sqrt:" + n,
            {},
            "Square Root of " + n,
            "Newton's Method",
            text_of([n](unsigned base, unsigned long digits) { return root(mpz_class(n), base, digits); })};
    };
    return {root_road("2"),
            root_road("200"),
            root_road("9223372030926249002"),
            root_road("9223372036854775807"),
            {"goldenratio", {"-algorithm:newton"}, "Golden Ratio", "Newton's Method", text_of(golden)},
            {"phi", {}, "Golden Ratio", "Newton's Method", text_of(golden)},
            {"lemniscate", {}, "Lemniscate", "AGM-Pi", lemniscate},
            {"lemniscate", {"-algorithm:gauss"}, "Lemniscate", "Gauss", lemniscate},
            {"lemniscate", {"-algorithm:2"}, "Lemniscate", "Sebah", lemniscate}};
}

TEST(RootsTest, DigitsOfEveryRoad) {
    kalvor_test::check_every_road(roads(), kalvor_test::thinned_under_wine_too(2) == 1);
}

TEST(SlowRootsTest, AMillionDigits) {
    for (const Road& road : roads()) {
        check_digits(road, 100000, "1");
        check_digits(road, 1000000, "2");
    }
}

// What the menus tell: sqrt(100 n) and sqrt(125) have the same digits, shifted by one.
TEST(RootsTest, TheSecondRoads) {
    for (const auto& [first, second] : {std::pair<std::string, std::string>{"sqrt:2", "sqrt:200"},
                                        {"sqrt:1234567", "sqrt:123456700"},
                                        {"sqrt:92233720368547757", "sqrt:9223372036854775700"},
                                        {"goldenratio", "sqrt:125"}}) {
        TemporaryFolder folder, other;
        ASSERT_EQ(run_custom(folder, first, 5001, {}).exit_code, 0);
        ASSERT_EQ(run_custom(other, second, 5000, {}).exit_code, 0);
        std::string digits = read_file(folder / kalvor_test::files_but_validation(folder).at(0));
        const std::string shifted = read_file(other / kalvor_test::files_but_validation(other).at(0));
        if (first == "goldenratio") {
            // sqrt(125) = 10 phi - 5
            ASSERT_EQ(digits.substr(0, 3), "1.6");
            ASSERT_EQ(shifted.substr(0, 3), "11.");
            EXPECT_TRUE(digits.substr(3) == shifted.substr(3));
        } else {
            const std::size_t point = digits.find('.');
            std::swap(digits[point], digits[point + 1]);
            EXPECT_TRUE(digits == shifted) << first;
        }
    }
}

TEST(RootsTest, TheReportNamesTheConstant) {
    TemporaryFolder folder;
    const ProgramRun run = run_custom(folder, "sqrt:10005", 1000, {});
    EXPECT_EQ(run.value("Constant:"), "Square Root of 10005");
    EXPECT_EQ(run.value("Algorithm:"), "Newton's Method");
    EXPECT_TRUE(run.has("\nSqrt(10005)\nInvSqrt...\nTime: ")) << run.out;
    EXPECT_TRUE(run.has("\nSmall Multiply...\nTime: ")) << run.out;
    EXPECT_EQ(run.value("Verified:"), "conversion, written files");
    const ProgramRun series = run_custom(folder, "lemniscate", 1000000, {"-od:0"});
    EXPECT_EQ(series.value("Constant:"), "Lemniscate Constant");
    EXPECT_EQ(series.value("Algorithm:"), "AGM-Pi");
    EXPECT_EQ(series.value("Verified:").find("series residues ("), 0u) << series.out;
}

TEST(RootsTest, Refusals) {
    kalvor_test::check_refusals({{{"sqrt"}, "0 is out of range."},
                                 {{"sqrt:1"}, "1 is out of range."},
                                 {{"sqrt:-3"}, "-3 is out of range."},
                                 {{"sqrt:16"}, "16 is a perfect square."},
                                 {{"sqrt:10k"}, "10000 is a perfect square."},
                                 {{"sqrt:9223372030926249001"}, "9223372030926249001 is a perfect square."},
                                 {{"sqrt:2", "-algorithm:1"}, "Invalid Algorithm: 1"},
                                 {{"lemniscate", "-algorithm:3"}, "Invalid Algorithm: 3"}});
}

// Two algorithms with nothing in common but Newton's division.
TEST(SlowRootsTest, TheLemniscateAtTenMillionDigits) {
    TemporaryFolder folder;
    const ProgramRun mean = run_custom(folder, "lemniscate", 10000000, {"-od:0", "-verify:0"});
    const ProgramRun series =
        run_custom(folder, "lemniscate", 10000000, {"-od:0", "-verify:0", "-algorithm:gauss"});
    ASSERT_EQ(mean.exit_code, 0) << mean.out;
    EXPECT_NE(mean.value(kDecHash), "");
    EXPECT_EQ(mean.value(kDecHash), series.value(kDecHash));
}

}  // namespace
