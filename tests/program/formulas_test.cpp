// Formulas by the whole program: found where they may be, digits as MPFR has them, refusals before anything
// is computed or written, settings that go round.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "reference/mpfr_digits.h"
#include "support/constant_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_custom;
using kalvor_test::TemporaryFolder;

std::string file_of(const std::string& formula) {
    return "{ Constant : { NameShort : \"Short\" NameLong : \"A long name\" AlgorithmShort : \"Road\" "
           "AlgorithmLong : \"The long road\" Formula : " +
           formula + " } }\n";
}

// The run of a file with the formula, in a folder of its own that has nothing else.
ProgramRun run_formula(const std::string& formula, unsigned long digits = 1000,
                       const std::vector<std::string>& more = {}) {
    TemporaryFolder folder;
    folder.write("f.cfg", file_of(formula));
    return run_custom(folder, "custom:f", digits, more);
}

// 2 Pi / phi^2
std::string golden_angle(unsigned base, unsigned long digits) {
    return kalvor_test::mpfr_digits(base, digits, [](mpfr_ptr x) {
        mpfr_t phi;
        mpfr_init2(phi, mpfr_get_prec(x));
        mpfr_sqrt_ui(phi, 5, MPFR_RNDN);
        mpfr_add_ui(phi, phi, 1, MPFR_RNDN);
        mpfr_sqr(phi, phi, MPFR_RNDN);
        mpfr_const_pi(x, MPFR_RNDN);
        mpfr_mul_ui(x, x, 8, MPFR_RNDN);
        mpfr_div(x, x, phi, MPFR_RNDN);
        mpfr_clear(phi);
    });
}

TEST(FormulasTest, AnExampleByItsNameAlone) {
    for (const unsigned long digits : {100UL, 101UL, 1000UL, 10000UL}) {
        TemporaryFolder folder;
        const ProgramRun run = run_custom(folder, "custom:Golden angle", digits,
                                          {"-hex:1", digits % 2 == 0 ? "-TD:2" : "-TD:1"});
        ASSERT_EQ(run.exit_code, 0) << run.out << run.err;
        EXPECT_TRUE(run.has("Custom Formulas/Golden angle.cfg\n")) << run.out;
        EXPECT_EQ(run.value("Constant:"), "Custom Formula: Golden Angle");
        EXPECT_EQ(run.value("Algorithm:"), "2 pi / phi^2");
        EXPECT_FALSE(run.has("Cancellation"));
        const std::string dec = read_file(folder / "out/Golden Angle - Dec - Pi.txt");
        EXPECT_TRUE(dec == golden_angle(10, digits)) << dec.substr(0, 100);
        const std::string hex = read_file(folder / "out/Golden Angle - Hex - Pi.txt");
        ASSERT_GT(hex.size(), 2u);
        EXPECT_TRUE(hex == golden_angle(16, hex.size() - 2));
    }
}

// The sixth candidate, only where those before it do not exist.
TEST(FormulasTest, TheSixthCandidate) {
    TemporaryFolder folder;
    std::filesystem::create_directory(folder / "Custom Formulas");
    folder.write("Custom Formulas/x.cfg", file_of("{Sqrt : 2}"));
    ProgramRun run = run_custom(folder, "custom:x", 100, {"-od:0"});
    EXPECT_TRUE(run.has("Opening: Custom Formulas/x.cfg\n")) << run.out;
    EXPECT_EQ(run.exit_code, 0);
    folder.write("Custom Formulas/x", file_of("{Sqrt : 3}"));
    EXPECT_TRUE(run_custom(folder, "custom:x", 100, {"-od:0"}).has("Opening: Custom Formulas/x\n"));
    folder.write("x.cfg", file_of("{Sqrt : 5}"));
    EXPECT_TRUE(run_custom(folder, "custom:x", 100, {"-od:0"}).has("Opening: x.cfg\n"));
    folder.write("x", file_of("{Sqrt : 7}"));
    run = run_custom(folder, "custom:x", 100, {"-od:0"});
    EXPECT_TRUE(run.has("Opening: x\n"));
    EXPECT_TRUE(run.has("2.6457513110")) << run.out;
}

