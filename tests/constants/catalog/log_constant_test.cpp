#include "constants/catalog/log_constant.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "support/capture_console.h"
#include "support/masked.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::Form;
using kalvor_test::message_of;
using trel::InvalidParametersException;

namespace {

using Lines = std::vector<std::string>;

std::string refused(const std::string& argument) {
    return message_of<InvalidParametersException>(Form::message, [&] { make_constant("log", argument); });
}

TEST(LogConstantTest, WhatItSaysOfItself) {
    const auto log = make_constant("log", "10");
    EXPECT_EQ(log->token(), "log");
    EXPECT_EQ(log->name_short(), "Log(10)");
    EXPECT_EQ(log->name_long(), "Log(10)");
    EXPECT_EQ(log->color(), 'G');
    EXPECT_EQ(log->argument(), 10);
    EXPECT_EQ(log->min_decimal_digits(), 100u);
    EXPECT_EQ(log->max_decimal_digits(), 1000000000000000u);
    EXPECT_TRUE(log->algorithm_explanation().empty());
    EXPECT_EQ(log->algorithm_tokens(), (Lines{"machin-primary", "machin-secondary"}));
    for (const char* token : {"0", "machin-primary"}) {
        log->select_algorithm("1");
        log->select_algorithm(token);
        EXPECT_EQ(log->algorithm(), 0u);
        EXPECT_EQ(log->algorithm_token(), "machin-primary");
        EXPECT_EQ(log->algorithm_short(), "Machin (primary)");
        EXPECT_EQ(log->algorithm_long(), "Primary Machin-like Formula (4 terms)");
    }
    for (const char* token : {"1", "machin-secondary"}) {
        log->select_algorithm("0");
        log->select_algorithm(token);
        EXPECT_EQ(log->algorithm(), 1u);
        EXPECT_EQ(log->algorithm_token(), "machin-secondary");
        EXPECT_EQ(log->algorithm_short(), "Machin (secondary)");
        EXPECT_EQ(log->algorithm_long(), "Secondary Machin-like Formula (4 terms)");
    }
    for (const char* token : {"2", "agm", "machin", ""}) {
        EXPECT_EQ(
            message_of<InvalidParametersException>(Form::message, [&] { log->select_algorithm(token); }),
            "Invalid Algorithm: " + std::string(token));
    }
    EXPECT_EQ(make_constant("log", "2")->algorithm_long(), "Primary Machin-like Formula (3 terms)");
}

// The chosen formula is the one that runs.
TEST(LogConstantTest, EachAlgorithmHasItsFormula) {
    const auto log = make_constant("log", "2");
    EXPECT_EQ(log->make_evaluator({60, 1})->work().size(), 6u);
    log->select_algorithm("1");
    EXPECT_EQ(log->make_evaluator({60, 1})->work().size(), 8u);
    EXPECT_EQ(log->make_evaluator({60, 1})->label(), "Log( 2 )");
}

TEST(LogConstantTest, Arguments) {
    for (const char* text : {"", "0", "1", "-3", "-9223372036854775808"}) {
        EXPECT_EQ(refused(text), "Argument must be greater than 1.") << text;
    }
    for (const char* text : {"2147483648", "9223372036854775807", "99999999999999999999"}) {
        EXPECT_EQ(refused(text), std::string(text) + " is out of range.");
    }
    EXPECT_EQ(refused("2.5"), "\"2.5\" is not a number. Write 1000000, 1m or 1,000,000.");
    EXPECT_EQ(make_constant("log", "2147483647")->argument(), 2147483647);
    EXPECT_EQ(make_constant("log", "10k")->name_short(), "Log(10000)");
}

// An object gives a constant that writes the same object.
TEST(LogConstantTest, ObjectsMakeTheRoundTrip) {
    for (const char* argument : {"2", "10", "2147483647"}) {
        for (const char* algorithm : {"0", "machin-secondary"}) {
            const auto constant = make_constant("log", argument);
            constant->select_algorithm(algorithm);
            const auto same = load_constant(*constant->to_config());
            EXPECT_EQ(same->token(), "log");
            EXPECT_EQ(same->argument(), constant->argument());
            EXPECT_EQ(same->algorithm(), constant->algorithm());
            EXPECT_EQ(same->name_long(), constant->name_long());
            EXPECT_EQ(same->algorithm_long(), constant->algorithm_long());
        }
    }
    Config::Object object;
    object.add_string("Constant", "log");
    object.add_integer("Argument", 1);
    object.add_string("Algorithm", "machin-primary");
    EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [&] { load_constant(object); }),
              "Argument must be greater than 1.");
}

// Whoever asks for a logarithm sees that its formulas were searched for.
TEST(LogConstantTest, TheSearchIsReported) {
    const auto said = [](const char* n) {
        const CaptureConsole console;
        make_constant("log", n);
        return kalvor_test::without_numbers_behind(
            "Primary Formula...       ",
            kalvor_test::without_numbers_behind("Secondary Formula...     ", console.text()));
    };
    EXPECT_EQ(said("10"),
              "Generating Primary Formula...       <number> seconds\n"
              "Generating Secondary Formula...     <number> seconds\n");
    // Of 29 the search has a cheaper secondary formula than the table.
    const std::string better = "The heuristic has found a better formula than the table entry.\n";
    const GeneratedLogFormulas both = generate_log_formulas(29);
    EXPECT_TRUE(both.secondary.better_than_table);
    EXPECT_EQ(said("29"), "Generating Primary Formula...       <number> seconds\n" +
                              (both.primary.better_than_table ? better : "") +
                              "Generating Secondary Formula...     <number> seconds\n" + better);
}

TEST(LogConstantTest, Menus) {
    CaptureConsole console;
    console.type({"1", "2147483648", "10"});
    const auto log = catalog().factory(*catalog().find("log"))->ask();
    EXPECT_EQ(log->argument(), 10);
    EXPECT_EQ(console.take().substr(0, 7), "Log(n)\n");
    console.type({"1"});
    log->algorithm_menu();
    EXPECT_EQ(console.take(),
              "Select an Algorithm:\n\n   0    Primary Machin-like Formula (4 terms)\n"
              "   1    Secondary Machin-like Formula (4 terms)\n\nAlgorithm: ");
    EXPECT_EQ(log->algorithm(), 1u);
}

}  // namespace
