// The entries "sqrt", "goldenratio", "e" and "lemniscate" of the list of constants.
#include <gtest/gtest.h>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "constants/catalog/sqrt_constant.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::Form;
using kalvor_test::message_of;
using trel::InvalidParametersException;
using trel::u64;

namespace {

using Lines = std::vector<std::string>;

std::string refused(const std::string& token, const std::string& argument) {
    return message_of<InvalidParametersException>(Form::message, [&] { make_constant(token, argument); });
}

TEST(SqrtConstantTest, WhatItSaysOfItself) {
    const auto root = make_constant("sqrt", "2");
    EXPECT_EQ(root->token(), "sqrt");
    EXPECT_EQ(root->name_short(), "Square Root of 2");
    EXPECT_EQ(root->name_long(), "Square Root of 2");
    EXPECT_EQ(root->color(), 'P');
    EXPECT_EQ(root->argument(), 2);
    EXPECT_EQ(root->min_decimal_digits(), 100u);
    EXPECT_EQ(root->max_decimal_digits(), 1000000000000000u);
    ASSERT_EQ(root->algorithms().size(), 1u);
    EXPECT_EQ(root->algorithm_token(), "newton");
    EXPECT_EQ(root->algorithm_short(), "Newton's Method");
    EXPECT_EQ(root->algorithm_long(), "Newton's Method");
    EXPECT_EQ(root->algorithm_explanation(),
              (Lines{"    There are no alternate formulas for square roots. To verify sqrt(n),",
                     "    compute sqrt(100*n) instead. The digits will be the same, but shifted",
                     "    over by one digit."}));
    EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [&] { root->select_algorithm("1"); }),
              "Invalid Algorithm: 1");
}

TEST(SqrtConstantTest, DigitsBeforeThePoint) {
    const struct {
        const char* n;
        u64 decimal, hexadecimal;
    } cases[] = {{"2", 1, 1},
                 {"99", 1, 1},
                 {"101", 2, 1},
                 {"255", 2, 1},
                 {"257", 2, 2},
                 {"10001", 3, 2},
                 {"9223372036854775807", 10, 8}};
    for (const auto& c : cases) {
        EXPECT_EQ(make_constant("sqrt", c.n)->integer_digits(10), c.decimal) << c.n;
        EXPECT_EQ(make_constant("sqrt", c.n)->integer_digits(16), c.hexadecimal) << c.n;
    }
    // e^10 = 22026.46..., e^16 = 8886110.52...
    EXPECT_EQ(make_constant("log", "22026")->integer_digits(10), 1u);
    EXPECT_EQ(make_constant("log", "22027")->integer_digits(10), 2u);
    EXPECT_EQ(make_constant("log", "8886110")->integer_digits(16), 1u);
    EXPECT_EQ(make_constant("log", "8886111")->integer_digits(16), 2u);
    EXPECT_EQ(make_constant("pi", "")->integer_digits(10), 1u);
}

TEST(SqrtConstantTest, Arguments) {
    EXPECT_EQ(refused("sqrt", ""), "0 is out of range.");
    EXPECT_EQ(refused("sqrt", "1"), "1 is out of range.");
    EXPECT_EQ(refused("sqrt", "-3"), "-3 is out of range.");
    EXPECT_EQ(refused("sqrt", "16"), "16 is a perfect square.");
    EXPECT_EQ(refused("sqrt", "10k"), "10000 is a perfect square.");
    EXPECT_EQ(make_constant("sqrt", "9223372036854775807")->argument(), 9223372036854775807);
    for (const char* text : {"9223372036854775808", "99999999999999999999", "10000000t"}) {
        EXPECT_EQ(refused("sqrt", text), std::string(text) + " is out of range.");
    }
    for (const char* text : {"2.5", "12abc", "two", "1 2"}) {
        EXPECT_EQ(refused("sqrt", text),
                  "\"" + std::string(text) + "\" is not a number. Write 1000000, 1m or 1,000,000.");
    }
    EXPECT_EQ(refused("sqrt", "9223372030926249001"), "9223372030926249001 is a perfect square.");
    EXPECT_EQ(make_constant("sqrt", "9223372030926249000")->argument(), 9223372030926249000);
    EXPECT_EQ(make_constant("sqrt", "9223372036854775807")->argument(), 9223372036854775807);
    EXPECT_EQ(make_constant("sqrt", "2k")->name_short(), "Square Root of 2000");
}

