#include "constants/catalog/constant.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/scratch.h"

using namespace kalvor;
using kalvor_test::Form;
using kalvor_test::message_of;

namespace {

TEST(ConstantTest, Tokens) {
    EXPECT_EQ(make_constant("pi")->name_short(), "Pi");
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message, [] { make_constant("tau"); }),
              "Invalid Constant: tau");
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message, [] { make_constant("3"); }),
              "Invalid Constant: 3");
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message, [] { make_constant(""); }),
              "Invalid constant token.");
}

TEST(ConstantTest, EveryTokenMakesTheConstantThatHasIt) {
    EXPECT_EQ(constant_tokens(), std::vector<std::string>{"pi"});
    for (const std::string& token : constant_tokens()) EXPECT_EQ(make_constant(token)->token(), token);
}

TEST(ConstantDeathTest, ADuplicateTokenEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto twice = [] {
        trel::Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        register_constant("pi", [] { return make_constant("pi"); });
    };
    EXPECT_EXIT(twice(), testing::ExitedWithCode(1), "^\nDuplicate Constant: pi\n$");
}

TEST(ConstantTest, PiAndItsAlgorithms) {
    const auto pi = make_constant("pi");
    EXPECT_EQ(pi->name_long(), "Pi");
    EXPECT_EQ(pi->color(), 'G');
    EXPECT_EQ(pi->max_decimal_digits(), 1000000000000000u);
    EXPECT_EQ(pi->algorithm_short(), "Chudnovsky");
    const struct {
        const char *number, *token, *short_name, *long_name;
    } rows[] = {{"0", "chudnovsky", "Chudnovsky", "Chudnovsky (1988)"},
                {"1", "ramanujan", "Ramanujan", "Ramanujan (1910)"},
                {"2", "chudnovsky-reduced", "Chudnovsky (reduced)", "Chudnovsky (1988) (reduced memory)"},
                {"3", "ramanujan-reduced", "Ramanujan (reduced)", "Ramanujan (1910) (reduced memory)"}};
    for (const auto& row : rows) {
        for (const char* token : {row.token, row.number}) {
            pi->select_algorithm(token);
            EXPECT_EQ(pi->algorithm_short(), row.short_name);
            EXPECT_EQ(pi->algorithm_long(), row.long_name);
        }
    }
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message, [&] { pi->select_algorithm("4"); }),
              "Invalid Algorithm: 4");
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message,
                                                           [&] { pi->select_algorithm("Chudnovsky"); }),
              "Invalid Algorithm: Chudnovsky");
    EXPECT_EQ(pi->algorithm_short(), "Ramanujan (reduced)");  // unchanged
}

TEST(ConstantTest, PlansRun) {
    const auto pi = make_constant("pi");
    for (const char* algorithm : {"0", "1", "2", "3"}) {
        pi->select_algorithm(algorithm);
        const auto plan = pi->plan(60, 1);
        EXPECT_EQ(plan->label(),
                  algorithm[0] % 2 == '0' % 2 ? "Pi - Chudnovsky (1988):" : "Pi - Ramanujan (1910):");
        EXPECT_EQ(plan->result_words() % 8, 0u);
        EXPECT_GE(plan->max_product_words(), 60u);
        Scratch result(plan->result_words() * sizeof(trel::Word)), working(plan->working_bytes());
        BigFloat x(result.words(), plan->result_words());
        plan->run({trel::serial_context(), working.view(), nullptr}, trel::null_status(), x);
        mpfr_t want;
        mpfr_init2(want, 64 * 59);
        mpfr_const_pi(want, MPFR_RNDD);
        mpfr_mul_2ui(want, want, 64 * 58, MPFR_RNDD);
        mpz_class z;
        mpfr_get_z(z.get_mpz_t(), want, MPFR_RNDD);
        mpfr_clear(want);
        EXPECT_EQ(reference::magnitude_at(x, -58), z);
    }
}

}  // namespace
