// docs/formulas.md has every error that a formula can meet. (What building refuses is looked up there by
// refusal() itself.)
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/documented_errors.h"

using kalvor_test::is_documented;

namespace {

TEST(ErrorsPageTest, Patterns) {
    using kalvor_test::is_of_pattern;
    EXPECT_TRUE(is_of_pattern("Invalid Key: x", "Invalid Key: ..."));
    EXPECT_TRUE(is_of_pattern("Expected Object, got Array.", "Expected ..., got ...."));
    EXPECT_FALSE(is_of_pattern("Expected Object, got Array", "Expected ..., got ...!"));
    EXPECT_FALSE(is_of_pattern("Set is empty", "Set is empty."));
    EXPECT_TRUE(is_documented("Convergence is too slow: N / D < 0.75"));
    EXPECT_TRUE(is_documented("Set is empty."));
    EXPECT_FALSE(is_documented("Set is full."));
}

// Sentences in the sources of the language, its nodes and its series.
std::set<std::string> sentences() {
    namespace fs = std::filesystem;
    const fs::path source = KALVOR_SOURCE_FOLDER "/src";
    std::vector<fs::path> files = {
        source / "constants/bsr/polynomial_series.cpp", source / "constants/builtin/arcsinlemn.cpp",
        source / "constants/catalog/custom_constant.cpp", source / "constants/polynomials/term_sizer.cpp"};
    for (const char* room : {"constants/formulas", "constants/catalog"}) {
        for (const auto& entry : fs::directory_iterator(source / room)) {
            const std::string name = entry.path().filename().string();
            const bool is_node = name.find("_node") != std::string::npos;
            if (entry.path().extension() == ".cpp" && (is_node || room == std::string("constants/formulas")))
                files.push_back(entry.path());
        }
    }
    std::set<std::string> found;
    const std::regex sentence("\"([A-Z|xy](?:[^\"\\\\\n]|\\\\.)* (?:[^\"\\\\\n]|\\\\.)*[^.]\\.)\"");
    for (const fs::path& file : files) {
        const std::string text = kalvor_test::read_file(file.string());
        for (std::sregex_iterator at(text.begin(), text.end(), sentence), end; at != end; ++at) {
            std::string one = (*at)[1];
            std::erase(one, '\\');
            found.insert(one);
        }
    }
    return found;
}

TEST(ErrorsPageTest, HasEverySentenceOfTheSources) {
    // Faults of the program itself, and what a check before them has caught.
    const std::set<std::string> internal = {
        "A scope has the value of its formula.",
        "A variable has the value of its formula.",
        "This step takes its operands at once.",
        "This step takes its operands one by one.",
        "Power cannot be zero.",
        "Power cannot be larger than 1024.",
        "x^4 does not fit into a machine word.",
        "y^4 does not fit into a machine word.",
    };
    const std::set<std::string> all = sentences();
    EXPECT_GT(all.size(), 40u);
    EXPECT_TRUE(all.contains("Use Shift() to divide by a power-of-two."));
    for (const std::string& one : all) {
        if (!internal.contains(one)) {
            EXPECT_TRUE(is_documented(one)) << one;
        }
    }
}

// Texts from elsewhere, and those that are put together.
TEST(ErrorsPageTest, HasTheErrorsOfARun) {
    for (const char* text : {
             "Line 3: Expected identifier.",
             "Unexpected end of stream.",
             "Invalid character in name: :",
             "Degree",
             "The series takes more than 1,000,000 blocks.",
             "Number is zero and out of range.",
             "Number is out of range.",
             "Floating-point exponent has exceeded internal limit:",
             "Square root of negative number.",
             "Nth root of negative number.",
             "AGM of negative number.",
             "One of the inputs is negative.",
             "Log of a negative number is complex.",
             "Log(0) is negative infinity.",
             "Unable to derive formula.",
             "Function depth has reached 512, possible risk of stack overflow.",
             "Really?!?! You're gonna make me sum up 1025 elements?",
             "Warning: R(x) is of very high degree. May take a while to process...",
         }) {
        EXPECT_TRUE(is_documented(text)) << text;
    }
}

}  // namespace