TEST(GoldenRatioConstantTest, WhatItSaysOfItself) {
    for (const char* token : {"goldenratio", "phi"}) {
        const auto ratio = make_constant(token, "");
        EXPECT_EQ(ratio->token(), "goldenratio");
        EXPECT_EQ(ratio->name_short(), "Golden Ratio");
        EXPECT_EQ(ratio->name_long(), "Golden Ratio");
        EXPECT_FALSE(ratio->argument().has_value());
        EXPECT_EQ(ratio->algorithm_token(), "newton");
        EXPECT_EQ(ratio->algorithm_explanation(),
                  (Lines{"    There is no alternate formula for Golden Ratio. However, a verification",
                         "    can be done by computing sqrt(125) instead. The digits will be the same,",
                         "    but shifted over by one digit."}));
    }
}

TEST(EConstantTest, WhatItSaysOfItself) {
    const auto e = make_constant("e", "");
    EXPECT_EQ(e->token(), "e");
    EXPECT_EQ(e->name_short(), "e");
    EXPECT_EQ(e->name_long(), "e");
    EXPECT_EQ(e->color(), 'P');
    EXPECT_FALSE(e->argument().has_value());
    EXPECT_EQ(e->algorithm_tokens(), (Lines{"exp(1)", "exp(-1)"}));
    for (const char* token : {"1", "exp(-1)"}) {
        e->select_algorithm("exp(1)");
        EXPECT_EQ(e->algorithm_short(), "exp(1)");
        EXPECT_EQ(e->algorithm_long(), "Taylor Series of exp(1)");
        e->select_algorithm(token);
        EXPECT_EQ(e->algorithm_token(), "exp(-1)");
        EXPECT_EQ(e->algorithm_short(), "exp(-1)");
        EXPECT_EQ(e->algorithm_long(), "Taylor Series of exp(-1)");
    }
    for (const char* token : {"exp", "2", "-1"}) {
        EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [&] { e->select_algorithm(token); }),
                  "Invalid Algorithm: " + std::string(token));
    }
    EXPECT_EQ(refused("e", "1"), "The constant \"e\" takes no argument: 1");
    CaptureConsole console;
    console.type({"0"});
    make_constant("e", "")->algorithm_menu();
    EXPECT_EQ(console.take(),
              "Select an Algorithm:\n\n"
              "   0    Taylor Series of exp(1)   (same speed)\n\n"
              "   1    Taylor Series of exp(-1)  (same speed)\n\n\nAlgorithm: ");
}

TEST(LemniscateConstantTest, WhatItSaysOfItself) {
    const auto lemniscate = make_constant("lemniscate", "");
    EXPECT_EQ(lemniscate->name_short(), "Lemniscate");
    EXPECT_EQ(lemniscate->name_long(), "Lemniscate Constant");
    EXPECT_EQ(lemniscate->color(), 'G');
    const struct {
        const char *number, *alias, *short_name, *long_name, *note;
    } rows[] = {{"0", "agm-pi", "AGM-Pi", "AGM-Pi", "(Can be very slow on disk.)\n"},
                {"1", "gauss", "Gauss", "Gauss Formula", "(2x slower in ram, may be faster on disk)\n"},
                {"2", "sebah", "Sebah", "Sebah's formula", "(20% slower than Gauss)\n"}};
    for (const auto& row : rows) {
        for (const char* token : {row.number, row.alias}) {
            lemniscate->select_algorithm("0");
            lemniscate->select_algorithm(token);
            EXPECT_EQ(std::to_string(lemniscate->algorithm()), row.number);
            EXPECT_EQ(lemniscate->algorithm_token(), row.number);
            EXPECT_EQ(lemniscate->algorithm_short(), row.short_name);
            EXPECT_EQ(lemniscate->algorithm_long(), row.long_name);
            EXPECT_EQ(lemniscate->algorithms()[lemniscate->algorithm()].note, row.note);
        }
    }
    EXPECT_EQ(lemniscate->algorithms().size(), 3u);
    EXPECT_EQ(lemniscate->algorithm_tokens(), (Lines{"agm-pi", "gauss", "sebah"}));
    EXPECT_EQ(
        message_of<InvalidParametersException>(Form::message, [&] { lemniscate->select_algorithm("3"); }),
        "Invalid Algorithm: 3");
}

