// What holds for every constant: roads that meet, words that are refused, parameters at the ends of their
// range.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "constants/catalog/catalog.h"
#include "support/constant_program.h"
#include "support/effort.h"

namespace {

using kalvor_test::kDecHash;
using kalvor_test::ProgramRun;
using kalvor_test::TemporaryFolder;

// Of "brent": far above the need.
constexpr const char* kHighParameter = kalvor_test::thinned(2) == 1 ? "22" : "15";

ProgramRun compute(const std::string& word, unsigned long digits, std::vector<std::string> more = {}) {
    const TemporaryFolder folder;
    more.insert(more.begin(), "-od:0");
    ProgramRun run = kalvor_test::run_custom(folder, word, digits, more);
    EXPECT_TRUE(kalvor_test::files_but_validation(folder).empty()) << word;
    return run;
}

// The word of a constant on a command line, for each that has more roads than one.
std::vector<std::pair<std::string, std::string>> words() {
    std::vector<std::pair<std::string, std::string>> list;
    for (const std::string& token : kalvor::constant_tokens()) {
        if (token == "custom") continue;  // any formula
        const bool asks = kalvor::catalog().factory(*kalvor::catalog().find(token))->takes_argument();
        const std::string argument = !asks ? "" : token == "brent" ? kHighParameter : "10";
        if (kalvor::make_constant(token, argument)->algorithms().size() < 2) continue;
        list.emplace_back(token, argument);
    }
    return list;
}

void expect_equal_hashes(unsigned long digits) {
    EXPECT_GE(words().size(), 8u);
    for (const auto& [token, argument] : words()) {
        const std::string word = argument.empty() ? token : token + ":" + argument;
        std::string hash;
        for (const auto& algorithm : kalvor::make_constant(token, argument)->algorithms()) {
            const ProgramRun run =
                compute(word, digits, {"-algorithm:" + std::to_string(algorithm.number), "-TD:2"});
            ASSERT_EQ(run.exit_code, 0) << word << " " << algorithm.token << "\n" << run.out << run.err;
            const std::string this_hash = run.value(kDecHash);
            EXPECT_FALSE(this_hash.empty()) << word;
            EXPECT_FALSE(run.has("certain")) << word << " " << algorithm.token << "\n" << run.out;
            if (hash.empty()) hash = this_hash;
            EXPECT_EQ(this_hash, hash) << word << " " << algorithm.token;
        }
    }
}

TEST(ConstantsProgramTest, EveryRoadLeadsToTheSameDigits) {
    expect_equal_hashes(1234);
}
TEST(SlowConstantsProgramTest, EveryRoadLeadsToTheSameMillionDigits) {
    expect_equal_hashes(1000000);
}

TEST(ConstantsProgramTest, Refusals) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "Invalid constant token."},
        {"euler", "Invalid Constant: euler"},
        {"brent:0", "Argument must be greater than 0."},
        {"brent", "Argument must be greater than 0."},
        {"brent:51", "51 is out of range."},
        {"log:1", "Argument must be greater than 1."},
        {"log:2147483648", "2147483648 is out of range."},
        {"sqrt:10k", "10000 is a perfect square."},
        // A sum of 2^50 terms for a hundred digits.
        {"brent:50", "50 is out of range."},
    };
    for (const auto& [word, refusal] : cases) {
        const ProgramRun run = compute(word, 100);
        EXPECT_EQ(run.exit_code, 1) << word;
        EXPECT_TRUE(run.has(refusal)) << word << "\n" << run.out << run.err;
        EXPECT_FALSE(run.has("Working Memory")) << word << "\n" << run.out;
        // What was meant and where to read on.
        EXPECT_NE(run.err.find(word), std::string::npos) << word << "\n" << run.err;
        EXPECT_NE(run.err.find("See \"kalvor help custom\"."), std::string::npos) << word << "\n" << run.err;
    }
}

// More than its precision takes, and less: the run goes on, and says what is certain.
TEST(ConstantsProgramTest, ParametersOfTheUsersOwn) {
    const ProgramRun gamma = compute("gamma", 1000);
    const ProgramRun more = compute(std::string("brent:") + kHighParameter, 1000, {"-TD:2"});
    EXPECT_EQ(more.value(kDecHash), gamma.value(kDecHash)) << more.out;
    EXPECT_FALSE(more.value(kDecHash).empty());
    const ProgramRun less = compute("brent:5", 1000);
    EXPECT_EQ(less.exit_code, 0);
    EXPECT_TRUE(less.has("The current parameter is too small to meet the target precision.")) << less.out;
    EXPECT_TRUE(less.has(" decimal digits are certain.")) << less.out;
}

}  // namespace
