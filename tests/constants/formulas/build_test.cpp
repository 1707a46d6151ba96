// What building a formula refuses, in the words and at the places that are promised, and what it warns of.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "constants/formulas/function_registry.h"
#include "constants/formulas/scope.h"
#include "formula_support.h"
#include "support/small_stack.h"

using namespace kalvor;
using kalvor_test::built;
using kalvor_test::refusal;
using trel::u64;

namespace {

// n functions around a value.
std::string chain(u64 n, const std::string& before, const std::string& value, const std::string& after) {
    std::string text;
    for (u64 i = 0; i < n; i++) text += before;
    text += value;
    for (u64 i = 0; i < n; i++) text += after;
    return text;
}

TEST(FormulaBuildTest, Values) {
    EXPECT_EQ(refusal("5"), "built");
    EXPECT_EQ(refusal("{Integer : -5}"), "built");
    EXPECT_EQ(refusal("{}"), "load_function(): Number of items must be 1.");
    EXPECT_EQ(refusal("{Pi : {} Sqrt : 2}"), "load_function(): Number of items must be 1.");
    EXPECT_EQ(refusal("{Foo : 2}"), "load_function(): Unknown function: Foo");
    EXPECT_EQ(refusal("[2]"), ": Expected Object, got Array.");
    EXPECT_EQ(refusal("{Integer : \"x\"}"), ": Expected Integer, got String.");
    EXPECT_EQ(refusal("\"x\""), "LoadVariable(): Cannot load variable outside of a Scope.");
    EXPECT_EQ(refusal("{Sqrt : {Shift : [\"x\" 1]}}"),
              "LoadVariable(): Cannot load variable outside of a Scope.");
}

TEST(FormulaBuildTest, ArgumentsOfArithmetic) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{Shift : [2]}", "Shift(): Set must have 2 terms."},
        {"{Shift : [2 3 4]}", "Shift(): Set must have 2 terms."},
        {"{Shift : 2}", ": Expected Array, got Integer."},
        {"{Shift : [2 {Pi : {}}]}", ": Expected Integer, got Object."},
        {"{Shift : [2 -9223372036854775807]}", "built"},
        {"{Multiply : []}", "Multiply(): Set must have at least 2 terms."},
        {"{Multiply : [2]}", "Multiply(): Set must have at least 2 terms."},
        {"{Multiply : [2 3 4]}", "built"},
        {"{Divide : [2]}", "Divide(): Set must have exactly 2 terms."},
        {"{Divide : [2 3 4]}", "Divide(): Set must have exactly 2 terms."},
        {"{Divide : [2 0]}", "Divide(): Divide by zero."},
        {"{Divide : [2 1]}", "Divide(): Use Shift() to divide by a power-of-two."},
        {"{Divide : [2 -1]}", "Divide(): Use Shift() to divide by a power-of-two."},
        {"{Divide : [2 8]}", "Divide(): Use Shift() to divide by a power-of-two."},
        {"{Divide : [2 -8]}", "Divide(): Use Shift() to divide by a power-of-two."},
        {"{Divide : [2 4611686018427387904]}", "Divide(): Use Shift() to divide by a power-of-two."},
        {"{Divide : [2 6]}", "built"},
        {"{Divide : [2 -9223372036854775807]}", "built"},
        {"{Power : [2]}", "Power(): Set must have exactly 2 terms."},
        {"{Power : [2 0]}", "Power(x, p): Exponent cannot be zero."},
        {"{Power : [2 {Pi : {}}]}", ": Expected Integer, got Object."},
        {"{Power : [2 -9223372036854775807]}", "built"},
        {"{LinearCombination : []}", "LinearCombination(): Set is empty."},
        {"{LinearCombination : [[1 2] [1]]}", "LinearCombination(): Each term must have two parts."},
        {"{LinearCombination : [[1 2 3]]}", "LinearCombination(): Each term must have two parts."},
        {"{LinearCombination : [2]}", ": Expected Array, got Integer."},
        {"{LinearCombination : [[{Pi : {}} 2]]}", ": Expected Integer, got Object."},
        {"{LinearCombination : [[0 2] [-9223372036854775807 2]]}", "built"},
        {"{Invsqrt : 1}", "Invsqrt(x): Argument is invalid: 1"},
        {"{Invsqrt : -4}", "Invsqrt(x): Argument is invalid: -4"},
        {"{Invsqrt : 16}", "Invsqrt(x): Argument is a perfect square: 16"},
        {"{Invsqrt : 9223372036854775807}", "built"},
        {"{Sqrt : 1}", "Sqrt(x): Argument is invalid: 1"},
        {"{Sqrt : 0}", "Sqrt(x): Argument is invalid: 0"},
        {"{Sqrt : 16}", "Sqrt(x): Argument is a perfect square: 16"},
        {"{Sqrt : 9223372030926249001}", "Sqrt(x): Argument is a perfect square: 9223372030926249001"},
        {"{Sqrt : 9223372030926249000}", "built"},
        {"{InvNthRoot : [3]}", "InvNthRoot(): Set must have exactly 2 terms."},
        {"{InvNthRoot : [2 5]}", "InvNthRoot(): Degree must be greater than 2."},
        {"{InvNthRoot : [-3 5]}", "InvNthRoot(): Degree must be greater than 2."},
        {"{InvNthRoot : [4294967297 5]}", "built"},
        {"{InvNthRoot : [9223372036854775807 5]}", "built"},
        {"{AGM : [2]}", "AGM(): Set must have exactly 2 terms."},
        {"{AGM : [2 3 4]}", "AGM(): Set must have exactly 2 terms."},
        {"{AGM : [2 3]}", "built"},
        {"{AGM : 2}", "built"},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(refusal(text), want) << text;
}