void expect_refusal(const TemporaryFolder& folder, const std::string& word, const std::string& text,
                    const std::vector<std::string>& more = {}) {
    const std::vector<std::string> before = folder.files();
    const ProgramRun run = run_custom(folder, word, 1000, more);
    EXPECT_EQ(run.exit_code, 1) << text;
    EXPECT_TRUE(run.has(text)) << text << "\n" << run.out << run.err;
    EXPECT_FALSE(run.has("Working Memory")) << text;
    EXPECT_EQ(folder.files(), before) << text;
}

TEST(FormulasTest, RefusalsOfTheWord) {
    TemporaryFolder folder;
    expect_refusal(folder, "custom", "No formula file specified.");
    expect_refusal(folder, "custom:nosuch", "File not found.");
    folder.write("f", file_of("{Sqrt : 2}"));
    expect_refusal(folder, "custom:f", "Invalid Algorithm: 0", {"-algorithm:0"});
    expect_refusal(folder, "custom:f", "Invalid Algorithm: Road", {"-algorithm:Road"});
}

TEST(FormulasTest, RefusalsOfTheText) {
    std::string deep;
    for (int i = 0; i < 9000; i++) deep += "[";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{\nConstant : {\n\n: 2", "Line 3: Expected identifier."},
        {"{ Constant : {", "Unexpected end of stream."},
        {"{ Constant : { Formula : {Sqrt : 2, } } }", "Line 0: Don't use commas to separate elements."},
        {file_of("9223372036854775808"), "Line 0: Integer literal is too large."},
        {file_of(deep), "Line 0: Nesting is deeper than 8256 levels."},
        {"{ Formula : 2 }", "Invalid Key: Formula"},
        {"{ Constant : \"e\" }", "Expected Object, got String."},
        {"{ Constant : { NameShort : \"a:b\" NameLong : \"\" AlgorithmShort : \"\" AlgorithmLong : \"\" "
         "Formula : 2 } }",
         "In Function: NameShort\n\nInvalid character in name: :"},
        {"{ Constant : { NameShort : \"\" NameLong : \"" + std::string(51, 'x') +
             "\" AlgorithmShort : \"\" AlgorithmLong : \"\" Formula : 2 } }",
         "In Function: NameLong\n\nString cannot be longer than 50 characters."},
        {"{ Constant : { NameShort : \"\" NameLong : \"\" AlgorithmShort : \"\x7f\" AlgorithmLong : \"\" "
         "Formula : 2 } }",
         "In Function: AlgorithmShort\n\nASCII 127 is not allowed in name."},
        {"{ Constant : { NameShort : \"\" NameLong : \"\" AlgorithmShort : \"\" AlgorithmLong : \"\t\" "
         "Formula : 2 } }",
         "In Function: AlgorithmLong\n\nControl characters are not allowed in name."},
        {file_of("{}"), "In Function: load_function()\n\nNumber of items must be 1."},
        {file_of("{Sqrt : 2 Pi : {}}"), "In Function: load_function()\n\nNumber of items must be 1."},
        {file_of("{Foo : 2}"), "Unknown function: Foo"},
        {file_of("{Sqrt : []}"), "Expected Object, got Array."},
        {file_of("{Sqrt : 16}"), "In Function: Sqrt(x)\n\nArgument is a perfect square: 16"},
        {file_of("{Divide : [2 8]}"), "In Function: Divide()\n\nUse Shift() to divide by a power-of-two."},
        {file_of("{ArcSinlemn : {x : 4 y : 5}}"), "Convergence is too slow: N / D < 0.75"},
    };
    for (const auto& [text, refusal] : cases) {
        TemporaryFolder folder;
        folder.write("f.cfg", text);
        expect_refusal(folder, "custom:f", refusal);
        EXPECT_TRUE(run_custom(folder, "custom:f", 1000).has("Opening: f.cfg\n"));
    }
}

// Each with the function that refuses it, before anything is allocated.
TEST(FormulasTest, RefusalsOfEveryFunction) {
    const std::string locals = "{Scope : {Locals : [{x : 2}] Formula : ";
    const auto series = [](const char* name, const std::string& members) {
        return std::string("{Series") + name + " : {" + members + "}}";
    };
    const std::string one = "CoefficientP : 1 CoefficientQ : 0 CoefficientD : 1 ";
    const std::string Q = "PolynomialQ : [0 1] ", P = "PolynomialP : [1] ";
    const std::string powers = "Alternating : \"false\" PowerCoef : -1 PowerShift : 0 ";
    const auto list = [](int n) {
        std::string text;
        for (int i = 0; i < n; i++) text += "1 ";
        return text;
    };
    const std::string slow =
        "Series does not meet convergence requirements.\n"
        "Requirement: |R(x)/Q(x)| < 0.75  for all x >= 1\n\n";
    struct Case {
        std::string formula, function, text;
    };
    const std::vector<Case> cases = {
        {"\"x\"", "LoadVariable()", "Cannot load variable outside of a Scope."},
        {locals + "\"y\"}}", "LoadVariable()", "Variable \"y\" is not defined in this scope."},
        {"{Scope : {Locals : [{x : 2 y : 3}] Formula : 2}}", "Scope local must have exactly one element.",
         "Invalid Parameters"},
        {"{Scope : {Locals : [{pi-2 : 2}] Formula : 2}}", "Scope()",
         "Variable \"pi-2\" contains an invalid character: '-'"},
        {"{Scope : {Locals : [{" + std::string(65, 'a') + " : 2}] Formula : 2}}", "Scope()",
         "Variable name is too long."},
        {"{Scope : {Locals : [{x : 2} {x : 3}] Formula : 2}}", "Scope()",
         "Variable \"x\" already exists in this scope."},
        {"{Shift : [2]}", "Shift()", "Set must have 2 terms."},
        {"{Multiply : [2]}", "Multiply()", "Set must have at least 2 terms."},
        {"{Divide : [2]}", "Divide()", "Set must have exactly 2 terms."},
        {"{Divide : [2 0]}", "Divide()", "Divide by zero."},
        {"{Divide : [2 -8]}", "Divide()", "Use Shift() to divide by a power-of-two."},
        {"{Power : [2]}", "Power()", "Set must have exactly 2 terms."},
        {"{Power : [2 0]}", "Power(x, p)", "Exponent cannot be zero."},
        {"{LinearCombination : []}", "LinearCombination()", "Set is empty."},
        {"{LinearCombination : [[1]]}", "LinearCombination()", "Each term must have two parts."},
        {"{Invsqrt : 1}", "Invsqrt(x)", "Argument is invalid: 1"},
        {"{Invsqrt : 16}", "Invsqrt(x)", "Argument is a perfect square: 16"},
        {"{Sqrt : 1}", "Sqrt(x)", "Argument is invalid: 1"},
        {"{Sqrt : 16}", "Sqrt(x)", "Argument is a perfect square: 16"},
        {"{InvNthRoot : [3]}", "InvNthRoot()", "Set must have exactly 2 terms."},
        {"{InvNthRoot : [2 5]}", "InvNthRoot()", "Degree must be greater than 2."},
        {"{AGM : [2]}", "AGM()", "Set must have exactly 2 terms."},
        {"{ArcCoth : {x : 1}}", "ArcCoth(x)", "Argument must be greater than 1: x = 1"},
        {"{ArcCoth : {x : 4294967296}}", "ArcCoth(x)", "Argument is too large: x = 4294967296"},
        {"{ArcCoth : {x : 3 Power : 2}}", "ArcCoth(x)", "Power must be 1 or -1."},
        {"{ArcCoth : {x : 3 Coefficient : 0}}", "ArcCoth(x)", "CoefficientP cannot be zero."},
        {"{ArcSinlemn : {x : 0 y : 2}}", "ArcSinlemn(x/y)", "Argument for ArcSinlemn is invalid: 0"},
        {"{ArcSinlemn : {x : 65536 y : 65537}}", "ArcSinlemn(x/y)",
         "x^4 doesn't fit into a machine word: 65536"},
        {"{ArcSinlemn : {x : 2 y : 65536}}", "ArcSinlemn(x/y)", "y^4 doesn't fit into a machine word: 65536"},
        {"{ArcSinlemn : {x : 2 y : 2}}", "ArcSinlemn(x/y)",
         "x must be less than y or series won't converge."},
        {"{ArcSinlemn : {x : 16 y : 17}}", "ArcSinlemn(x/y)",
         "x/y is too close to 1.0. Series converges too slowly."},
        {"{ArcSinlemn : {x : 1 y : 2 Power : 0}}", "ArcSinlemn(x/y)", "Power must be 1 or -1."},
        {"{Log : 1}", "Log(x)", "Argument is invalid: 1"},
        {"{Log : 2147483648}", "Log(x)", "Argument is too large: 2147483648"},
        {locals + "{Log-AGM : {Pi : \"x\" Log2 : \"y\" Argument : 3}}}}", "LoadVariable()",
         "Variable \"y\" is not defined in this scope."},
        {"{GoldenRatio : {Power : 2}}", "GoldenRatio", "Power must be 1 or -1."},
        {"{E : {Power : 2}}", "E", "Power must be 1 or -1."},
        {"{Pi : {Power : 2}}", "Pi", "Power must be 1 or -1."},
        {"{Pi : {Algorithm : \"x\"}}", "Pi", "Algorithm must be \"chudnovsky\" or \"ramanujan\"."},
        {"{Zeta3 : {Power : 2}}", "Zeta3", "Power must be 1 or -1."},
        {"{Zeta3 : {Algorithm : \"x\"}}", "Zeta3", "Algorithm must be \"wedeniwski\" or \"az\"."},
        {"{Catalan : {Power : 2}}", "Catalan", "Power must be 1 or -1."},
        {"{Catalan : {Algorithm : \"x\"}}", "Catalan",
         "Algorithm must be \"pilehrood-short\" or \"pilehrood-long\"."},
        {"{Lemniscate : {Power : 2}}", "Lemniscate", "Power must be 1 or -1."},
        {"{Lemniscate : {Algorithm : \"x\"}}", "Lemniscate",
         "Algorithm must be \"agm-pi\", \"gauss\", or \"sebah\"."},
        {"{Lemniscate : {Power : -1 Algorithm : \"gauss\"}}", "Lemniscate",
         "(Power = -1) is not supported for (Algorithm = gauss)."},
        {"{Lemniscate : {Power : -1 Algorithm : \"sebah\"}}", "Lemniscate",
         "(Power = -1) is not supported for (Algorithm = sebah)."},
        {"{EulerGamma : {Algorithm : \"x\"}}", "EulerGamma",
         "Algorithm must be \"brent-refined\" or \"brent-original\"."},
        {"{EulerGamma : {Power : 1}}", "", "Invalid Key: Power"},
        // Series
        {series("Hyperdescent", one + P + Q + "Foo : 1"), "", "Invalid Key: Foo"},
        {series("Hyperdescent", "Power : 2 " + one + P + Q), "SeriesHyperdescent()",
         "Power must be 1 or -1."},
        {series("PiChudnovsky", "Power : 0 " + one), "SeriesPiChudnovsky()", "Power must be 1 or -1."},
        {series("Hyperdescent", "CoefficientP : 0 CoefficientQ : 0 CoefficientD : 1 " + P + Q),
         "SeriesHyperdescent()", "CoefficientP cannot be zero."},
        {series("Hyperdescent", "CoefficientP : 1 CoefficientQ : 0 CoefficientD : 0 " + P + Q),
         "SeriesHyperdescent()", "CoefficientD must be positive."},
        {series("BinaryBBP", one + P + Q + "Alternating : \"false\" PowerCoef : 0 PowerShift : 0"),
         "SeriesBinaryBBP()", "PowerCoef must be in [-1024, -1]."},
        {series("BinaryBBP", one + P + Q + "Alternating : \"false\" PowerCoef : -1 PowerShift : 1024"),
         "SeriesBinaryBBP()", "PowerShift must be in [-1023, 1023]."},
        {series("Hyperdescent", one + P + "PolynomialQ : [" + list(64) + "]"), "SeriesHyperdescent()",
         "Polynomial degree limit is 62."},
        {series("Hypergeometric", one + P + Q + "PolynomialR : [" + list(64) + "]"), "SeriesHypergeometric()",
         "Polynomial degree limit is 62."},
        {series("Hyperdescent", one + Q + "PolynomialP : []"), "SeriesHyperdescent_PolyData()",
         "Polynomial P(x) is zero."},
        {series("Hypergeometric", one + P + Q + "PolynomialR : []"), "SeriesHypergeometric_PolyData()",
         "Polynomial R(x) is zero."},
        {series("BinaryBBP", one + powers + P + "PolynomialQ : [3]"), "SeriesBinaryBBP_PolyData()",
         "Polynomial Q(x) must be degree 1 or higher."},
        {series("Hyperdescent", one + Q + "PolynomialP : [1 0]"), "SeriesHyperdescent_PolyData()",
         "Polynomial P(x) has a zero top coefficient."},
        {series("Hyperdescent", one + P + "PolynomialQ : [1 0]"), "SeriesHyperdescent_PolyData()",
         "Polynomial Q(x) has a zero top coefficient."},
        {series("Hypergeometric", one + P + Q + "PolynomialR : [1 0]"), "SeriesHypergeometric_PolyData()",
         "Polynomial R(x) has a zero top coefficient."},
        {series("Hyperdescent", one + P + "PolynomialQ : [-3 1]"), "make_sizer()",
         "Polynomial Q(x) is zero at x = 3."},
        {series("Hypergeometric", one + P + "PolynomialQ : [0 9] PolynomialR : [-3 1]"), "make_sizer()",
         "Polynomial R(x) is zero at x = 3."},
        {series("Hypergeometric", one + P + "PolynomialQ : [0 4] PolynomialR : [0 3]"),
         "SeriesHypergeometric_PolyData::enforce_convergence()", slow + "|R(x)/Q(x)| >= 0.75 at x = 1."},
        {series("Hypergeometric", one + P + "PolynomialQ : [20] PolynomialR : [0 1]"),
         "SeriesHypergeometric_PolyData()", "Polynomial Q(x) must be degree 1 or higher."},
        {series("Hypergeometric", one + P + "PolynomialQ : [10 4] PolynomialR : [0 6]"),
         "SeriesHypergeometric_PolyData::enforce_convergence()",
         slow + "R(x)/Q(x) >= 0.75 at or around x = 2.5."},
        {series("Hypergeometric", one + P + "PolynomialQ : [10 4] PolynomialR : [0 -6]"),
         "SeriesHypergeometric_PolyData::enforce_convergence()",
         slow + "R(x)/Q(x) <= -0.75 at or around x = 2.5."},
        {series("ETaylor", one + "Power : -1 Alternating : \"false\""), "",
         "Inversion not supported for non-alternating series."},
    };
    TemporaryFolder folder;
    for (const Case& c : cases) {
        folder.write("f.cfg", file_of(c.formula));
        const std::string where = c.function.empty() ? "" : "In Function: " + c.function + "\n\n";
        expect_refusal(folder, "custom:f", where + c.text);
    }
}

// Found while it is computed: nothing is left in the folder.
TEST(FormulasTest, RefusalsOfARun) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{Divide : [1 {Shift : [0 1]}]}", "Divide by zero."},
        {"{Sqrt : {Shift : [-2 1]}}", "Square root of negative number."},
        {"{InvNthRoot : [3 -2]}", "Nth root of negative number."},
        {"{AGM : -2}", "AGM of negative number."},
        {"{AGM : [-2 3]}", "One of the inputs is negative."},
        {"{Log : {Shift : [-2 1]}}", "Log of a negative number is complex."},
        {"{Log : {Shift : [0 1]}}", "Log(0) is negative infinity."},
        // The logarithm of a value of 1 is 0.
        {"{Log : {Shift : [2 -1]}}", "Number is zero and out of range."},
        {"{LinearCombination : [[1 3] [-1 3]]}", "Number is zero and out of range."},
        {"{Shift : [{Pi : {}} 64]}", "Number is out of range."},
    };
    for (const auto& [formula, refusal] : cases) {
        TemporaryFolder folder;
        folder.write("f.cfg", file_of(formula));
        const ProgramRun run = run_custom(folder, "custom:f", 1000);
        EXPECT_EQ(run.exit_code, 1) << formula;
        EXPECT_TRUE(run.has(refusal)) << formula << "\n" << run.out << run.err;
        EXPECT_EQ(folder.files(), std::vector<std::string>{"f.cfg"}) << formula;
    }
}

