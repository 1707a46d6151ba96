// The entry "custom" of the list of constants, and every example that is handed out.
#include "constants/catalog/custom_constant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "support/capture_console.h"
#include "support/evaluator_run.h"
#include "support/message_of.h"
#include "support/temporary_folder.h"

using namespace kalvor;
using kalvor_test::Form;
using kalvor_test::message_of;
using trel::InvalidParametersException;

namespace {

std::string refused(const std::function<void()>& call) {
    return message_of<InvalidParametersException>(Form::message, call);
}

std::string settings() {
    return "{Constant : {NameShort : \"a\" NameLong : \"b\" AlgorithmShort : \"c\" AlgorithmLong : \"d\" "
           "Formula : {LinearCombination : [[1 {Sqrt : 2}] [-3 4]]}}}";
}

TEST(CustomConstantTest, WithoutAFile) {
    EXPECT_EQ(refused([] { make_constant("custom", ""); }), "No formula file specified.");
    EXPECT_EQ(refused([] { make_constant("custom", "no such file"); }), "File not found.");
}

TEST(CustomConstantTest, SettingsGoRound) {
    const auto tree = trel::Config::parse_acfg(settings());
    const auto constant = load_constant(tree->as<trel::Config::Object>());
    EXPECT_EQ(constant->token(), "custom");
    EXPECT_EQ(constant->color(), 'R');
    EXPECT_EQ(constant->name_short(), "a");
    EXPECT_EQ(constant->name_long(), "Custom - b");
    EXPECT_EQ(constant->header_name(), "Custom Formula: b");
    EXPECT_EQ(constant->algorithm_short(), "c");
    EXPECT_EQ(constant->algorithm_long(), "d");
    const std::string saved = constant->to_config()->to_acfg();
    EXPECT_EQ(saved, tree->to_acfg());
    const auto again = trel::Config::parse_acfg(saved);
    EXPECT_EQ(load_constant(again->as<trel::Config::Object>())->to_config()->to_acfg(), saved);
}

TEST(CustomConstantTest, HasNoAlgorithmToChoose) {
    const auto tree = trel::Config::parse_acfg(settings());
    const auto constant = load_constant(tree->as<trel::Config::Object>());
    for (const char* token : {"0", "", "c", "1"}) {
        EXPECT_EQ(refused([&] { constant->select_algorithm(token); }),
                  std::string("Invalid Algorithm: ") + token);
    }
    const auto with_key = trel::Config::parse_acfg(settings().insert(1, "Algorithm : \"0\" "));
    EXPECT_EQ(refused([&] { load_constant(with_key->as<trel::Config::Object>()); }),
              "Invalid Key: Algorithm");
}

// The value that a comment promises with six decimals and three dots; 0 where there is none.
double promised_by(const std::string& text) {
    const std::string comment = text.substr(0, text.find('{'));
    std::smatch match;
    if (!std::regex_search(comment, match, std::regex("([0-9]+\\.[0-9]{6})\\.\\.\\."))) return 0;
    return std::stod(match[1]);
}

TEST(CustomConstantTest, EveryExampleHasTheValueThatItPromises) {
    const auto folder = std::filesystem::path(KALVOR_SOURCE_FOLDER) / "Custom Formulas";
    std::size_t files = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        SCOPED_TRACE(file.path().string());
        CaptureConsole console;
        const auto constant = make_constant("custom", file.path().string());
        EXPECT_EQ(console.text(), "Opening: " + file.path().string() + "\n");
        kalvor_test::EvaluatorRun run(*constant, 10, 1);
        const trel::BigFloat value = run.value();
        EXPECT_TRUE(value.sign && value.L > 0);
        EXPECT_FALSE(run.error.exact);
        const double promised = promised_by(kalvor_test::read_file(file.path().string()));
        const trel::ScaledDouble top = trel::top_as_double(value);
        const double computed = std::ldexp(top.d, static_cast<int>(64 * top.e));
        if (promised == 0) {
            // "Tiny pi" promises zeros.
            EXPECT_EQ(file.path().filename(), "Tiny pi.cfg");
        } else {
            EXPECT_NEAR(computed, promised + 5e-7, 6e-7);
        }
        files++;
    }
    EXPECT_GE(files, 30u);
}

constexpr const char* kQuestion =
    "Custom Constant with User-Defined Formula:\n\n\n"
    "Enter Path of Formula File:  (enter nothing to cancel)\n"
    "Examples can be found in the \"Custom Formulas\" folder.\n\n";

TEST(CustomConstantTest, TheMenuAsksForAFile) {
    CaptureConsole console;
    console.type({""});
    EXPECT_EQ(CustomConstant::ask(), nullptr);
    EXPECT_EQ(console.take().find(kQuestion), 0u);
    console.type({"no such file"});
    EXPECT_EQ(CustomConstant::ask(), nullptr);
    EXPECT_NE(console.take().find("File not found.\n"), std::string::npos);
    const std::string path = KALVOR_SOURCE_FOLDER "/Custom Formulas/Silver ratio";
    console.type({path});
    const auto constant = CustomConstant::ask();
    ASSERT_NE(constant, nullptr);
    EXPECT_EQ(constant->name_short(), "Silver Ratio");
    EXPECT_NE(console.take().find("Opening: " + path + ".cfg\n"), std::string::npos);
}

TEST(CustomConstantTest, WarningsAreYellow) {
    const auto tree = trel::Config::parse_acfg(settings());
    trel::Config::Object& description = tree->as<trel::Config::Object>();
    const std::string old_scope =
        "{Constant : {NameShort : \"\" NameLong : \"\" AlgorithmShort : \"\" AlgorithmLong : \"\" "
        "Formula : {Scope : {Locals : {x : 2} Formula : \"x\"}}}}";
    CaptureConsole console(CaptureConsole::terminal, true);
    load_constant(description);
    EXPECT_EQ(console.take(), "");
    const auto old_tree = trel::Config::parse_acfg(old_scope);
    load_constant(old_tree->as<trel::Config::Object>());
    EXPECT_EQ(console.take(), "{Y}There is a new syntax for \"Scope\". Please switch to the new one.\n{w}");
}

}  // namespace
