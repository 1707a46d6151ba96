// Euler's constant in the catalog: names, algorithms, the parameter of the user's own.
#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace kalvor;
using trel::InvalidParametersException;

namespace {

std::string refusal(const std::string& argument) {
    return kalvor_test::message_of<InvalidParametersException>([&] { make_constant("brent", argument); });
}

TEST(GammaConstantsTest, Names) {
    const auto gamma = make_constant("gamma", "");
    EXPECT_EQ(gamma->name_short(), "Euler's Constant");
    EXPECT_EQ(gamma->name_long(), "Euler-Mascheroni Constant");
    EXPECT_EQ(gamma->algorithm_long(), "Brent-McMillan with Refinement");
    EXPECT_EQ(gamma->algorithm_short(), "Brent-McMillan (refined)");
    gamma->select_algorithm("brent-original");
    EXPECT_EQ(gamma->algorithm_short(), "Brent-McMillan");
    EXPECT_EQ(gamma->algorithm_token(), "1");
    const auto brent = make_constant("brent", "20");
    EXPECT_EQ(brent->name_long(), "Euler-Mascheroni Constant (parameter override)");
    EXPECT_EQ(brent->argument(), 20);
}

TEST(GammaConstantsTest, Arguments) {
    for (const char* argument : {"", "0", "-1"})
        EXPECT_EQ(refusal(argument), "BrentConstant::BrentConstant()|Argument must be greater than 0.")
            << argument;
    EXPECT_EQ(refusal("51"), "BrentConstant::BrentConstant()|51 is out of range.");
    EXPECT_EQ(make_constant("brent", "50")->argument(), 50);
}

TEST(GammaConstantsTest, TheMenuSaysWhichPowerIsUsed) {
    CaptureConsole console;
    console.type({"1"});
    const auto brent = make_constant("brent", "20");
    brent->algorithm_menu();
    EXPECT_NE(console.text().find("   0    Brent-McMillan with Refinement ( n = 2^19)"), std::string::npos)
        << console.text();
    EXPECT_NE(console.text().find("   1    Brent-McMillan ( n = 2^20)"), std::string::npos);
}

// Far too large a parameter is refused by the plan, at once.
TEST(GammaConstantsTest, ASumOfTooManyBlocksIsRefused) {
    const auto brent = make_constant("brent", "50");
    EXPECT_EQ(kalvor_test::message_of<InvalidParametersException>([&] {
                  brent->make_evaluator({8, 2});
              }),
              "BrentConstant::make_evaluator()|50 is out of range.");
}

TEST(GammaConstantsTest, SettingsRoundTrip) {
    for (const auto& [token, argument] : {std::pair("gamma", ""), {"brent", "17"}}) {
        const auto constant = make_constant(token, argument);
        constant->select_algorithm("1");
        const auto again = load_constant(*constant->to_config());
        EXPECT_EQ(again->token(), token);
        EXPECT_EQ(again->argument(), constant->argument());
        EXPECT_EQ(again->algorithm(), 1u);
    }
}

}  // namespace
