#include "constants/builtin/built_in_series.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <utility>
#include <vector>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "constants/builtin/arcsinlemn.h"
#include "constants/builtin/gamma_c_series.h"
#include "constants/builtin/huvent_terms.h"
#include "reference/mpz_words.h"
#include "reference/series_definitions.h"
#include "support/capture_console.h"

using namespace kalvor;
using trel::BasicIntR;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

using reference::SeriesDefinition;

// A term in buffers of exactly the stated words, with guards behind.
class SeriesTerm {
  public:
    SeriesTerm(const BuiltInSeries& series, u64 k) {
        const u64 words[3] = {series.words_P, series.words_Q, series.words_R};
        for (int i = 0; i < 3; i++) {
            memory_[i].assign(words[i] + 1, kGuard);
            number[i] = BasicIntR(memory_[i].data(), words[i]);
        }
        series.term(k, number[0], number[1], number[2]);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(memory_[i].back(), kGuard) << series.name << " " << k;
            EXPECT_LE(number[i].L, words[i]);
            EXPECT_NE(number[i].T[number[i].L - 1], 0u);
            EXPECT_EQ(number[i].residue, trel::goldilocks::of_words(number[i].T, number[i].L))
                << series.name << " " << k;
        }
    }
    mpz_class value(int i) const { return reference::to_mpz(number[i].T, number[i].L); }
    BasicIntR number[3];

  private:
    static constexpr Word kGuard = 0x5555aaaa5555aaaa;
    std::vector<Word> memory_[3];
};

template <class Action>
void for_each_series(const Action& action) {
    const auto walk = [&](std::span<const BuiltInSeries> rows,
                          const std::vector<reference::SeriesDefinition>& definitions) {
        ASSERT_EQ(rows.size(), definitions.size());
        for (u64 i = 0; i < rows.size(); i++) {
            ASSERT_EQ(rows[i].name, definitions[i].name);
            ASSERT_EQ(rows[i].alternating, definitions[i].alternates);
            action(rows[i], definitions[i]);
        }
    };
    walk(pi_series(), reference::pi_definitions());
    walk(zeta3_series(), reference::zeta3_definitions());
    walk(catalan_series(), reference::catalan_definitions());
}

TEST(BuiltInSeriesTest, TermsMatchTheirDefinitions) {
    for_each_series([](const BuiltInSeries& series, const SeriesDefinition& definition) {
        for (const u64 k : {1ull, 2ull, 3ull, 4ull, 7ull, 1000ull, (1ull << 32) + 1, 1700000000000000ull,
                            (1ull << 51) - 1, (1ull << 51) + 12345, (1ull << 52) - 1}) {
            const mpz_class n = reference::mpz_of(k);
            const SeriesTerm term(series, k);
            ASSERT_EQ(term.value(0), definition.term_P(n)) << series.name << " " << k;
            ASSERT_EQ(term.value(1), definition.term_Q(n)) << series.name << " " << k;
            ASSERT_EQ(term.value(2), definition.term_R(n)) << series.name << " " << k;
        }
    });
}

TEST(BuiltInSeriesTest, FirstTerms) {
    const auto expect = [](const BuiltInSeries& series, u64 k, const char* P, const char* Q, const char* R) {
        const SeriesTerm term(series, k);
        EXPECT_EQ(term.value(0), mpz_class(P)) << series.name;
        EXPECT_EQ(term.value(1), mpz_class(Q)) << series.name;
        EXPECT_EQ(term.value(2), mpz_class(R)) << series.name;
    };
    expect(pi_series()[0], 1, "2793657715", "10939058860032000", "5");
    expect(pi_series()[1], 1, "82479", "3073907232", "3");
    expect(zeta3_series()[0], 1, "1523508", "20580000", "1");
    expect(zeta3_series()[1], 1, "532", "7776", "1");
    expect(catalan_series()[0], 1, "411", "225", "32");
    expect(catalan_series()[1], 1, "6197", "3375", "512");
    expect(catalan_series()[2], 1, "20203", "11025", "288");
    expect(catalan_series()[2], 2, "7716075", "372683025", "940800");
    expect(catalan_series()[3], 1, "5", "27", "1");
    expect(catalan_series()[4], 1, "3680", "1225", "32");
}

class Float {
  public:
    Float() { mpfr_init2(x, 700); }
    ~Float() { mpfr_clear(x); }
    Float(const Float&) = delete;
    mpfr_t x;
};

void set_quotient(Float& result, const mpz_class& numerator, const mpz_class& denominator) {
    mpq_class q(numerator, denominator);
    q.canonicalize();
    mpfr_set_q(result.x, q.get_mpq_t(), MPFR_RNDN);
}
// Digits in which two numbers agree.
double agreement(Float& a, Float& b) {
    mpfr_sub(a.x, a.x, b.x, MPFR_RNDN);
    mpfr_div(a.x, a.x, b.x, MPFR_RNDN);
    mpfr_abs(a.x, a.x, MPFR_RNDN);
    mpfr_log10(a.x, a.x, MPFR_RNDN);
    return -mpfr_get_d(a.x, MPFR_RNDN);
}

