// Square roots, the golden ratio and the lemniscate constant by the whole program: the digits are GMP's and
// MPFR's, the second road of each gives the same ones, and what cannot be computed is refused before anything
// is.
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include <filesystem>
#include <functional>

#include "support/effort.h"
#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

constexpr const char* kHash = "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) =";

mpz_class power_of(unsigned base, unsigned long n) {
    mpz_class z;
    mpz_ui_pow_ui(z.get_mpz_t(), base, n);
    return z;
}

// x * base^n as an integer, as it stands in a file.
std::string digits_of(const mpz_class& z, unsigned base, unsigned long n) {
    std::string text = z.get_str(static_cast<int>(base));
    text.insert(text.size() - n, ".");
    return text;
}

// floor(n^(1/2) base^digits)
mpz_class root(const mpz_class& n, unsigned base, unsigned long digits) {
    return sqrt(n * power_of(base, 2 * digits));
}
mpz_class golden(unsigned base, unsigned long digits) {
    return (root(5, base, digits) + power_of(base, digits)) / 2;
}
mpz_class lemniscate(unsigned base, unsigned long digits) {
    const mpz_class scale = power_of(base, digits);
    mpfr_t x, mean, one;
    mpfr_inits2(static_cast<mpfr_prec_t>(mpz_sizeinbase(scale.get_mpz_t(), 2) + 128), x, mean, one,
                static_cast<mpfr_ptr>(nullptr));
    mpfr_sqrt_ui(mean, 2, MPFR_RNDN);
    mpfr_set_ui(one, 1, MPFR_RNDN);
    mpfr_agm(mean, one, mean, MPFR_RNDN);
    mpfr_const_pi(x, MPFR_RNDN);
    mpfr_mul_ui(x, x, 2, MPFR_RNDN);
    mpfr_div(x, x, mean, MPFR_RNDN);
    mpfr_mul_z(x, x, scale.get_mpz_t(), MPFR_RNDD);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clears(x, mean, one, static_cast<mpfr_ptr>(nullptr));
    return z;
}

struct Road {
    std::string word;
    std::vector<std::string> options;
    std::string name, algorithm;  // of the files
    std::function<mpz_class(unsigned base, unsigned long digits)> value;
};