// A sum of very many terms loses the bits of their number, not one a term.
TEST(FormulasTest, ALongSumIsCertain) {
    std::string terms;
    for (int i = 0; i < 3000; i++) terms += "[1 {Sqrt : 2}] ";
    TemporaryFolder folder;
    folder.write("f.cfg", file_of("{LinearCombination : [" + terms + "]}"));
    const ProgramRun run = run_custom(folder, "custom:f", 1000, {"-od:0"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_FALSE(run.has("certain")) << run.out;
    EXPECT_TRUE(run.has("4242.6406871192 8514640506")) << run.out;
}

// So does a product of very many factors.
TEST(FormulasTest, ALongProductIsCertain) {
    std::string factors;
    for (int i = 0; i < 3000; i++) factors += "\"r\" ";
    TemporaryFolder folder;
    folder.write("f.cfg", file_of("{Scope : {Locals : [{r : {Sqrt : {Divide : [{Pi : {}} 3]}}}]"
                                  " Formula : {Shift : [{Multiply : [" +
                                  factors + "]} -100]}}}"));
    const ProgramRun run = run_custom(folder, "custom:f", 1000, {"-od:0"});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_FALSE(run.has("certain")) << run.out;
    // (Pi / 3)^1500 / 2^100
    EXPECT_TRUE(run.has("0.8708179957 5815188307 3541724939")) << run.out;
}

// The value is 1, and what is computed ends below it.
TEST(FormulasTest, ACarryIntoTheDigitsIsTold) {
    ProgramRun run = run_formula("{Multiply : [{Divide : [{Integer : 1} 3]} 3]}");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(
        run.has("Warning: The digits end in a row of nines: those behind the first 0 may be rounded "
                "either way."))
        << run.out;
    run = run_formula("{AGM : [1 {LinearCombination : [[1 1] [1 {Power : [10 -300]}]]}]}", 1000);
    EXPECT_TRUE(run.has("Warning: The digits end in a row of zeros: those behind the first ")) << run.out;
    EXPECT_FALSE(run_formula("{Divide : [{Integer : 1} 3]}").has("may be rounded"));
}

TEST(FormulasTest, ValuesAtTheEndsOfTheRange) {
    const std::string minus = "{LinearCombination : [[-1 {Pi : {}}]]}";
    ProgramRun run = run_formula(minus);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(run.has("Kalvor's digit output cannot handle negative numbers.")) << run.out;
    EXPECT_TRUE(run.has("3.1415926535 8979323846")) << run.out;
    // Zeros, however small the value.
    for (const char* bits : {"1000", "4000", "100000", "10000000000", "9223372036854775807"}) {
        run = run_formula(std::string("{Shift : [{Pi : {}} -") + bits + "]}");
        EXPECT_EQ(run.exit_code, 0) << bits << run.out << run.err;
        EXPECT_TRUE(run.has("0.0000000000 0000000000")) << bits << run.out;
        EXPECT_FALSE(run.has("Cancellation")) << bits;
    }
    EXPECT_TRUE(run_formula("{Shift : [{Pi : {}} -1000]}", 310).has("2931934127"));
    EXPECT_EQ(run_formula("{Shift : [{Pi : {}} 62]}").exit_code, 0);
}

TEST(FormulasTest, LostDigitsAreTold) {
    // (Pi + 2^-1000 - Pi) 2^1001 = 2
    const ProgramRun run = run_formula(
        "{Shift : [{LinearCombination : [[1 {LinearCombination : [[1 {Pi : {}}] [1 {Shift : [1 -1000]}]]}]"
        " [-1 {Pi : {Algorithm : \"ramanujan\"}}]]} 1001]}");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(run.has("Warning: Cancellation in the formula: only the first ")) << run.out;
    EXPECT_TRUE(run.has(" decimal digits are certain.")) << run.out;
}

// So are those of a factor, wherever it stands among the others.
TEST(FormulasTest, LostDigitsOfAFactorAreTold) {
    // 2, and the square root of 2
    const std::string locals =
        "{c : {Shift : [{LinearCombination : [[1 {LinearCombination : [[1 {Pi : {}}] [1 {Shift : [1 "
        "-1000]}]]}]"
        " [-1 {Pi : {Algorithm : \"ramanujan\"}}]]} 1001]}} {r : {Sqrt : 2}}";
    for (const char* factors :
         {"\"c\" \"r\" 3", "\"r\" \"c\" 3", "3 \"r\" \"c\"", "\"c\" \"r\"", "\"r\" \"c\"", "\"c\" 3"}) {
        const ProgramRun run =
            run_formula("{Scope : {Locals : [" + locals + "] Formula : {Multiply : [" + factors + "]}}}");
        EXPECT_EQ(run.exit_code, 0) << factors << run.err;
        const std::string told = "Warning: Cancellation in the formula: only the first ";
        const std::size_t at = run.out.find(told);
        ASSERT_NE(at, std::string::npos) << factors << "\n" << run.out;
        // Of 1000 digits and the few that words are rounded up to, 301 are lost.
        const int certain = std::stoi(run.out.substr(at + told.size()));
        EXPECT_GT(certain, 690) << factors;
        EXPECT_LT(certain, 780) << factors;
    }
}

TEST(FormulasTest, WarningsOfTheBuilder) {
    EXPECT_TRUE(run_formula("{Scope : {Locals : {x : {Pi : {}}} Formula : \"x\"}}")
                    .has("There is a new syntax for \"Scope\". Please switch to the new one."));
    std::string terms, chain = "3 ";
    for (int i = 0; i < 1025; i++) terms += "[1 {Sqrt : 2}]";
    ProgramRun run = run_formula("{LinearCombination : [" + terms + "]}");
    EXPECT_TRUE(run.has("Really?!?! You're gonna make me sum up 1025 elements?"));
    // 1025 sqrt(2)
    EXPECT_TRUE(run.has("1449.5689014324")) << run.out;
    for (int i = 0; i < 1999; i++) chain = "{Shift : [" + chain + " " + (i % 2 == 0 ? "1" : "-1") + "]}";
    run = run_formula("{Sqrt : " + chain + "}");
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_TRUE(run.has("Function depth has reached 256, possible risk of stack overflow.\n"));
    EXPECT_TRUE(run.has("Function depth has reached 1,792, possible") ||
                run.has("Function depth has reached 1792, possible"));
    EXPECT_TRUE(run.has("2.4494897427")) << run.out;
}

TEST(FormulasTest, SettingsRunAFormula) {
    TemporaryFolder folder;
    folder.write(
        "s.cfg",
        "{ Action : \"CustomCompute\" CustomCompute : { Constant : " + file_of("{Sqrt : 2}") +
            " ComputeSize : { DecimalDigits : 1000 EnableHexDigits : \"false\" }"
            " Output : { Path : \"digits\" OutputEnable : \"true\" DigitsPerFile : 0 }"
            " OutputVerify : \"true\" Mode : \"ram\""
            " Parallelism : { TaskDecomposition : 1 Framework : \"none\" }"
            " Allocator : { Allocator : \"mmap\" LargePages : \"disabled\" LockedPages : \"disabled\" } } }");
    const ProgramRun run = kalvor_test::run_in_folder(folder, {"config", "s"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_EQ(run.value("Constant:"), "Custom Formula: A long name");
    EXPECT_EQ(read_file(folder / "digits/Short - Dec - Road.txt").substr(0, 12), "1.4142135623");
}

}  // namespace