TEST(FormulaBuildTest, ArgumentsOfConstants) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{Pi : []}", ": Expected Object, got Array."},
        {"{Pi : {Power : 2}}", "Pi: Power must be 1 or -1."},
        {"{Pi : {Power : 0}}", "Pi: Power must be 1 or -1."},
        {"{Pi : {power : 1}}", ": Invalid Key: power"},
        {"{Pi : {Algorithm : \"gauss\"}}", "Pi: Algorithm must be \"chudnovsky\" or \"ramanujan\"."},
        {"{Pi : {Algorithm : \"ramanujan\" Power : -1}}", "built"},
        {"{GoldenRatio : {Power : 3}}", "GoldenRatio: Power must be 1 or -1."},
        {"{GoldenRatio : {Algorithm : \"newton\"}}", ": Invalid Key: Algorithm"},
        {"{Lemniscate : {Algorithm : \"agm\"}}",
         "Lemniscate: Algorithm must be \"agm-pi\", \"gauss\", or \"sebah\"."},
        {"{Lemniscate : {Power : -1}}", "built"},
        {"{Lemniscate : {Power : -1 Algorithm : \"gauss\"}}",
         "Lemniscate: (Power = -1) is not supported for (Algorithm = gauss)."},
        {"{Lemniscate : {Power : -1 Algorithm : \"sebah\"}}",
         "Lemniscate: (Power = -1) is not supported for (Algorithm = sebah)."},
        {"{E : {Power : 2}}", "E: Power must be 1 or -1."},
        {"{E : {Power : -1}}", "built"},
        {"{Zeta3 : {Power : 2}}", "Zeta3: Power must be 1 or -1."},
        {"{Zeta3 : {Algorithm : \"az\" Power : -1}}", "built"},
        {"{Zeta3 : {Algorithm : \"0\"}}", "Zeta3: Algorithm must be \"wedeniwski\" or \"az\"."},
        {"{Catalan : {Algorithm : \"pilehrood-long\" Power : -1}}", "built"},
        {"{EulerGamma : {}}", "built"},
        {"{EulerGamma : {Algorithm : \"brent-original\"}}", "built"},
        {"{EulerGamma : {Algorithm : \"brent\"}}",
         "EulerGamma: Algorithm must be \"brent-refined\" or \"brent-original\"."},
        {"{EulerGamma : {Power : 1}}", ": Invalid Key: Power"},
        {"{Catalan : {Algorithm : \"lupas\"}}",
         "Catalan: Algorithm must be \"pilehrood-short\" or \"pilehrood-long\"."},
        {"{ArcCoth : {x : 1}}", "ArcCoth(x): Argument must be greater than 1: x = 1"},
        {"{ArcCoth : {x : -5}}", "ArcCoth(x): Argument must be greater than 1: x = -5"},
        {"{ArcCoth : {x : 4294967295}}", "built"},
        {"{ArcCoth : {x : 4294967296}}", "ArcCoth(x): Argument is too large: x = 4294967296"},
        {"{ArcCoth : {x : 3 Power : 0}}", "ArcCoth(x): Power must be 1 or -1."},
        {"{ArcCoth : {x : 3 Coefficient : 0}}", "ArcCoth(x): CoefficientP cannot be zero."},
        {"{ArcCoth : {y : 3}}", ": Invalid Key: y"},
        {"{ArcCoth : {Power : 1}}", ": x"},
        {"{ArcCoth : 3}", ": Expected Object, got Integer."},
        {"{Log : 1}", "Log(x): Argument is invalid: 1"},
        {"{Log : -2}", "Log(x): Argument is invalid: -2"},
        {"{Log : 2147483647}", "built"},
        {"{Log : 2147483648}", "Log(x): Argument is too large: 2147483648"},
        {"{Log : {Pi : {}}}", "built"},
        {"{ArcSinlemn : {x : 0 y : 2}}", "ArcSinlemn(x/y): Argument for ArcSinlemn is invalid: 0"},
        {"{ArcSinlemn : {x : 1 y : -2}}", "ArcSinlemn(x/y): Argument for ArcSinlemn is invalid: -2"},
        {"{ArcSinlemn : {x : 65536 y : 2}}", "ArcSinlemn(x/y): x^4 doesn't fit into a machine word: 65536"},
        {"{ArcSinlemn : {x : 2 y : 65536}}", "ArcSinlemn(x/y): y^4 doesn't fit into a machine word: 65536"},
        {"{ArcSinlemn : {x : 2 y : 65535}}", "built"},
        {"{ArcSinlemn : {x : 2 y : 2}}", "ArcSinlemn(x/y): x must be less than y or series won't converge."},
        {"{ArcSinlemn : {x : 16 y : 17}}",
         "ArcSinlemn(x/y): x/y is too close to 1.0. Series converges too slowly."},
        {"{ArcSinlemn : {x : 15 y : 16}}", "built"},
        {"{ArcSinlemn : {x : 1 y : 2 Power : 2}}", "ArcSinlemn(x/y): Power must be 1 or -1."},
        {"{ArcSinlemn : {x : 1 y : 2 Coefficient : 0}}", "ArcSinlemn(x/y): CoefficientP cannot be zero."},
        {"{ArcSinlemn : {x : 1}}", ": y"},
        {"{ArcSinlemn : {x : 1 y : 2 z : 3}}", ": Invalid Key: z"},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(refusal(text), want) << text;
}

