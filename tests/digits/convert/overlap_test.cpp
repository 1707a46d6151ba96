#include "digits/convert/overlap.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/monitored_run.h"

namespace kalvor::CBRv2 {
namespace {

constexpr Word kTop = kRadix19 - 1;

TEST(OverlapTest, AdditiveCorrection) {
    CaptureConsole console;
    trel::MonitoredRun run;
    std::vector<Word> words = {kTop, kTop, 41, 7};
    fixup(run.context(), kRadix19, 0, kTop, words.data(), 4);
    EXPECT_EQ(console.text(), "") << "tasks do not print";
    run.show();
    EXPECT_EQ(words, (std::vector<Word>{0, 0, 42, 7}));
    EXPECT_NE(console.text().find("Overlap Mismatch"), std::string::npos);
    EXPECT_NE(console.text().find("Expected: 0\nActual: 9999999999999999999\n"), std::string::npos);
    EXPECT_NE(console.text().find("Performing additive correction...\n"), std::string::npos);
}

TEST(OverlapTest, SubtractiveCorrection) {
    CaptureConsole console;
    trel::MonitoredRun run;
    std::vector<Word> words = {0, 0, 41, 7};
    fixup(run.context(), kRadix19, kTop, 0, words.data(), 4);
    EXPECT_EQ(console.text(), "") << "tasks do not print";
    run.show();
    EXPECT_EQ(words, (std::vector<Word>{kTop, kTop, 40, 7}));
    EXPECT_NE(console.text().find("Performing subtractive correction...\n"), std::string::npos);
}

TEST(OverlapTest, CarryOutOfTheTopIsImpossible) {
    CaptureConsole console;
    trel::MonitoredRun run;
    std::vector<Word> words = {kTop, kTop};
    try {
        add1(run.context(), kRadix19, words.data(), 2);
        FAIL();
    } catch (const trel::AlgorithmFailedException& e) {
        EXPECT_EQ(e.function, "add1()");
        EXPECT_EQ(e.message, "Impossible carryout.");
    }
    words = {0, 0};
    try {
        sub1(run.context(), kRadix19, words.data(), 2);
        FAIL();
    } catch (const trel::AlgorithmFailedException& e) {
        EXPECT_EQ(e.function, "sub1()");
        EXPECT_EQ(e.message, "Impossible carryout.");
    }
}

TEST(OverlapTest, AnyOtherPairIsAFault) {
    CaptureConsole console;
    trel::MonitoredRun run;
    std::vector<Word> words = {1, 2, 3};
    const struct {
        Word expected, actual;
    } pairs[] = {{0, 1}, {5, 4}, {kTop, kTop - 1}, {0, kTop - 1}, {1, kTop}};
    for (const auto& p : pairs) {
        try {
            fixup(run.context(), kRadix19, p.expected, p.actual, words.data(), 3);
            FAIL();
        } catch (const trel::AlgorithmFailedException& e) {
            EXPECT_EQ(e.function, "fixup()");
            EXPECT_EQ(e.message,
                      "Overlap Mismatch:\n    RL = 3\n    Expected = " + std::to_string(p.expected) +
                          "\n    Actual   = " + std::to_string(p.actual));
        }
    }
    EXPECT_EQ(words, (std::vector<Word>{1, 2, 3}));
}

}  // namespace
}  // namespace kalvor::CBRv2
