#include "constants/builtin/log_tables.h"

#include <gtest/gtest.h>

#include "reference/arccoth_product.h"

using namespace kalvor;

namespace {

class LogTablesTest : public testing::TestWithParam<LogFormulaKind> {};

TEST_P(LogTablesTest, RowsAreExact) {
    u64 last = 0;
    for (const LogRecord& row : log_table(GetParam())) {
        ASSERT_LT(last, row.p);
        last = row.p;
        const LogFormula formula = row.formula();
        ASSERT_EQ(formula.terms.size(), row.n);
        for (u64 i = 0; i < LogRecord::kTerms; i++) {
            ASSERT_EQ(row.terms[i].c != 0, i < row.n);
            ASSERT_EQ(row.terms[i].m != 0, i < row.n);
        }
        ASSERT_EQ(reference::arccoth_product(formula), reference::mpq_of(row.p * row.p)) << row.p;
        ASSERT_NEAR(formula.cost(), row.cost, 5.1e-7) << row.p;
        ASSERT_EQ(find_log_record(GetParam(), row.p), &row);
    }
    EXPECT_EQ(find_log_record(GetParam(), 13), nullptr);
    EXPECT_EQ(find_log_record(GetParam(), 0), nullptr);
}
INSTANTIATE_TEST_SUITE_P(Both, LogTablesTest,
                         testing::Values(LogFormulaKind::primary, LogFormulaKind::secondary));

TEST(LogTablesTest, Sizes) {
    EXPECT_EQ(log_table(LogFormulaKind::primary).size(), 11u);
    EXPECT_EQ(log_table(LogFormulaKind::secondary).size(), 13u);
    EXPECT_EQ(find_log_record(LogFormulaKind::primary, 3), nullptr);
    EXPECT_EQ(find_log_record(LogFormulaKind::secondary, 3)->terms[0], (LogTerm{114, 99}));
}

}  // namespace
