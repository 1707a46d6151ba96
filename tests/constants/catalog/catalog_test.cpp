#include "constants/catalog/catalog.h"

#include <gtest/gtest.h>

#include <optional>

#include "base/command_line/parameter_list.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"

using namespace kalvor;
using trel::Config::Object;

namespace {

// Type and message of what is thrown.
template <class F>
std::string refusal_of(F&& f) {
    try {
        f();
    } catch (const trel::StringException& e) {
        return std::string(e.get_typename()) + ": " + e.message;
    }
    return "nothing thrown";
}

std::unique_ptr<Object> object_of(const std::string& text) {
    auto root = trel::Config::parse_acfg(text);
    return std::unique_ptr<Object>(&root.release()->as<Object>());
}

// ---- a catalog of two rows: one without a factory, one with an argument

constexpr std::string_view kAlephTokens[] = {"aleph"};
constexpr std::string_view kTenthsTokens[] = {"tenths", "n/10"};
constexpr CatalogRow kTwoRows[] = {
    {0, kAlephTokens, 'R', "Aleph", "", "", CatalogGroup::other},
    {1, kTenthsTokens, 'B', "n/10", "", "> 0.01", CatalogGroup::fast},
};

class Tenths final : public Constant {
  public:
    static constexpr bool kTakesArgument = true;
    static constexpr std::string_view kArgument = "n";
    static constexpr std::string_view kAlgorithms[] = {"shift", "1"};
    explicit Tenths(std::string_view n) : n_(trel::CommandLine::parse_scaled_integer(std::string(n))) {
        if (n_ < 1) {
            throw trel::InvalidParametersException("Tenths", std::to_string(n_) + " is out of range.");
        }
    }
    const CatalogRow& row() const override { return kTwoRows[1]; }
    std::string name_short() const override { return std::to_string(n_) + " tenths"; }
    std::string name_long() const override { return name_short(); }
    std::optional<i64> argument() const override { return n_; }
    std::vector<AlgorithmRow> algorithms() const override {
        return {{0, "shift", "Shift", "Shift", ""}, {1, "1", "Divide", "Division", "(slower)"}};
    }
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest&) const override { return nullptr; }

  private:
    i64 n_;
};

struct TwoRows {
    TwoRows() { catalog.add("tenths", factory); }
    ConstantFactoryOf<Tenths> factory;
    Catalog catalog{kTwoRows};
};

}  // namespace

// Every row, built or not, as the menu shows it.
TEST(CatalogTest, Rows) {
    const struct {
        const char *tokens, *color_and_name, *value, *difficulty;
        CatalogGroup group;
    } want[] = {
        {"sqrt", "P Sqrt(n)", "", "  1.46", CatalogGroup::fast},
        {"goldenratio, phi", "P Golden Ratio", "1.618034...", "  1.46", CatalogGroup::fast},
        {"e", "P e", "2.718281...", "  3.88 / 3.88", CatalogGroup::fast},
        {"pi", "G Pi", "3.141592...", "  13.2 / 19.9", CatalogGroup::moderate},
        {"log", "G Log(n)", "", "> 35.7", CatalogGroup::moderate},
        {"zeta3, apery, zeta(3)", "G Zeta(3) (Apery's Constant)", "1.202056...", "  62.8 / 65.7",
         CatalogGroup::moderate},
        {"catalan", "G Catalan's Constant", "0.915965...", "  78.0 / 105.", CatalogGroup::moderate},
        {"lemniscate", "G Lemniscate", "5.244115...", "  60.4 / 124. / 154.", CatalogGroup::moderate},
        {"gamma", "B Euler-Mascheroni Constant", "0.577215...", "  383. / 574.", CatalogGroup::slow},
        {"brent", "B Euler-Mascheroni Constant (parameter override)", "", "", CatalogGroup::other},
        {"custom", "R Custom constant with user-defined formula.", "", "", CatalogGroup::other},
    };
    ASSERT_EQ(catalog_rows().size(), std::size(want));
    for (std::size_t i = 0; i < std::size(want); i++) {
        const CatalogRow& row = catalog_rows()[i];
        EXPECT_EQ(row.number, i);
        std::string tokens;
        for (const std::string_view token : row.tokens) {
            tokens += (tokens.empty() ? "" : ", ") + std::string(token);
            EXPECT_EQ(catalog().find(token), &row) << token;
        }
        EXPECT_EQ(tokens, want[i].tokens);
        EXPECT_EQ(row.color + (" " + std::string(row.name)), want[i].color_and_name);
        EXPECT_EQ(row.value, want[i].value);
        EXPECT_EQ(row.difficulty, want[i].difficulty);
        EXPECT_EQ(row.group, want[i].group);
    }
}

