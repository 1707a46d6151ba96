// The entries "zeta3" and "catalan" of the list of constants.
#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::Form;
using kalvor_test::message_of;
using trel::InvalidParametersException;

namespace {

using Lines = std::vector<std::string>;

struct Row {
    const char *number, *alias, *short_name, *long_name, *note;
};

void expect_rows(const std::string& token, const std::vector<Row>& rows) {
    const auto constant = make_constant(token, "");
    std::vector<std::string> words;
    ASSERT_GE(constant->algorithms().size(), rows.size());
    for (const Row& row : rows) {
        for (const std::string word : {row.number, row.alias}) {
            if (word.empty()) continue;
            constant->select_algorithm("0");
            constant->select_algorithm(word);
            EXPECT_EQ(std::to_string(constant->algorithm()), row.number);
            EXPECT_EQ(constant->algorithm_token(), row.number);
            EXPECT_EQ(constant->algorithm_short(), row.short_name);
            EXPECT_EQ(constant->algorithm_long(), row.long_name);
            EXPECT_EQ(constant->algorithms()[constant->algorithm()].note, row.note);
            // An object gives a constant that writes the same object.
            const auto object = constant->to_config();
            EXPECT_EQ(object->get_string("Constant", "test"), token);
            EXPECT_EQ(object->get_string("Algorithm", "test"), row.number);
            const auto same = load_constant(*object);
            EXPECT_EQ(same->token(), constant->token());
            EXPECT_EQ(same->algorithm(), constant->algorithm());
        }
    }
    EXPECT_TRUE(constant->algorithm_explanation().empty());
    EXPECT_FALSE(constant->argument().has_value());
    EXPECT_EQ(constant->color(), 'G');
    EXPECT_EQ(constant->min_decimal_digits(), 100u);
    EXPECT_EQ(constant->max_decimal_digits(), 1000000000000000u);
    for (const std::string word : {"6", "", "wedeniwsky"}) {
        EXPECT_EQ(
            message_of<InvalidParametersException>(Form::message, [&] { constant->select_algorithm(word); }),
            "Invalid Algorithm: " + word);
    }
}

TEST(SeriesConstantsTest, Zeta3) {
    expect_rows("zeta3", {{"0", "wedeniwski", "Wedeniwski", "Wedeniwski (1998)", "(fastest)"},
                          {"1", "az", "Amdeberhan-Zeilberger (1997)", "Amdeberhan-Zeilberger (1997)",
                           "(slightly slower)"}});
    for (const char* token : {"zeta3", "apery", "zeta(3)"}) {
        const auto zeta3 = make_constant(token, "");
        EXPECT_EQ(zeta3->token(), "zeta3");
        EXPECT_EQ(zeta3->name_short(), "Zeta(3)");
        EXPECT_EQ(zeta3->name_long(), "Zeta(3) - Apery's Constant");
        EXPECT_EQ(zeta3->algorithm_tokens(), (Lines{"wedeniwski", "az"}));
        EXPECT_EQ(
            message_of<InvalidParametersException>(Form::message, [&] { zeta3->select_algorithm("2"); }),
            "Invalid Algorithm: 2");
    }
}

TEST(SeriesConstantsTest, Catalan) {
    expect_rows("catalan",
                {{"0", "pilehrood-short", "Pilehrood (short)", "Pilehrood (2010-short)", "(fastest)"},
                 {"1", "", "Guillera (2019)", "Guillera (2019)", "(1.3x slower)"},
                 {"2", "pilehrood-long", "Pilehrood (long)", "Pilehrood (2010-long)", "(1.5x slower)"},
                 {"3", "", "Guillera (2008)", "Guillera (2008)", "(1.8x slower)"},
                 {"4", "", "Lupas", "Lupas (2000)", "(3.8x slower)"},
                 {"5", "", "Huvent", "Huvent (2006)", "(4.3x slower)"}});
    const auto catalan = make_constant("catalan", "");
    EXPECT_EQ(catalan->name_short(), "Catalan");
    EXPECT_EQ(catalan->name_long(), "Catalan's Constant");
}

TEST(SeriesConstantsTest, NoArguments) {
    for (const std::string token : {"zeta3", "zeta(3)", "catalan"}) {
        EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [&] { make_constant(token, "3"); }),
                  "The constant \"" + token + "\" takes no argument: 3");
    }
}

}  // namespace