// It loads, and is refused when it is planned.
TEST(FormulaBuildTest, SlowArcsineIsRefusedByThePlan) {
    const kalvor_test::FormulaFactory formula("{ArcSinlemn : {x : 4 y : 5}}");
    try {
        formula.make_evaluator({10, 1});
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.message, "Convergence is too slow: N / D < 0.75");
    }
}

TEST(FormulaBuildTest, Scopes) {
    const std::string longest(64, 'a');
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"{Scope : {Locals : [] Formula : 2}}", "built"},
        {"{Scope : {Locals : [{x : 2}] Formula : \"x\"}}", "built"},
        // A local sees those before it, not itself and not those behind it.
        {"{Scope : {Locals : [{x : 2} {y : \"x\"}] Formula : \"y\"}}", "built"},
        {"{Scope : {Locals : [{y : \"x\"} {x : 2}] Formula : \"y\"}}",
         "LoadVariable(): Variable \"x\" is not defined in this scope."},
        {"{Scope : {Locals : [{x : \"x\"}] Formula : \"x\"}}",
         "LoadVariable(): Variable \"x\" is not defined in this scope."},
        {"{Scope : {Locals : [{x : 2}] Formula : {Sqrt : {LoadVariable : \"z\"}}}}",
         "LoadVariable(): Variable \"z\" is not defined in this scope."},
        // Variables of an outer scope are seen in an inner one, not the other way round.
        {"{Scope : {Locals : [{x : 2}] Formula : {Scope : {Locals : [{y : \"x\"}] Formula : \"x\"}}}}",
         "built"},
        {"{Scope : {Locals : [{x : {Scope : {Locals : [{y : 2}] Formula : \"y\"}}}] Formula : \"y\"}}",
         "LoadVariable(): Variable \"y\" is not defined in this scope."},
        {"{Scope : {Locals : [{x : 2 y : 3}] Formula : 2}}",
         "Scope local must have exactly one element.: Invalid Parameters"},
        {"{Scope : {Locals : [{}] Formula : 2}}",
         "Scope local must have exactly one element.: Invalid Parameters"},
        {"{Scope : {Locals : [2] Formula : 2}}", ": Expected Object, got Integer."},
        {"{Scope : {Locals : 2 Formula : 2}}", ": Expected Array, got Integer."},
        {"{Scope : {Locals : []}}", ": Formula"},
        {"{Scope : {Formula : 2}}", ": Locals"},
        {"{Scope : {Locals : [] Formula : 2 Result : 2}}", ": Invalid Key: Result"},
        {"{Scope : []}", ": Expected Object, got Array."},
        {"{Scope : {Locals : [{pi_2 : 2}] Formula : 2}}", "built"},
        {"{Scope : {Locals : [{pi-2 : 2}] Formula : 2}}",
         "Scope(): Variable \"pi-2\" contains an invalid character: '-'"},
        {"{Scope : {Locals : [{" + longest + " : 2}] Formula : 2}}", "built"},
        {"{Scope : {Locals : [{" + longest + "a : 2}] Formula : 2}}", "Scope(): Variable name is too long."},
        // The length is looked at before the characters, both before the formula.
        {"{Scope : {Locals : [{" + longest + "- : {Foo : 2}}] Formula : 2}}",
         "Scope(): Variable name is too long."},
        {"{Scope : {Locals : [{x : 2} {x : {Foo : 2}}] Formula : 2}}",
         "Scope(): Variable \"x\" already exists in this scope."},
        {"{Scope : {Locals : {x : 2 y : \"x\"} Formula : \"y\"}}", "built"},
    };
    for (const auto& [text, want] : cases) EXPECT_EQ(refusal(text), want) << text;
}

