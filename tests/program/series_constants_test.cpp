// zeta(3) and Catalan's constant by the whole program: the digits are MPFR's, the roads to one constant
// agree, and what cannot be computed is refused before anything is.
#include "reference/mpfr_digits.h"
#include "support/constant_program.h"

namespace {

using kalvor_test::check_digits;
using kalvor_test::kDecHash;
using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::Road;
using kalvor_test::run_custom;
using kalvor_test::TemporaryFolder;

// As it stands in a file.
std::string text_of(bool zeta3, unsigned base, unsigned long digits) {
    return kalvor_test::mpfr_digits(base, digits, [zeta3](mpfr_ptr x) {
        zeta3 ? mpfr_zeta_ui(x, 3, MPFR_RNDN) : mpfr_const_catalan(x, MPFR_RNDN);
    });
}

Road road_to(bool zeta3, const std::string& word, const std::string& option, const std::string& algorithm) {
    return {word,
            {option},
            zeta3 ? "Zeta(3)" : "Catalan",
            algorithm,
            [zeta3](unsigned base, unsigned long digits) { return text_of(zeta3, base, digits); }};
}

const std::vector<Road>& roads() {
    static const std::vector<Road> list = {
        road_to(true, "zeta3", "-algorithm:0", "Wedeniwski"),
        road_to(true, "zeta(3)", "-algorithm:az", "Amdeberhan-Zeilberger (1997)"),
        road_to(false, "catalan", "-algorithm:pilehrood-short", "Pilehrood (short)"),
        road_to(false, "catalan", "-algorithm:1", "Guillera (2019)"),
        road_to(false, "catalan", "-algorithm:2", "Pilehrood (long)"),
        road_to(false, "catalan", "-algorithm:3", "Guillera (2008)"),
        road_to(false, "catalan", "-algorithm:4", "Lupas"),
        road_to(false, "catalan", "-algorithm:5", "Huvent")};
    return list;
}

TEST(SeriesConstantsProgramTest, DigitsOfEveryRoad) {
    kalvor_test::check_every_road(roads());
}

TEST(SlowSeriesConstantsProgramTest, AHundredThousandDigitsAndMore) {
    for (const Road& road : roads()) {
        check_digits(road, 100000, "1");
        if (road.name != "Zeta(3)") check_digits(road, 1000000, "2");
    }
}

// zeta(3) by its two series; MPFR would take minutes.
TEST(SlowSeriesConstantsProgramTest, ZetaToAMillionDigitsByTwoRoads) {
    std::string digits, hash;
    for (const char* algorithm : {"-algorithm:wedeniwski", "-algorithm:1"}) {
        TemporaryFolder folder;
        const ProgramRun run = run_custom(folder, "apery", 1000000, {algorithm, "-TD:2"});
        ASSERT_EQ(run.exit_code, 0) << run.out;
        const std::string file = read_file(folder / kalvor_test::files_but_validation(folder).at(0));
        ASSERT_EQ(file.size(), 1000002u);
        if (digits.empty()) {
            digits = file;
            hash = run.value(kDecHash);
        } else {
            EXPECT_TRUE(digits == file);
            EXPECT_EQ(run.value(kDecHash), hash);
        }
    }
}

TEST(SeriesConstantsProgramTest, TheReportNamesTheConstant) {
    TemporaryFolder folder;
    const ProgramRun zeta3 = run_custom(folder, "zeta(3)", 1000, {});
    EXPECT_EQ(zeta3.value("Constant:"), "Zeta(3) - Apery's Constant");
    EXPECT_EQ(zeta3.value("Algorithm:"), "Wedeniwski (1998)");
    EXPECT_TRUE(zeta3.has("\nZeta(3) - Wedeniwski (1998):\nSeries CommonP2B3...  ")) << zeta3.out;
    const ProgramRun catalan = run_custom(folder, "catalan", 1000, {});
    EXPECT_EQ(catalan.value("Constant:"), "Catalan's Constant");
    EXPECT_EQ(catalan.value("Algorithm:"), "Pilehrood (2010-short)");
    EXPECT_TRUE(catalan.has("\nCatalan - Pilehrood (2010-short):\nSeries CommonP2B3...  ")) << catalan.out;
}

TEST(SeriesConstantsProgramTest, Refusals) {
    kalvor_test::check_refusals(
        {{{"zeta3", "-algorithm:2"}, "Invalid Algorithm: 2"},
         {{"zeta3", "-algorithm:pilehrood-short"}, "Invalid Algorithm: pilehrood-short"},
         {{"catalan", "-algorithm:6"}, "Invalid Algorithm: 6"},
         {{"catalan", "-algorithm:lupas"}, "Invalid Algorithm: lupas"},
         {{"catalan:2"}, "The constant \"catalan\" takes no argument: 2"}});
}

}  // namespace