std::vector<Road> roads() {
    const auto root_road = [](const std::string& n) {
        return Road{"sqrt:" + n,
                    {},
                    "Square Root of " + n,
                    "Newton's Method",
                    [n](unsigned base, unsigned long digits) { return root(mpz_class(n), base, digits); }};
    };
    return {root_road("2"),
            root_road("200"),
            root_road("9223372030926249002"),
            root_road("9223372036854775807"),
            {"goldenratio", {"-algorithm:newton"}, "Golden Ratio", "Newton's Method", golden},
            {"phi", {}, "Golden Ratio", "Newton's Method", golden},
            {"lemniscate", {}, "Lemniscate", "AGM-Pi", lemniscate},
            {"lemniscate", {"-algorithm:gauss"}, "Lemniscate", "Gauss", lemniscate},
            {"lemniscate", {"-algorithm:2"}, "Lemniscate", "Sebah", lemniscate}};
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

void check(const Road& road, unsigned long digits, const std::string& tasks) {
    TemporaryFolder folder;
    std::vector<std::string> more = road.options;
    more.insert(more.end(), {"-hex:1", "-TD:" + tasks});
    const ProgramRun run = compute(folder, road.word, digits, more);
    const std::string what = road.word + " " + road.algorithm + " " + std::to_string(digits);
    ASSERT_EQ(run.exit_code, 0) << what << "\n" << run.out;
    ASSERT_FALSE(run.has("Cancellation")) << run.out;
    const std::string tail = " - " + road.algorithm + ".txt";
    const std::string dec = "out/" + road.name + " - Dec" + tail, hex = "out/" + road.name + " - Hex" + tail;
    ASSERT_EQ(kalvor_test::files_but_validation(folder), (std::vector<std::string>{dec, hex})) << what;
    ASSERT_TRUE(read_file(folder / dec) == digits_of(road.value(10, digits), 10, digits)) << what;
    const std::string hexadecimal = read_file(folder / hex);
    const std::size_t point = hexadecimal.find('.');
    ASSERT_NE(point, std::string::npos);
    const unsigned long places = hexadecimal.size() - point - 1;
    ASSERT_TRUE(hexadecimal == digits_of(road.value(16, places), 16, places)) << what;
}

TEST(RootsTest, DigitsOfEveryRoad) {
    for (const Road& road : roads()) {
        for (const unsigned long digits : {100UL, 101UL, 1000UL, 10000UL})
            check(road, digits, digits % 2 == 0 ? "2" : "1");
        check(road, 1000, "7");
    }
}

TEST(SlowRootsTest, AMillionDigits) {
    for (const Road& road : roads()) {
        check(road, 100000, "1");
        check(road, 1000000, "2");
    }
}

// What the menus tell: sqrt(100 n) and sqrt(125) have the same digits, shifted by one.
TEST(RootsTest, TheSecondRoads) {
    for (const auto& [first, second] : {std::pair<std::string, std::string>{"sqrt:2", "sqrt:200"},
                                        {"sqrt:1234567", "sqrt:123456700"},
                                        {"sqrt:92233720368547757", "sqrt:9223372036854775700"},
                                        {"goldenratio", "sqrt:125"}}) {
        TemporaryFolder folder, other;
        ASSERT_EQ(compute(folder, first, 5001, {}).exit_code, 0);
        ASSERT_EQ(compute(other, second, 5000, {}).exit_code, 0);
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
    const ProgramRun run = compute(folder, "sqrt:10005", 1000, {});
    EXPECT_EQ(run.value("Constant:"), "Square Root of 10005");
    EXPECT_EQ(run.value("Algorithm:"), "Newton's Method");
    EXPECT_TRUE(run.has("\nSqrt(10005)\nInvSqrt...\nTime: ")) << run.out;
    EXPECT_TRUE(run.has("\nSmall Multiply...\nTime: ")) << run.out;
    EXPECT_EQ(run.value("Verified:"), "radix conversion, written files (read back)");
    const ProgramRun series = compute(folder, "lemniscate", 1000000, {"-od:0"});
    EXPECT_EQ(series.value("Constant:"), "Lemniscate Constant");
    EXPECT_EQ(series.value("Algorithm:"), "AGM-Pi");
    EXPECT_EQ(series.value("Verified:").find("residues of "), 0u) << series.out;
}

// Nothing is allocated or written.
TEST(RootsTest, Refusals) {
    const struct {
        std::vector<std::string> words;
        const char* text;
    } cases[] = {{{"sqrt"}, "0 is out of range."},
                 {{"sqrt:1"}, "1 is out of range."},
                 {{"sqrt:-3"}, "-3 is out of range."},
                 {{"sqrt:16"}, "16 is a perfect square."},
                 {{"sqrt:10k"}, "10000 is a perfect square."},
                 {{"sqrt:9223372030926249001"}, "9223372030926249001 is a perfect square."},
                 {{"sqrt:2", "-algorithm:1"}, "Invalid Algorithm: 1"},
                 {{"lemniscate", "-algorithm:3"}, "Invalid Algorithm: 3"}};
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

// Two algorithms with nothing in common but Newton's division.
TEST(SlowRootsTest, TheLemniscateAtTenMillionDigits) {
    TemporaryFolder folder;
    const ProgramRun mean = compute(folder, "lemniscate", 10000000, {"-od:0", "-verify:0"});
    const ProgramRun series =
        compute(folder, "lemniscate", 10000000, {"-od:0", "-verify:0", "-algorithm:gauss"});
    ASSERT_EQ(mean.exit_code, 0) << mean.out;
    EXPECT_NE(mean.value(kHash), "");
    EXPECT_EQ(mean.value(kHash), series.value(kHash));
}

}  // namespace