TEST(FormulaBuildTest, OldSyntaxOfScopesWarns) {
    EXPECT_EQ(built("{Scope : {Locals : {x : 2} Formula : \"x\"}}").warnings,
              std::vector<std::string>{"There is a new syntax for \"Scope\". Please switch to the new one."});
    EXPECT_TRUE(built("{Scope : {Locals : [{x : 2}] Formula : \"x\"}}").warnings.empty());
}

TEST(FormulaBuildTest, LogAgmLooksItsVariablesUp) {
    const std::string locals = "{Scope : {Locals : [{pi : {Pi : {}}} {l : 2}] Formula : ";
    EXPECT_EQ(refusal(locals + "{Log-AGM : {Pi : \"pi\" Log2 : \"l\" Argument : 3}}}}"), "built");
    EXPECT_EQ(refusal(locals + "{Log-AGM : {Pi : \"p\" Log2 : \"l\" Argument : 3}}}}"),
              "LoadVariable(): Variable \"p\" is not defined in this scope.");
    EXPECT_EQ(refusal(locals + "{Log-AGM : {Pi : \"pi\" Log2 : 2 Argument : 3}}}}"),
              ": Expected String, got Integer.");
    EXPECT_EQ(refusal(locals + "{Log-AGM : {Pi : \"pi\" Log2 : \"l\"}}}}"), ": Argument");
    EXPECT_EQ(refusal(locals + "{Log-AGM : {Pi : \"pi\" Log2 : \"l\" Argument : 3 x : 4}}}}"),
              ": Invalid Key: x");
}

