#include "constants/builtin/log_formula.h"

#include <gtest/gtest.h>

#include <random>

#include "base/errors/exceptions.h"
#include "constants/builtin/log_base.h"
#include "constants/builtin/log_relations.h"
#include "constants/builtin/log_steps.h"
#include "reference/arccoth_product.h"
#include "support/effort.h"

using namespace kalvor;

namespace {

constexpr LogFormulaKind kKinds[] = {LogFormulaKind::primary, LogFormulaKind::secondary};

void expect_exact(u64 x, const LogFormula& formula) {
    ASSERT_EQ(reference::arccoth_product(formula), mpq_class(reference::mpq_of(x) * reference::mpq_of(x)))
        << x;
    for (u64 i = 0; i + 1 < formula.terms.size(); i++) ASSERT_LT(formula.terms[i].m, formula.terms[i + 1].m);
    for (const LogTerm& term : formula.terms) {
        ASSERT_NE(term.c, 0) << x;
        ASSERT_GE(term.m, 2u) << x;
    }
}

// Both formulas of x, exact and different.
struct Both {
    explicit Both(u64 x) {
        for (const LogFormulaKind kind : kKinds) {
            formulas.push_back(generate_log_formula(x, kind).formula);
            expect_exact(x, formulas.back());
        }
        EXPECT_NE(formulas[0], formulas[1]) << x;
    }
    std::vector<LogFormula> formulas;
};

u64 next_prime(u64 n) {
    mpz_class p = reference::mpz_of(n);
    mpz_nextprime(p.get_mpz_t(), p.get_mpz_t());
    return reference::u64_of(p);
}

template <class Exception>
void expect_failure(const std::string& message, const std::function<void()>& action) {
    try {
        action();
        ADD_FAILURE() << "nothing thrown instead of " << message;
    } catch (const Exception& e) {
        EXPECT_EQ(e.message, message);
    }
}

TEST(LogFormulaTest, SmallNumbers) {
    const Both two(2);
    EXPECT_EQ(two.formulas[0], (LogFormula{{{18, 26}, {-2, 4801}, {8, 8749}}}));
    EXPECT_EQ(two.formulas[1], (LogFormula{{{144, 251}, {54, 449}, {-38, 4801}, {62, 8749}}}));
    EXPECT_NEAR(two.formulas[0].cost(), 0.535072, 5e-7);
    EXPECT_NEAR(two.formulas[1].cost(), 0.572871, 5e-7);
    const Both three(3), five(5), seven(7), ten(10);
    EXPECT_EQ(three.formulas[0], (LogFormula{{{228, 251}, {86, 449}, {-60, 4801}, {98, 8749}}}));
    EXPECT_EQ(five.formulas[0], (LogFormula{{{334, 251}, {126, 449}, {-88, 4801}, {144, 8749}}}));
    EXPECT_EQ(seven.formulas[0], (LogFormula{{{404, 251}, {152, 449}, {-106, 4801}, {174, 8749}}}));
    EXPECT_EQ(three.formulas[1], find_log_record(LogFormulaKind::secondary, 3)->formula());
    // The terms of 2 and 5 merge.
    EXPECT_EQ(ten.formulas[0], (LogFormula{{{478, 251}, {180, 449}, {-126, 4801}, {206, 8749}}}));
    EXPECT_NEAR(ten.formulas[0].cost(), 0.572871, 5e-7);
    EXPECT_EQ(ten.formulas[1].terms.size(), 4u);
    for (const LogFormulaKind kind : kKinds) EXPECT_TRUE(generate_log_formula(1, kind).formula.terms.empty());
}

TEST(LogFormulaTest, RowsOfTheTablesUnlessACheaperOneIsFound) {
    for (const LogFormulaKind kind : kKinds) {
        for (const LogRecord& row : log_table(kind)) {
            const GeneratedLogFormula got = generate_log_formula(row.p, kind);
            if (got.better_than_table) {
                EXPECT_LT(got.formula.cost(), row.formula().cost()) << row.p;
            } else {
                EXPECT_EQ(got.formula, row.formula()) << row.p;
            }
        }
        EXPECT_FALSE(generate_log_formula(2, kind).better_than_table);
        EXPECT_FALSE(generate_log_formula(13, kind).better_than_table);
    }
    // 0.733861 instead of 0.750919
    EXPECT_TRUE(generate_log_formula(29, LogFormulaKind::secondary).better_than_table);
}

void expect_limits_up_to_thousand(u64 first, u64 step) {
    for (u64 x = first; x <= 1000; x += step) {
        const Both both(x);
        ASSERT_LE(both.formulas[0].terms.size(), 6u) << x;
        ASSERT_LE(both.formulas[1].terms.size(), 6u) << x;
        ASSERT_LE(both.formulas[0].cost(), 0.86) << x;
        ASSERT_LE(both.formulas[1].cost(), 0.90) << x;
    }
}
TEST(LogFormulaTest, UpToThousand) {
    expect_limits_up_to_thousand(5, 17 * kalvor_test::thinned(5));
    // The dearest ones.
    for (const u64 x : {509, 773, 58, 761, 997}) expect_limits_up_to_thousand(x, 1000);
}
TEST(SlowLogFormulaTest, EveryNumberUpToThousand) {
    expect_limits_up_to_thousand(2, 1);
}

void expect_within_limits(u64 x) {
    const Both both(x);
    for (const LogFormula& formula : both.formulas) {
        ASSERT_LE(formula.terms.size(), 12u) << x;
        ASSERT_LE(formula.cost(), 1.5) << x;
    }
}

void expect_random_within_limits(unsigned rounds) {
    std::mt19937_64 random(20);
    for (unsigned i = 0; i < rounds; i++) {
        expect_within_limits(2 + random() % 2147483646);
        expect_within_limits(next_prime(2000000000 + random() % 147000000));
        expect_within_limits(next_prime(30000 + random() % 15000) * next_prime(30000 + random() % 15000));
        expect_within_limits(next_prime(1000 + random() % 250) * next_prime(1000 + random() % 250) *
                             next_prime(1000 + random() % 250));
    }
}

TEST(LogFormulaTest, LargePrimesAndTheirProducts) {
    constexpr u64 kNumbers[] = {2147483647, 257,        1000003,    65537ull * 32749,      2147483646,
                                2147395600, 1ull << 30, 2147483629, 1289ull * 1291 * 1283, 1162261467};
    for (unsigned i = 0; i < std::size(kNumbers); i += kalvor_test::thinned(3))
        expect_within_limits(kNumbers[i]);
    expect_random_within_limits(1);
}
TEST(SlowLogFormulaTest, RandomLargeNumbers) {
    expect_random_within_limits(16 / kalvor_test::thinned(8));
}

// The time of a search goes by the points that it visits: those of the numbers that need most.
TEST(LogFormulaTest, PointsVisited) {
    constexpr u64 kNumbers[] = {2147483647, 2147483629, 65537ull * 32749, 1289ull * 1291 * 1283};
    for (unsigned i = 0; i < std::size(kNumbers); i += kalvor_test::thinned(2)) {
        const u64 x = kNumbers[i];
        const GeneratedLogFormulas both = generate_log_formulas(x);
        EXPECT_LE(both.primary.points, 80007u) << x;
        EXPECT_LE(both.secondary.points, 80007u) << x;
        EXPECT_GT(both.primary.points + both.secondary.points, 1000u) << x;
        EXPECT_EQ(both.of(LogFormulaKind::primary).formula, both.primary.formula);
        EXPECT_EQ(both.of(LogFormulaKind::secondary).formula,
                  generate_log_formula(x, LogFormulaKind::secondary).formula);
    }
    const GeneratedLogFormulas small = generate_log_formulas(10);
    EXPECT_GT(small.primary.points, 5u);
    EXPECT_LT(small.primary.points, 2000u);
}

TEST(LogFormulaTest, TableRoute) {
    for (const LogFormulaKind kind : kKinds) {
        for (u64 x = 2; x <= 256; x++) expect_exact(x, table_route(x, kind));
        expect_exact(251 * 241 * 239, table_route(251 * 241 * 239, kind));
        EXPECT_TRUE(table_route(1, kind).terms.empty());
        // Five terms where merging has four.
        if (kind == LogFormulaKind::secondary) {
            EXPECT_EQ(table_route(10, kind).terms.size(), 5u);
        }
        expect_failure<trel::InvalidParametersException>("Non-base prime found in queue.",
                                                         [&] { (void)table_route(257, kind); });
        expect_failure<trel::InvalidParametersException>("Non-base prime found in queue.",
                                                         [&] { (void)table_route(6 * 1009, kind); });
    }
}

TEST(LogFormulaTest, Failures) {
    for (const LogFormulaKind kind : kKinds) {
        expect_failure<trel::InvalidParametersException>("Error: Log(0)",
                                                         [&] { (void)generate_log_formula(0, kind); });
        expect_failure<trel::AlgorithmFailedException>(
            "Unable to derive formula.", [&] { (void)generate_log_formula(u64(1) << 31, kind); });
    }
    const char* wrong = "Unable to verify correctness of formula.";
    const LogFormula right = generate_log_formula(10, LogFormulaKind::primary).formula;
    verify_log_formula(10, right);
    expect_failure<trel::AlgorithmFailedException>(wrong, [&] { verify_log_formula(11, right); });
    expect_failure<trel::AlgorithmFailedException>(wrong, [&] { verify_log_formula(10, {}); });
    for (u64 i = 0; i < right.terms.size(); i++) {
        LogFormula changed = right;
        changed.terms[i].c++;
        expect_failure<trel::AlgorithmFailedException>(wrong, [&] { verify_log_formula(10, changed); });
        changed = right;
        changed.terms[i].m += 2;
        expect_failure<trel::AlgorithmFailedException>(wrong, [&] { verify_log_formula(10, changed); });
    }
    // An exponent that leaves 64 bits is not taken for zero: 2^62 times 12 powers of 2 is 3 * 2^64.
    expect_failure<trel::AlgorithmFailedException>(wrong, [&] {
        verify_log_formula(1, {{{i64(1) << 62, 8191}, {-(i64(1) << 62), 8191}}});
    });
}

TEST(LogFormulaTest, Texts) {
    EXPECT_EQ(log_formula_text(2, generate_log_formula(2, LogFormulaKind::primary).formula),
              "Log[2] = \n"
              "                    18 * ArcCoth[26]\n"
              "                    -2 * ArcCoth[4801]\n"
              "                    8 * ArcCoth[8749]\n"
              "\n"
              "        Cost = 0.535072");
    EXPECT_STREQ(generating_label(LogFormulaKind::primary), "Generating Primary Formula...       ");
    EXPECT_STREQ(generating_label(LogFormulaKind::secondary), "Generating Secondary Formula...     ");
    EXPECT_STREQ(kHeuristicIsBetter, "The heuristic has found a better formula than the table entry.");
}

TEST(LogBaseTest, SolvesEveryPrime) {
    for (const LogFormulaKind kind : kKinds) {
        for (const LogBase& base : log_bases(kind)) {
            for (const u64 p : {2, 3, 5, 7, 11, 13}) {
                LogFormula formula;
                ASSERT_EQ(base.solve({{p, 2}}, formula.terms), p <= base.largest_prime());
                if (p <= base.largest_prime()) expect_exact(p, formula);
            }
        }
    }
}

TEST(LogBaseTest, CoefficientsAreIntegersOf64Bits) {
    const LogBase& base = log_bases(LogFormulaKind::primary).front();
    std::vector<LogTerm> terms;
    // ln 2 takes 144 times the first argument, so half of 2^63 / 144 is the last exponent of 2 that fits.
    const i64 limit = INT64_MAX / 144;
    EXPECT_TRUE(base.solve({{2, 2 * limit}}, terms));
    EXPECT_EQ(terms[0], (LogTerm{144 * limit, 251}));
    EXPECT_FALSE(base.solve({{2, 2 * limit + 2}}, terms));
    EXPECT_FALSE(base.solve({{2, -2 * limit - 2}}, terms));
    EXPECT_FALSE(base.solve({{7, INT64_MAX}}, terms));
    // Another prime; and half of a coefficient: sqrt(3) would take 114 / 2 * arccoth(99) and so on, but
    // sqrt(5) 167 / 2.
    EXPECT_FALSE(base.solve({{17, 2}}, terms));
    const LogBase& second = log_bases(LogFormulaKind::secondary).front();
    EXPECT_TRUE(second.solve({{3, 1}}, terms));
    EXPECT_FALSE(second.solve({{5, 1}}, terms));
}

TEST(PrimeExponentsTest, FactorsAndOverflow) {
    std::mt19937_64 random(22);
    for (u64 i = 0; i < 300; i++) {
        const u64 n = i < 3 ? (u64(1) << 32) - i : 1 + random() % (u64(1) << 32);
        mpq_class product = 1;
        for (const auto& [p, e] : factor(n)) {
            ASSERT_NE(mpz_probab_prime_p(reference::mpz_of(p).get_mpz_t(), 30), 0) << p;
            product *= reference::power(reference::mpq_of(p), e);
        }
        ASSERT_EQ(product, reference::mpq_of(n));
        if (n < 3) continue;
        product = 1;
        for (const auto& [p, e] : arccoth_ratio(n - 1)) product *= reference::power(reference::mpq_of(p), e);
        ASSERT_EQ(product, reference::arccoth_ratio(n - 1));
    }
    EXPECT_TRUE(factor(1).empty());
    PrimeExponents a{{2, INT64_MAX}};
    EXPECT_FALSE(multiply_power(a, {{2, 1}}, 1));
    a = {{2, 1}};
    EXPECT_FALSE(multiply_power(a, {{3, INT64_MAX}}, 2));
    a = {{2, 1}, {3, 5}};
    EXPECT_TRUE(multiply_power(a, {{2, 1}, {5, 2}}, -1));
    EXPECT_EQ(a, (PrimeExponents{{3, 5}, {5, -2}}));
}

// Each removes its prime and brings in smaller ones only, so no search runs in a circle.
TEST(LogStepsTest, OnlySmallerPrimes) {
    for (const bool multiples : {false, true}) {
        LogSteps steps({multiples, 100});
        for (const u64 p : {11ull, 13ull, 251ull, 257ull, 1009ull, 65537ull, 1000003ull, 2147483647ull}) {
            const std::vector<LogStep>& found = steps.of(p);
            ASSERT_FALSE(found.empty()) << p;
            for (const LogStep& step : found) {
                ASSERT_EQ(step.ratio.rbegin()->first, p);
                ASSERT_EQ(step.ratio.at(p), step.exponent);
                ASSERT_EQ(step.ratio, arccoth_ratio(step.m));
                ASSERT_LE(step.m, 0xffffffffu);
                ASSERT_LE(step.exponent < 0 ? -step.exponent : step.exponent, 2);
            }
            // The two beside 2p are always among them.
            if (p > 251) {
                for (const u64 m : {2 * p - 1, 2 * p + 1}) {
                    ASSERT_TRUE(std::any_of(found.begin(), found.end(),
                                            [m](const LogStep& step) { return step.m == m; }))
                        << p << " " << m;
                }
            }
        }
        EXPECT_TRUE(steps.of(7).empty());
    }
}

}  // namespace