// An object gives a constant that writes the same object.
TEST(RootsConstantsTest, ObjectsMakeTheRoundTrip) {
    const struct {
        const char *token, *argument, *algorithm;
    } cases[] = {{"sqrt", "2", "0"},
                 {"sqrt", "9223372036854775807", "newton"},
                 {"goldenratio", "", "newton"},
                 {"e", "", "0"},
                 {"e", "", "exp(-1)"},
                 {"lemniscate", "", "0"},
                 {"lemniscate", "", "gauss"},
                 {"lemniscate", "", "2"}};
    for (const auto& [token, argument, algorithm] : cases) {
        const auto constant = make_constant(token, argument);
        constant->select_algorithm(algorithm);
        const auto same = load_constant(*constant->to_config());
        EXPECT_EQ(same->token(), constant->token());
        EXPECT_EQ(same->argument(), constant->argument());
        EXPECT_EQ(same->algorithm(), constant->algorithm());
        EXPECT_EQ(same->name_long(), constant->name_long());
    }
    Config::Object object;
    object.add_string("Constant", "sqrt");
    object.add_integer("Argument", 49);
    object.add_string("Algorithm", "newton");
    EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [&] { load_constant(object); }),
              "49 is a perfect square.");
}

TEST(SqrtConstantTest, TheMenuAsksUntilThereIsARoot) {
    CaptureConsole console;
    console.type({"1", "4", "2"});
    const auto root = SqrtConstant::ask();
    EXPECT_EQ(root->argument(), 2);
    EXPECT_EQ(console.take(),
              "Square Root of n\nn = n = This number is a perfect square.\n"
              "Please choose something more interesting :)\nn = ");
    console.type({"5"});
    EXPECT_EQ(catalog().factory(*catalog().find("sqrt"))->ask()->argument(), 5);
}

TEST(AlgorithmMenuTest, NamesOfTheMenu) {
    CaptureConsole console;
    console.type({"0"});
    make_constant("sqrt", "2")->algorithm_menu();
    EXPECT_EQ(console.take(),
              "Select an Algorithm:\n\n   0    1st order Newton's Method\n\n"
              "    There are no alternate formulas for square roots. To verify sqrt(n),\n"
              "    compute sqrt(100*n) instead. The digits will be the same, but shifted\n"
              "    over by one digit.\n\nAlgorithm: ");
    console.type({"2"});
    make_constant("lemniscate", "")->algorithm_menu();
    EXPECT_EQ(console.take(),
              "Select an Algorithm:\n\n"
              "   0    AGM with Pi      (Can be very slow on disk.)\n\n"
              "   1    Gauss Formula    (2x slower in ram, may be faster on disk)\n\n"
              "   2    Sebah's Formula  (20% slower than Gauss)\n\n\n"
              "Lemniscate = 2 Pi / AGM(1, sqrt(2))\n"
              "Lemniscate = 8 * ArcSinlemn(1/2) + 4 * ArcSinLemn(7/23)\n"
              "Lemniscate = 8 * ArcSinlemn(2/3) - 4 * ArcSinLemn(7/137)\n\nAlgorithm: ");
}

}  // namespace
