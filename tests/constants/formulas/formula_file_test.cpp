// The names in a formula file, its keys, and where a file is looked for.
#include "constants/formulas/formula_file.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"

using namespace kalvor;
using Formulas::formula_candidates;
using Formulas::read_description;

namespace {

// "location: message" of what reading says; "read" where it says nothing.
std::string refusal(const std::string& text) {
    try {
        const auto tree = trel::Config::parse_acfg(text);
        read_description(tree->as<Config::Object>(), {});
    } catch (const trel::StringException& e) {
        return e.function + ": " + e.message;
    }
    return "read";
}

std::string with(const std::string& key, const std::string& value) {
    std::string text = "{";
    for (const char* each : {"NameShort", "NameLong", "AlgorithmShort", "AlgorithmLong"}) {
        text += std::string(each) + " : \"" + (key == each ? value : "x") + "\" ";
    }
    return text + "Formula : {Sqrt : 2}}";
}

TEST(FormulaFileTest, NamesAreChecked) {
    const std::string fifty(50, 'a');
    for (const char* key : {"NameShort", "NameLong", "AlgorithmShort", "AlgorithmLong"}) {
        const std::string at = std::string(key) + ": ";
        const bool is_short = std::string(key).ends_with("Short");
        EXPECT_EQ(refusal(with(key, "")), "read");
        EXPECT_EQ(refusal(with(key, fifty)), "read");
        EXPECT_EQ(refusal(with(key, fifty + "a")), at + "String cannot be longer than 50 characters.");
        // Bytes count: 25 letters of two bytes, and one more.
        std::string umlauts;
        for (int i = 0; i < 25; i++) umlauts += "\xc3\xa4";
        EXPECT_EQ(refusal(with(key, umlauts)), "read");
        EXPECT_EQ(refusal(with(key, umlauts + "a")), at + "String cannot be longer than 50 characters.");
        EXPECT_EQ(refusal(with(key, "a\tb")), at + "Control characters are not allowed in name.");
        EXPECT_EQ(refusal(with(key, "a\x1f")), at + "Control characters are not allowed in name.");
        EXPECT_EQ(refusal(with(key, "a\x7f")), at + "ASCII 127 is not allowed in name.");
        for (const char c : std::string("*/:<>?|")) {
            EXPECT_EQ(refusal(with(key, std::string("a") + c)),
                      is_short ? at + "Invalid character in name: " + c : "read");
        }
        EXPECT_EQ(refusal(with(key, "a\\\"")), is_short ? at + "Invalid character in name: \"" : "read");
        EXPECT_EQ(refusal(with(key, "a\\\\")), is_short ? at + "Invalid character in name: \\" : "read");
    }
}

TEST(FormulaFileTest, FiveKeys) {
    EXPECT_EQ(refusal("{NameShort : \"x\"}"), ": NameLong");
    EXPECT_EQ(refusal("{NameShort : 5}"), ": Expected String, got Integer.");
    EXPECT_EQ(refusal("{Name : \"x\"}"), ": Invalid Key: Name");
    EXPECT_EQ(refusal("{NameShort : \"a\" NameLong : \"a\" AlgorithmShort : \"a\" AlgorithmLong : \"a\"}"),
              ": Formula");
}

TEST(FormulaFileTest, WritesWhatItRead) {
    const std::string text =
        "{\r\n    NameShort : \"a\"\r\n    NameLong : \"b\"\r\n    AlgorithmShort : \"c\"\r\n"
        "    AlgorithmLong : \"d\"\r\n    Formula : {\r\n        Sqrt : 2\r\n    }\r\n}\r\n";
    const auto tree = trel::Config::parse_acfg(text);
    const auto description = read_description(tree->as<Config::Object>(), {});
    EXPECT_EQ(description.name_short, "a");
    EXPECT_EQ(description.algorithm_long, "d");
    EXPECT_EQ(Formulas::write_description(description)->to_acfg(), text);
}

TEST(FormulaFileTest, FourteenCandidatesAndTheProgramsOwnFolders) {
    EXPECT_EQ(formula_candidates("x", "/p/"), (std::vector<std::string>{"x",
                                                                        "x.cfg",
                                                                        "/p/x",
                                                                        "/p/x.cfg",
                                                                        "Custom Formulas/x",
                                                                        "Custom Formulas/x.cfg",
                                                                        "Test Formulas/x",
                                                                        "Test Formulas/x.cfg",
                                                                        "../x",
                                                                        "../x.cfg",
                                                                        "../Custom Formulas/x",
                                                                        "../Custom Formulas/x.cfg",
                                                                        "../Test Formulas/x",
                                                                        "../Test Formulas/x.cfg",
                                                                        "/p/Custom Formulas/x",
                                                                        "/p/Custom Formulas/x.cfg",
                                                                        "/p/Test Formulas/x",
                                                                        "/p/Test Formulas/x.cfg",
                                                                        "/p/../x",
                                                                        "/p/../x.cfg",
                                                                        "/p/../Custom Formulas/x",
                                                                        "/p/../Custom Formulas/x.cfg",
                                                                        "/p/../Test Formulas/x",
                                                                        "/p/../Test Formulas/x.cfg"}));
}

// Each candidate is found when it exists and none before it does.
TEST(FormulaFileTest, TheFirstThatExists) {
    const std::vector<std::string> all = formula_candidates("x", "/p/");
    for (std::size_t first = 0; first < all.size(); first++) {
        const std::set<std::string> files(all.begin() + static_cast<std::ptrdiff_t>(first), all.end());
        EXPECT_EQ(Formulas::find_formula_file("x", "/p/", [&](const auto& f) { return files.contains(f); }),
                  all[first]);
    }
    EXPECT_EQ(Formulas::find_formula_file("x", "/p/", [](const auto&) { return false; }), std::nullopt);
}

}  // namespace