TEST(CatalogTest, TokensOfRowsWithoutAFactoryAreUnknown) {
    for (const CatalogRow& row : catalog_rows()) {
        for (const std::string_view token : row.tokens) {
            const std::string got = refusal_of([&] { make_constant(token, ""); });
            const std::string unknown = "InvalidParametersException: Invalid Constant: " + std::string(token);
            // A constant may still want an argument.
            EXPECT_EQ(got == unknown, catalog().factory(row) == nullptr) << got;
        }
    }
    EXPECT_NE(catalog().factory(*catalog().find("pi")), nullptr);
    EXPECT_EQ(refusal_of([] { make_constant("tau", ""); }),
              "InvalidParametersException: Invalid Constant: tau");
    EXPECT_EQ(refusal_of([] { make_constant("", ""); }),
              "InvalidParametersException: Invalid constant token.");
}

TEST(CatalogTest, NumbersAreNotTokens) {
    for (const char* number : {"0", "3", "10", "11"}) {
        EXPECT_EQ(refusal_of([&] { make_constant(number, ""); }),
                  std::string("InvalidParametersException: Invalid Constant: ") + number);
    }
}

TEST(CatalogTest, EveryTokenMakesTheConstantThatHasIt) {
    const std::vector<std::string> tokens = constant_tokens();
    EXPECT_NE(std::find(tokens.begin(), tokens.end(), "pi"), tokens.end());
    for (const std::string& token : tokens) {
        const CatalogRow* const row = catalog().find(token);
        ASSERT_NE(row, nullptr) << token;
        if (catalog().factory(*row)->takes_argument()) continue;
        EXPECT_EQ(&make_constant(token, "")->row(), row) << token;
    }
}

// A factory knows what its constants say once they are made.
TEST(CatalogTest, UsesOfConstants) {
    const auto uses = constant_uses();
    std::size_t i = 0;
    for (const CatalogRow& row : catalog_rows()) {
        const ConstantFactory* const factory = catalog().factory(row);
        if (!factory) continue;
        ASSERT_LT(i, uses.size());
        const ConstantUse& use = uses[i++];
        ASSERT_EQ(use.forms.size(), row.tokens.size());
        EXPECT_EQ(factory->takes_argument(), use.forms[0].ends_with('>')) << use.forms[0];
        EXPECT_TRUE(use.forms[0].starts_with(row.tokens[0]));
        const std::string name(row.tokens[0]);
        if (name == "custom") {
            EXPECT_EQ(use.forms, std::vector<std::string>{"custom:<file>"});
            EXPECT_TRUE(use.algorithms.empty());
            continue;
        }
        const CaptureConsole console;
        const auto constant = make_constant(name, factory->takes_argument() ? "2" : "");
        EXPECT_EQ(use.algorithms, constant->algorithm_tokens()) << name;
    }
    EXPECT_EQ(i, uses.size());
    EXPECT_EQ(uses.front().forms, std::vector<std::string>{"sqrt:<n>"});
    EXPECT_EQ(uses[1].forms, (std::vector<std::string>{"goldenratio", "phi"}));
}

// What a command line hands over behind the colon reaches the constant, and a refusal is the constant's own.
TEST(CatalogTest, ArgumentsReachTheConstant) {
    const TwoRows two;
    EXPECT_EQ(two.catalog.tokens(), (std::vector<std::string>{"tenths", "n/10"}));
    EXPECT_EQ(two.catalog.make("tenths", "25")->name_short(), "25 tenths");
    EXPECT_EQ(two.catalog.make("n/10", "1k")->argument(), std::optional<i64>(1000));
    EXPECT_EQ(refusal_of([] { make_constant("pi", "5"); }),
              "InvalidParametersException: The constant \"pi\" takes no argument: 5");
    EXPECT_EQ(refusal_of([&] { two.catalog.make("tenths", ""); }),
              "InvalidParametersException: 0 is out of range.");
    EXPECT_EQ(refusal_of([&] { two.catalog.make("aleph", ""); }),
              "InvalidParametersException: Invalid Constant: aleph");
}