TEST(FormulaBuildTest, ManyTermsWarn) {
    std::string terms;
    for (int i = 0; i < 1024; i++) terms += "[1 2]";
    EXPECT_TRUE(built("{LinearCombination : [" + terms + "]}").warnings.empty());
    EXPECT_EQ(built("{LinearCombination : [" + terms + "[1 2]]}").warnings,
              std::vector<std::string>{"Really?!?! You're gonna make me sum up 1025 elements?"});
}

TEST(FormulaBuildTest, DepthWarns) {
    const auto warnings = [](u64 nodes) {
        return built(chain(nodes - 1, "{Shift : [", "3", " 1]}")).warnings;
    };
    const std::string at_256 = "Function depth has reached 256, possible risk of stack overflow.";
    EXPECT_TRUE(warnings(256).empty());
    EXPECT_EQ(warnings(257), std::vector<std::string>{at_256});
    EXPECT_EQ(warnings(512), std::vector<std::string>{at_256});
    EXPECT_EQ(warnings(513),
              (std::vector<std::string>{at_256,
                                        "Function depth has reached 512, possible risk of stack overflow."}));
}

TEST(FormulaBuildTest, ParentsAndDepths) {
    const auto formula = built("{Multiply : [{Pi : {}} {Shift : [3 1]}]}");
    ASSERT_EQ(formula.root->children().size(), 2u);
    EXPECT_EQ(formula.root->parent(), nullptr);
    EXPECT_EQ(formula.root->depth(), 0u);
    const auto& shift = *formula.root->children()[1];
    EXPECT_EQ(shift.parent(), formula.root.get());
    EXPECT_EQ(shift.children().front()->depth(), 2u);
    EXPECT_EQ(shift.children().front()->scope(), nullptr);
}

TEST(FormulaBuildTest, NamesInTheOrderOfTheLanguage) {
    const std::vector<std::string> names = Formulas::function_names();
    ASSERT_GE(names.size(), 12u);
    EXPECT_EQ((std::vector<std::string>(names.begin(), names.begin() + 4)),
              (std::vector<std::string>{"Integer", "LoadVariable", "Scope", "Shift"}));
}

// 2001 nodes of every kind that nests: read, built, planned, run, written, destroyed.
TEST(FormulaBuildTest, DeepFormulasFitASmallStack) {
    const std::vector<std::pair<std::string, std::string>> kinds = {
        {"{Shift : [", " 1]}"},
        {"{LinearCombination : [[1 ", "]]}"},
        {"{Multiply : [1 ", " ]}"},
        {"{Scope : {Locals : [{x : ", "}] Formula : \"x\"}}"},
        {"{Scope : {Locals : [] Formula : ", "}}"},
        {"{Divide : [", " -3]}"},
    };
    kalvor_test::run_on_small_stack([&] {
        for (const auto& [before, after] : kinds) {
            const std::string text = chain(2000, before, "3 ", after);
            const std::unique_ptr<trel::Config::Node> tree = trel::Config::parse_acfg(text);
            const std::unique_ptr<trel::Config::Node> copy = tree->clone();
            // Its lines are indented by thousands of columns, so that one kind is enough.
            if (&before == &kinds.front().first) {
                EXPECT_GT(copy->to_acfg().size(), text.size());
                EXPECT_GT(copy->to_json().size(), text.size());
            }
            std::unique_ptr<Formulas::VFormulaNode> root = Formulas::build(*copy, {});
            const auto evaluator = Formulas::make_formula_evaluator(*root, {6, 1});
            root.reset();
            Scratch result(trel::round_up_8(evaluator->needs().result_words) * sizeof(trel::Word)),
                scratch(trel::round_up_64(evaluator->needs().bytes));
            trel::BigFloat x(result.words(), evaluator->needs().result_words);
            evaluator->run({trel::serial_context(), scratch.view(), nullptr}, trel::null_status(), x);
            EXPECT_TRUE(scratch.guards_intact());
            EXPECT_NE(x.L, 0u) << before;
        }
    });
}

}  // namespace
