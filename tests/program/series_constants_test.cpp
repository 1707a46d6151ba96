// zeta(3) and Catalan's constant by the whole program: the digits are MPFR's, the roads to one constant
// agree, and what cannot be computed is refused before anything is.
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

constexpr const char* kHash = "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) =";

mpz_class power_of(unsigned base, unsigned long n) {
    mpz_class z;
    mpz_ui_pow_ui(z.get_mpz_t(), base, n);
    return z;
}

// floor(x base^digits)
mpz_class value_of(bool zeta3, unsigned base, unsigned long digits) {
    const mpz_class scale = power_of(base, digits);
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(mpz_sizeinbase(scale.get_mpz_t(), 2) + 128));
    zeta3 ? mpfr_zeta_ui(x, 3, MPFR_RNDN) : mpfr_const_catalan(x, MPFR_RNDN);
    mpfr_mul_z(x, x, scale.get_mpz_t(), MPFR_RNDD);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    return z;
}
// As it stands in a file.
std::string text_of(bool zeta3, unsigned base, unsigned long digits) {
    std::string text = value_of(zeta3, base, digits).get_str(static_cast<int>(base));
    if (!zeta3) text.insert(0, "0");
    text.insert(1, ".");
    return text;
}

struct Road {
    bool zeta3;
    std::string word, option;
    std::string name, algorithm;  // of the files
};

const std::vector<Road>& roads() {
    static const std::vector<Road> list = {
        {true, "zeta3", "-algorithm:0", "Zeta(3)", "Wedeniwski"},
        {true, "zeta(3)", "-algorithm:az", "Zeta(3)", "Amdeberhan-Zeilberger (1997)"},
        {false, "catalan", "-algorithm:pilehrood-short", "Catalan", "Pilehrood (short)"},
        {false, "catalan", "-algorithm:1", "Catalan", "Guillera (2019)"},
        {false, "catalan", "-algorithm:2", "Catalan", "Pilehrood (long)"},
        {false, "catalan", "-algorithm:3", "Catalan", "Guillera (2008)"},
        {false, "catalan", "-algorithm:4", "Catalan", "Lupas"},
        {false, "catalan", "-algorithm:5", "Catalan", "Huvent"}};
    return list;
}

ProgramRun compute(const TemporaryFolder& folder, const std::string& word, unsigned long digits,
                   const std::vector<std::string>& more) {
    RunOptions options;
    options.folder = folder.path();
    std::vector<std::string> arguments = {
        "pause:-2", "skip-warnings", "custom", word, "-dec:" + std::to_string(digits), "-o", "out"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_kalvor(arguments, options);
}

void check(const Road& road, unsigned long digits, const std::string& tasks) {
    TemporaryFolder folder;
    const ProgramRun run = compute(folder, road.word, digits, {road.option, "-hex:1", "-TD:" + tasks});
    const std::string what = road.word + " " + road.algorithm + " " + std::to_string(digits);
    ASSERT_EQ(run.exit_code, 0) << what << "\n" << run.out;
    ASSERT_FALSE(run.has("Cancellation")) << run.out;
    const std::string tail = " - " + road.algorithm + ".txt";
    const std::string dec = "out/" + road.name + " - Dec" + tail, hex = "out/" + road.name + " - Hex" + tail;
    ASSERT_EQ(kalvor_test::files_but_validation(folder), (std::vector<std::string>{dec, hex})) << what;
    ASSERT_TRUE(read_file(folder / dec) == text_of(road.zeta3, 10, digits)) << what;
    const std::string hexadecimal = read_file(folder / hex);
    ASSERT_GT(hexadecimal.size(), 2u);
    ASSERT_TRUE(hexadecimal == text_of(road.zeta3, 16, hexadecimal.size() - 2)) << what;
}

TEST(SeriesConstantsProgramTest, DigitsOfEveryRoad) {
    for (const Road& road : roads()) {
        for (const unsigned long digits : {100UL, 101UL, 1000UL, 10000UL})
            check(road, digits, digits % 2 == 0 ? "2" : "1");
        check(road, 1000, "7");
    }
}

TEST(SlowSeriesConstantsProgramTest, AHundredThousandDigitsAndMore) {
    for (const Road& road : roads()) {
        check(road, 100000, "1");
        if (!road.zeta3) check(road, 1000000, "2");
    }
}

// zeta(3) by its two series; MPFR would take minutes.
TEST(SlowSeriesConstantsProgramTest, ZetaToAMillionDigitsByTwoRoads) {
    std::string digits, hash;
    for (const char* algorithm : {"-algorithm:wedeniwski", "-algorithm:1"}) {
        TemporaryFolder folder;
        const ProgramRun run = compute(folder, "apery", 1000000, {algorithm, "-TD:2"});
        ASSERT_EQ(run.exit_code, 0) << run.out;
        const std::string file = read_file(folder / kalvor_test::files_but_validation(folder).at(0));
        ASSERT_EQ(file.size(), 1000002u);
        if (digits.empty()) {
            digits = file;
            hash = run.value(kHash);
        } else {
            EXPECT_TRUE(digits == file);
            EXPECT_EQ(run.value(kHash), hash);
        }
    }
}

TEST(SeriesConstantsProgramTest, TheReportNamesTheConstant) {
    TemporaryFolder folder;
    const ProgramRun zeta3 = compute(folder, "zeta(3)", 1000, {});
    EXPECT_EQ(zeta3.value("Constant:"), "Zeta(3) - Apery's Constant");
    EXPECT_EQ(zeta3.value("Algorithm:"), "Wedeniwski (1998)");
    EXPECT_TRUE(zeta3.has("\nZeta(3) - Wedeniwski (1998):\nSeries CommonP2B3...  ")) << zeta3.out;
    const ProgramRun catalan = compute(folder, "catalan", 1000, {});
    EXPECT_EQ(catalan.value("Constant:"), "Catalan's Constant");
    EXPECT_EQ(catalan.value("Algorithm:"), "Pilehrood (2010-short)");
    EXPECT_TRUE(catalan.has("\nCatalan - Pilehrood (2010-short):\nSeries CommonP2B3...  ")) << catalan.out;
}

// Nothing is allocated or written.
TEST(SeriesConstantsProgramTest, Refusals) {
    const struct {
        std::vector<std::string> words;
        const char* text;
    } cases[] = {{{"zeta3", "-algorithm:2"}, "Invalid Algorithm: 2"},
                 {{"zeta3", "-algorithm:pilehrood-short"}, "Invalid Algorithm: pilehrood-short"},
                 {{"catalan", "-algorithm:6"}, "Invalid Algorithm: 6"},
                 {{"catalan", "-algorithm:lupas"}, "Invalid Algorithm: lupas"},
                 {{"catalan:2"}, "The constant \"catalan\" takes no argument: 2"}};
    for (const auto& [words, text] : cases) {
        TemporaryFolder folder;
        std::vector<std::string> more(words.begin() + 1, words.end());
        const ProgramRun run = compute(folder, words.front(), 1000, more);
        EXPECT_EQ(run.exit_code, 1) << text;
        EXPECT_TRUE(run.has(text)) << text << "\n" << run.err;
        EXPECT_FALSE(run.has("Working Memory")) << text;
        EXPECT_TRUE(folder.files().empty()) << text;
    }
}

}  // namespace