TEST(CatalogTest, ObjectsComeBackAsTheyWereWritten) {
    const TwoRows two;
    const auto constant = two.catalog.make("n/10", "7");
    constant->select_algorithm("1");
    const std::string text = constant->to_config()->to_acfg();
    EXPECT_EQ(text,
              "{\r\n"
              "    Constant : \"tenths\"\r\n"
              "    Argument : 7\r\n"
              "    Algorithm : \"1\"\r\n"
              "}\r\n");
    const auto back = two.catalog.load(*object_of(text));
    EXPECT_EQ(back->argument(), std::optional<i64>(7));
    EXPECT_EQ(back->algorithm_long(), "Division");
    EXPECT_EQ(back->to_config()->to_acfg(), text);
    for (const char* algorithm : {"0", "1", "2", "3"}) {
        const auto pi = make_constant("pi", "");
        pi->select_algorithm(algorithm);
        const std::string pi_text = pi->to_config()->to_acfg();
        EXPECT_EQ(pi_text,
                  "{\r\n    Constant : \"pi\"\r\n    Algorithm : \"" + pi->algorithm_token() + "\"\r\n}\r\n");
        const auto same = load_constant(*object_of(pi_text));
        EXPECT_EQ(same->token(), "pi");
        EXPECT_EQ(std::to_string(same->algorithm()), algorithm);
    }
}

TEST(CatalogTest, RefusedObjects) {
    const TwoRows two;
    const struct {
        const char *text, *want;
    } cases[] = {
        {"{}", "KeyNotFoundException: Constant"},
        {"{Constant : 3 Algorithm : 0}", "ParseException: Custom Compute: Expected String, got Integer."},
        {"{Constant : \"tau\" Algorithm : 0}", "InvalidParametersException: Invalid Constant: tau"},
        {"{Constant : \"\" Algorithm : 0}", "InvalidParametersException: Invalid constant token."},
        {"{Constant : \"aleph\" Algorithm : 0}", "InvalidParametersException: Invalid Constant: aleph"},
        // An object in place of the token is a formula.
        {"{Constant : {}}", "InvalidParametersException: Invalid Constant: custom"},
        {"{Constant : \"tenths\" Algorithm : 0}", "KeyNotFoundException: Argument"},
        {"{Constant : \"tenths\" Argument : 1}", "KeyNotFoundException: Algorithm"},
        {"{Constant : \"tenths\" Argument : \"1\" Algorithm : 0}",
         "ParseException: Custom Compute: Expected Integer, got String."},
        {"{Constant : \"tenths\" Argument : -5 Algorithm : 0}",
         "InvalidParametersException: -5 is out of range."},
        {"{Constant : \"tenths\" Argument : 1 Algorithm : []}",
         "ParseException: Custom Compute: Expected String, got Array."},
        {"{Constant : \"tenths\" Argument : 1 Algorithm : 2}",
         "InvalidParametersException: Invalid Algorithm: 2"},
        {"{Constant : \"tenths\" Argument : 1 Algorithm : 0 Speed : 1}",
         "InvalidParametersException: Invalid Key: Speed"},
    };
    for (const auto& [text, want] : cases) {
        EXPECT_EQ(refusal_of([&] { two.catalog.load(*object_of(text)); }), want) << text;
    }
    // Pi has no argument.
    EXPECT_EQ(refusal_of([] { load_constant(*object_of("{Constant : \"pi\" Argument : 1 Algorithm : 0}")); }),
              "InvalidParametersException: Invalid Key: Argument");
    EXPECT_EQ(refusal_of([] { load_constant(*object_of("{Constant : \"pi\" Algorithm : 4}")); }),
              "InvalidParametersException: Invalid Algorithm: 4");
}

TEST(CatalogDeathTest, WhatFitsNoRowEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto add = [](std::string_view token) {
        trel::Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        TwoRows two;
        two.catalog.add(token, two.factory);
    };
    // The second name is the same row.
    EXPECT_EXIT(add("n/10"), testing::ExitedWithCode(1), "^\nDuplicate Constant: tenths\n$");
    EXPECT_EXIT(add("beth"), testing::ExitedWithCode(1), "^\nConstant without a row: beth\n$");
}
