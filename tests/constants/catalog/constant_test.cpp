#include "constants/catalog/constant.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "reference/mpz_words.h"
#include "support/message_of.h"
#include "support/scratch.h"

using namespace kalvor;
using kalvor_test::Form;
using kalvor_test::message_of;

namespace {

TEST(ConstantTest, PiAndItsAlgorithms) {
    const auto pi = make_constant("pi", "");
    EXPECT_EQ(pi->name_long(), "Pi");
    EXPECT_EQ(pi->color(), 'G');
    EXPECT_EQ(pi->min_decimal_digits(), 100u);
    EXPECT_EQ(pi->max_decimal_digits(), 1000000000000000u);
    EXPECT_FALSE(pi->argument().has_value());
    EXPECT_EQ(pi->algorithm_short(), "Chudnovsky");
    const struct {
        const char *number, *token, *short_name, *long_name, *note;
    } rows[] = {{"0", "chudnovsky", "Chudnovsky", "Chudnovsky (1988)", "(fastest)"},
                {"1", "ramanujan", "Ramanujan", "Ramanujan (1910)", "(~40% slower)"},
                {"2", "chudnovsky-reduced", "Chudnovsky (reduced)", "Chudnovsky (1988) (reduced memory)",
                 "(reduced memory)"},
                {"3", "ramanujan-reduced", "Ramanujan (reduced)", "Ramanujan (1910) (reduced memory)",
                 "(reduced memory)"}};
    for (const auto& row : rows) {
        for (const char* token : {row.token, row.number}) {
            pi->select_algorithm(token);
            EXPECT_EQ(pi->algorithm_short(), row.short_name);
            EXPECT_EQ(pi->algorithm_long(), row.long_name);
            EXPECT_EQ(pi->algorithm_token(), row.token);
            EXPECT_EQ(std::to_string(pi->algorithm()), row.number);
            EXPECT_EQ(pi->algorithms()[pi->algorithm()].note, row.note);
        }
    }
    EXPECT_EQ(pi->algorithms().size(), 4u);
    EXPECT_EQ(
        pi->algorithm_explanation(),
        (std::vector<std::string>{"    Reduced memory algorithms use alternate parameters that require less",
                                  "    memory at the cost of decreased performance."}));
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message, [&] { pi->select_algorithm("4"); }),
              "Invalid Algorithm: 4");
    EXPECT_EQ(message_of<trel::InvalidParametersException>(Form::message,
                                                           [&] { pi->select_algorithm("Chudnovsky"); }),
              "Invalid Algorithm: Chudnovsky");
    EXPECT_EQ(pi->algorithm_short(), "Ramanujan (reduced)");  // unchanged
}

TEST(ConstantTest, EvaluatorsRun) {
    const auto pi = make_constant("pi", "");
    for (const char* algorithm : {"0", "1", "2", "3"}) {
        pi->select_algorithm(algorithm);
        const auto evaluator = pi->make_evaluator({60, 1});
        EXPECT_EQ(evaluator->label(),
                  algorithm[0] % 2 == '0' % 2 ? "Pi - Chudnovsky (1988):" : "Pi - Ramanujan (1910):");
        const trel::Needs& needs = evaluator->needs();
        EXPECT_GE(needs.product_words, 60u);
        Scratch result(trel::round_up_8(needs.result_words) * sizeof(trel::Word)), working(needs.bytes);
        BigFloat x(result.words(), needs.result_words);
        evaluator->run({trel::serial_context(), working.view(), nullptr}, trel::null_status(), x);
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