// The constants of a row follow from its polynomials: for large k, Q(k) / k^degree tends to exp(growth) and
// Q(k) / R(k) to exp(gain).
TEST(BuiltInSeriesTest, SizeConstants) {
    for_each_series([](const BuiltInSeries& series, const SeriesDefinition& definition) {
        // Exact limits: the leading coefficients, read off at a large power of ten.
        mpz_class k, scale;
        mpz_ui_pow_ui(k.get_mpz_t(), 10, 60);
        mpz_pow_ui(scale.get_mpz_t(), k.get_mpz_t(), static_cast<unsigned>(series.degree));
        mpz_class lead_Q = (definition.term_Q(k) + scale / 2) / scale;
        const mpz_class lead_R = (definition.term_R(k) + scale / 2) / scale;
        EXPECT_EQ(lead_Q, reference::mpz_of(series.leading_Q)) << series.name;
        Float want, got;
        set_quotient(want, lead_Q, lead_R);
        mpfr_log(want.x, want.x, MPFR_RNDN);
        mpfr_set_str(got.x, series.gain, 10, MPFR_RNDN);
        if (std::string(series.name) == "Ramanujan (1910)") {
            // A little less than the truth.
            mpfr_sub(got.x, want.x, got.x, MPFR_RNDN);
            EXPECT_NEAR(mpfr_get_d(got.x, MPFR_RNDN), 3.1e-6, 1e-7);
        } else {
            EXPECT_GT(agreement(got, want), 39) << series.name << " " << series.gain;
        }
        // The growth of Guillera's series of 2008 is ln 64, more than ln 8 of its Q.
        if (std::string(series.name) == "Guillera (2008)") lead_Q *= 8;
        set_quotient(want, lead_Q, 1);
        mpfr_log(want.x, want.x, MPFR_RNDN);
        mpfr_set_str(got.x, series.growth, 10, MPFR_RNDN);
        EXPECT_GT(agreement(got, want), 39) << series.name << " " << series.growth;
    });
}

// What the bounds of a range's numbers are made of.
TEST(BuiltInSeriesTest, BoundsFollowFromTheFactors) {
    for_each_series([](const BuiltInSeries& series, const SeriesDefinition& definition) {
        SCOPED_TRACE(series.name);
        double shift = 0;
        for (const auto& f : definition.Q) shift += f.e * static_cast<double>(f.b) / static_cast<double>(f.a);
        EXPECT_DOUBLE_EQ(series.shift, shift);
        for (const auto& f : definition.R) EXPECT_LE(f.b, 0);
        EXPECT_EQ(series.fold_degree, definition.folded ? definition.p.size() - 1 : 0);
        EXPECT_EQ(series.fold_at_1, definition.folded ? reference::u64_of(definition.polynomial(1)) : u64(0));
        if (definition.folded) {
            for (const char* c : definition.p) EXPECT_GT(mpz_class(c), 0);
        }
        mpz_class Q = 1;
        for (u64 n = 0; n < 300; n++) {
            if (n != 0) Q *= definition.term_Q(reference::mpz_of(n));
            ASSERT_EQ(series.zero_bits ? series.zero_bits(n) : 0, mpz_scan1(Q.get_mpz_t(), 0)) << n;
        }
    });
}

TEST(BuiltInSeriesDeathTest, SmallBuffersAreRefused) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    static const char* const kLeaves[] = {
        "Pi_Chudnovsky_BSR_End_R1",   "Pi_Ramanujan_BSR_End_R1",      "Zeta3_Wedeniwski_BSR_End_R1",
        "Zeta3_AZ1_BSR_End1",         "Catalan_Pilehrood1_BSR_End1",  "Catalan_Guillera2019_BSR_End1",
        "Catalan_Pilehrood_BSR_End1", "Catalan_Guillera2018_BSR_End", "Catalan_Lupas_BSR_End1"};
    u64 row = 0;
    for_each_series([&](const BuiltInSeries& series, const SeriesDefinition&) {
        const std::string name = kLeaves[row++];
        Word words[64];
        const u64 enough[3] = {series.words_P, series.words_Q, series.words_R};
        for (int small = 0; small < 3; small++) {
            BasicIntR number[3];
            for (int i = 0; i < 3; i++)
                number[i] = BasicIntR(words + 20 * i, enough[i] - (i == small ? 1 : 0));
            std::string leaf = name;
            // Some have a name for each number.
            if (leaf[leaf.size() - 2] == 'R') leaf[leaf.size() - 2] = "PQR"[small];
            EXPECT_EXIT(
                (print_to_stderr(), series.term(5, number[0], number[1], number[2])),
                testing::ExitedWithCode(1),
                "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   " + leaf + "\\(\\)\n")
                << series.name << " " << small;
        }
    });
}

