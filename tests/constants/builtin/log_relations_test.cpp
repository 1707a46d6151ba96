#include "constants/builtin/log_relations.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "reference/arccoth_product.h"

using namespace kalvor;

namespace {

// A line of the list: p,m,d,factors,cost with factors as "2^3 3^-4".
struct Line {
    u64 p, m;
    i64 d;
    PrimeExponents factors;
    std::string cost;
};

std::vector<Line> list() {
    std::ifstream file(std::string(KALVOR_SOURCE_FOLDER) + "/tests/constants/builtin/data/log_relations.csv");
    std::vector<Line> lines;
    std::string text;
    std::getline(file, text);
    EXPECT_EQ(text, "p,m,d,factors,cost");
    while (std::getline(file, text)) {
        std::istringstream fields(text);
        std::string p, m, d, factors, cost;
        std::getline(fields, p, ',');
        std::getline(fields, m, ',');
        std::getline(fields, d, ',');
        std::getline(fields, factors, ',');
        std::getline(fields, cost);
        Line line{std::stoull(p), std::stoull(m), std::stoll(d), {}, cost};
        std::istringstream powers(factors);
        for (std::string power; powers >> power;) {
            const auto caret = power.find('^');
            line.factors[std::stoull(power.substr(0, caret))] = std::stoll(power.substr(caret + 1));
        }
        lines.push_back(line);
    }
    return lines;
}

TEST(LogRelationsTest, TableIsTheList) {
    const std::vector<Line> want = list();
    const std::vector<LogRelation>& got = log_relations();
    ASSERT_EQ(want.size(), 199u);
    ASSERT_EQ(got.size(), want.size());
    for (u64 i = 0; i < want.size(); i++) {
        ASSERT_EQ(got[i].p, want[i].p) << i;
        ASSERT_EQ(got[i].m, want[i].m) << i;
        ASSERT_EQ(got[i].d, want[i].d) << want[i].m;
        ASSERT_EQ(got[i].factors, want[i].factors) << want[i].m;
        char cost[16];
        std::snprintf(cost, sizeof cost, "%.6f", got[i].cost());
        ASSERT_EQ(cost, want[i].cost) << want[i].m;
    }
}

// p^2 = ((m + 1) / (m - 1))^d q_1^e_1 q_2^e_2 ...
TEST(LogRelationsTest, RelationsAreExact) {
    for (const LogRelation& row : log_relations()) {
        mpq_class product = reference::power(reference::arccoth_ratio(row.m), row.d);
        for (const auto& [q, e] : row.factors) {
            ASSERT_LT(q, row.p);
            product *= reference::power(reference::mpq_of(q), e);
        }
        ASSERT_EQ(product, reference::mpq_of(row.p * row.p)) << row.p << " " << row.m;
    }
}

TEST(LogRelationsTest, EveryPrimeFrom11To251) {
    u64 primes = 0;
    for (u64 p = 2; p < 300; p++) {
        const std::vector<LogRelation> rows = log_relations_of(p);
        const bool prime = mpz_probab_prime_p(reference::mpz_of(p).get_mpz_t(), 30) != 0;
        ASSERT_EQ(!rows.empty(), prime && p >= 11 && p <= 251) << p;
        ASSERT_LE(rows.size(), 5u);
        primes += rows.empty() ? 0 : 1;
    }
    EXPECT_EQ(primes, 50u);
}

}  // namespace