TEST(BuiltInSeriesDeathTest, SmallBuffersOfOtherLeavesAreRefused) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const GammaCSeries gamma(20, 100);
    const ArcSinlemnSeries arc(ArcSinlemnArgument(7, 23), 100);
    const std::pair<const BinarySplitting::CommonP2B3::Series*, std::string> leaves[] = {
        {&gamma, "Gamma_C_BSR_End"}, {&arc, "ArcSinlemn_BSR_End"}};
    Word words[64];
    for (const auto& [series, name] : leaves) {
        const auto& needs = series->term_words();
        const u64 enough[3] = {needs.P, needs.Q, needs.R};
        for (int small = 0; small < 3; small++) {
            BasicIntR number[3];
            for (int i = 0; i < 3; i++)
                number[i] = BasicIntR(words + 20 * i, enough[i] - (i == small ? 1 : 0));
            EXPECT_EXIT(
                (print_to_stderr(), series->term(5, number[0], number[1], number[2])),
                testing::ExitedWithCode(1),
                "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   " + name + "\\(\\)\n")
                << name << " " << small;
        }
    }
}

mpz_class huvent_P(const mpz_class& k) {
    mpz_class P = 0;
    for (const char* c :
         {"4636372233093120", "37721048963088384", "140614334152704000", "318025249742389248",
          "486920573914447872", "532937589964406784", "428868733241327616", "256653109156773888",
          "113872382317283328", "36670081182465024", "8098743309464448", "1029713994232704", "5572409156528",
          "-24153149527360", "-4419704161120", "-360406957080", "-11728430425"}) {
        P = P * k + mpz_class(c);
    }
    return P;
}

TEST(HuventTermsTest, TermsAndValue) {
    Word words[38];
    const Word guard = words[18] = words[37] = 0x123456789abcdef;
    BasicIntR P(words, 18), Q(words + 19, 18);
    const auto Q_of = [](const mpz_class& k) {
        mpz_class q = 1;
        for (const int f : {201, 401, 403, 601, 605, 1201, 1205, 1207, 1211}) q *= f / 100 * k + f % 100;
        return mpz_class(q * q);
    };
    for (const u64 k : {1ull, 2ull, 3ull, 99ull, 5536578ull, (1ull << 32) - 1, 1ull << 32, (1ull << 51) - 1,
                        (1ull << 52) - 1}) {
        catalan_huvent_term(k, P, Q);
        ASSERT_EQ(reference::to_mpz(P.T, P.L), huvent_P(reference::mpz_of(k))) << k;
        ASSERT_EQ(reference::to_mpz(Q.T, Q.L), Q_of(reference::mpz_of(k))) << k;
        for (const BasicIntR* T : {&P, &Q}) {
            ASSERT_EQ(T->residue, trel::goldilocks::of_words(T->T, T->L));
        }
        EXPECT_EQ(words[18], guard);
        EXPECT_EQ(words[37], guard);
    }
    catalan_huvent_term(1, P, Q);
    EXPECT_EQ(reference::to_mpz(P.T, P.L), mpz_class("2366024559591756959"));
    EXPECT_EQ(reference::to_mpz(Q.T, Q.L), mpz_class("609687750899252025"));

    mpq_class sum = 0;
    for (u64 k = 1; k <= 100; k++) {
        catalan_huvent_term(k, P, Q);
        mpq_class term(reference::to_mpz(P.T, P.L), reference::to_mpz(Q.T, Q.L));
        mpq_div_2exp(term.get_mpq_t(), term.get_mpq_t(), 6 * static_cast<mp_bitcnt_t>(k));
        sum += catalan_huvent_negative(k) ? mpq_class(-term) : term;
    }
    Float value, want;
    const mpq_class catalan = (1334025 * sum + 469137217) / 512265600;
    mpfr_set_q(value.x, catalan.get_mpq_t(), MPFR_RNDN);
    mpfr_const_catalan(want.x, MPFR_RNDN);
    EXPECT_GT(agreement(value, want), 180);
}

TEST(HuventTermsTest, SmallBuffersAreRefused) {
    Word words[36];
    for (const auto& [p, q] : {std::pair<u64, u64>{17, 18}, {18, 17}}) {
        BasicIntR P(words, p), Q(words + 18, q);
        try {
            catalan_huvent_term(1, P, Q);
            ADD_FAILURE();
        } catch (const trel::BufferTooSmallException& e) {
            EXPECT_EQ(e.function, "Catalan_Huvent_BSR_End()");
            EXPECT_EQ(e.buffer_size, 17u);
            EXPECT_EQ(e.required_size, 18u);
        }
    }
}

}  // namespace
