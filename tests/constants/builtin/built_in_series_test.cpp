#include "constants/builtin/built_in_series.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>

#include "arith/estimate/double_double.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "constants/bsr/block_run.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/builtin/huvent_terms.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/scratch.h"

using namespace kalvor;
using trel::BasicIntR;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

// The signed numbers of a term, from the definitions of the series.
struct Numbers {
    mpz_class P, Q, R;
};
mpz_class pow(const mpz_class& a, unsigned n) {
    mpz_class r;
    mpz_pow_ui(r.get_mpz_t(), a.get_mpz_t(), n);
    return r;
}
using Definition = Numbers (*)(const mpz_class&);
const Definition kZeta3[] = {
    [](const mpz_class& k) -> Numbers {
        const mpz_class r = -pow(k, 5) * pow(2 * k - 1, 3);
        return {r * (126392 * pow(k, 5) + 412708 * pow(k, 4) + 531578 * pow(k, 3) + 336367 * k * k +
                     104000 * k + 12463),
                24 * (3 * k + 1) * (3 * k + 2) * pow(4 * k + 1, 3) * pow(4 * k + 3, 3), r};
    },
    [](const mpz_class& k) -> Numbers {
        const mpz_class r = -pow(k, 5);
        return {r * (205 * k * k + 250 * k + 77), pow(4 * k + 2, 5), r};
    }};
const Definition kCatalan[] = {
    [](const mpz_class& k) -> Numbers {
        return {580 * k * k - 184 * k + 15, 9 * pow(6 * k - 5, 2) * pow(6 * k - 1, 2),
                32 * pow(k, 3) * (2 * k - 1)};
    },
    [](const mpz_class& k) -> Numbers {
        return {45136 * pow(k, 4) - 57184 * pow(k, 3) + 21240 * k * k - 3160 * k + 165,
                27 * pow(6 * k - 5, 3) * pow(6 * k - 1, 3), 512 * pow(k, 3) * pow(2 * k - 1, 3)};
    },
    [](const mpz_class& k) -> Numbers {
        return {419840 * pow(k, 6) - 915456 * pow(k, 5) + 782848 * pow(k, 4) - 332800 * pow(k, 3) +
                    73256 * k * k - 7800 * k + 315,
                pow((8 * k - 7) * (8 * k - 5) * (8 * k - 3) * (8 * k - 1), 2),
                32 * pow(k, 3) * (2 * k - 1) * pow(4 * k - 3, 2) * pow(4 * k - 1, 2)};
    },
    [](const mpz_class& k) -> Numbers {
        const mpz_class r = -pow(k, 3);
        return {r * (3 * k + 2), pow(2 * k + 1, 3), r};
    },
    [](const mpz_class& k) -> Numbers {
        const mpz_class r = -32 * pow(k, 3) * (2 * k - 1);
        return {r * (40 * k * k + 56 * k + 19), pow(4 * k + 1, 2) * pow(4 * k + 3, 2), r};
    }};

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
    const auto zeta3 = zeta3_series(), catalan = catalan_series();
    ASSERT_EQ(zeta3.size(), 2u);
    ASSERT_EQ(catalan.size(), 5u);
    for (u64 i = 0; i < zeta3.size(); i++) action(zeta3[i], kZeta3[i], true);
    for (u64 i = 0; i < catalan.size(); i++) action(catalan[i], kCatalan[i], false);
}

TEST(BuiltInSeriesTest, TermsMatchTheirDefinitions) {
    for_each_series([](const BuiltInSeries& series, Definition definition, bool) {
        for (const u64 k : {1ull, 2ull, 3ull, 4ull, 7ull, 1000ull, (1ull << 32) + 1, 1700000000000000ull,
                            (1ull << 51) - 1, (1ull << 51) + 12345, (1ull << 52) - 1}) {
            const Numbers want = definition(reference::mpz_of(k));
            const SeriesTerm term(series, k);
            ASSERT_EQ(term.value(0), mpz_class(abs(want.P))) << series.name << " " << k;
            ASSERT_EQ(term.value(1), want.Q) << series.name << " " << k;
            ASSERT_EQ(term.value(2), mpz_class(abs(want.R))) << series.name << " " << k;
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
    expect(zeta3_series()[0], 1, "1523508", "20580000", "1");
    expect(zeta3_series()[1], 1, "532", "7776", "1");
    expect(catalan_series()[0], 1, "411", "225", "32");
    expect(catalan_series()[1], 1, "6197", "3375", "512");
    expect(catalan_series()[2], 1, "20203", "11025", "288");
    expect(catalan_series()[2], 2, "7716075", "372683025", "940800");
    expect(catalan_series()[3], 1, "5", "27", "1");
    expect(catalan_series()[4], 1, "3680", "1225", "32");
}

// The sum of the terms a + 1 .. b, relative to the sign of the first.
struct Range {
    mpz_class P, Q, R;
};
Range sum(const BuiltInSeries& series, u64 a, u64 b) {
    if (b - a == 1) {
        const SeriesTerm term(series, b);
        return {term.value(0), term.value(1), term.value(2)};
    }
    const u64 m = (a + b) / 2;
    const Range x = sum(series, a, m), y = sum(series, m, b);
    const bool subtract = series.alternating && (m - a) % 2 != 0;
    return {x.P * y.Q + (subtract ? -1 : 1) * mpz_class(x.R * y.P), x.Q * y.Q, x.R * y.R};
}

// A row of the table as a series, for its buffers alone.
class RowSeries final : public BinarySplitting::CommonP2B3::Series {
  public:
    explicit RowSeries(const BuiltInSeries& row)
        : Series({u64(1) << 52, 100, row.leaf_threshold, row.growth_words, row.alternating},
                 {row.words_P, row.words_Q, row.words_R}),
          row_(row),
          growth_(trel::DoubleDouble::parse(row.growth)) {}
    double log_size_to(u64 k) const override { return log_size_to_dd(k).high; }
    trel::DoubleDouble log_size_to_dd(u64 k) const override {
        const auto x = trel::DoubleDouble::from_u64(k);
        return trel::DoubleDouble(static_cast<double>(row_.degree)) * ln_factorial(x) + x * growth_;
    }
    trel::DoubleDouble log_remaining(u64) const override { return trel::DoubleDouble(4436.0); }
    double log_size_R(u64 a, u64 b) const override { return log_size_resolved(a, b); }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void term(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override { row_.term(k, P, Q, R); }

  private:
    const BuiltInSeries& row_;
    const trel::DoubleDouble growth_;
};

// P of a range grows by Q's words or R's, which are more than its own in some rows.
TEST(BuiltInSeriesTest, LeavesAndMergesFarOut) {
    static constexpr Word kGuard = 0x5555aaaa5555aaaa;
    for_each_series([](const BuiltInSeries& row, Definition, bool) {
        const RowSeries series(row);
        std::vector<u64> ends;
        for (int bits = 3; bits < 52; bits++) ends.push_back(u64(1) << bits);
        ends.push_back((u64(1) << 52) - 200);
        for (const u64 a : ends) {
            for (u64 n = 1; n < row.leaf_threshold; n++) {
                SCOPED_TRACE(testing::Message() << row.name << " " << a << " + " << n);
                const auto words = series.term_words().of(n);
                std::vector<Word> P(words.P + 1, kGuard), Q(words.Q + 1, kGuard), R(words.R + 1, kGuard);
                std::vector<Word> scratch(4 * series.growth_words() * n + 1, kGuard);
                BasicIntR p(P.data(), words.P), q(Q.data(), words.Q), r(R.data(), words.R);
                series.bsr_end(a, a + n, p, q, r, scratch.data());
                for (const auto* memory : {&P, &Q, &R, &scratch}) ASSERT_EQ(memory->back(), kGuard);
                const Range want = sum(row, a, a + n);
                ASSERT_EQ(reference::to_mpz(p.T, p.L), want.P);
                ASSERT_EQ(reference::to_mpz(q.T, q.L), want.Q);
                ASSERT_EQ(reference::to_mpz(r.T, r.L), want.R);
            }
            for (const u64 n : {50, 75, 100}) {
                SCOPED_TRACE(testing::Message() << row.name << " " << a << " + " << n);
                using Family = BinarySplitting::CommonP2B3::Family;
                const BinarySplitting::BSR_BlockB<Family> plan(series, {a, a + n, 100, 100}, false, true, 1);
                Scratch results(BinarySplitting::total_words(plan.capacities()) * sizeof(Word)),
                    stack(plan.needs().bytes);
                trel::AlignedBufferC memory = results.view();
                auto range = BinarySplitting::carve_range<trel::ExactFloat>(memory, plan.capacities());
                const trel::MultiplyContext context{trel::serial_context(), stack.view(), nullptr};
                BinarySplitting::BlockRun<Family>(plan).run(context, trel::null_status(), range);
                const Range want = sum(row, a, a + n);
                ASSERT_EQ(reference::to_mpz(range[0].T, range[0].L), want.P);
            }
        }
    });
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

// 9 words, some 173 digits, with an odd and an even number of terms.
TEST(BuiltInSeriesTest, ValuesMatchMpfr) {
    for_each_series([](const BuiltInSeries& series, Definition, bool is_zeta3) {
        const u64 terms = built_in_terms(series.gain, 9);
        for (const u64 n : {terms, terms + 1}) {
            const Range range = sum(series, 0, n);
            const mpz_class S = series.alternating ? mpz_class(-range.P) : range.P;
            Float value, want;
            set_quotient(value,
                         reference::mpz_of_signed(series.coefficient_P) * S +
                             reference::mpz_of_signed(series.coefficient_Q) * range.Q,
                         reference::mpz_of_signed(series.coefficient_D) * range.Q);
            is_zeta3 ? mpfr_zeta_ui(want.x, 3, MPFR_RNDN) : mpfr_const_catalan(want.x, MPFR_RNDN);
            EXPECT_GT(agreement(value, want), 9 * 19.2659) << series.name << " " << n;
        }
    });
}

// The constants of a row follow from its polynomials: for large k, Q(k) / k^degree tends to exp(growth) and
// Q(k) / R(k) to exp(gain).
TEST(BuiltInSeriesTest, SizeConstants) {
    for_each_series([](const BuiltInSeries& series, Definition definition, bool) {
        // Exact limits: the leading coefficients, read off at a large power of ten.
        const mpz_class k = pow(10, 60);
        const Numbers at = definition(k);
        mpz_class lead_Q = (at.Q + pow(k, static_cast<unsigned>(series.degree)) / 2) /
                           pow(k, static_cast<unsigned>(series.degree));
        mpz_class lead_R = (abs(at.R) + pow(k, static_cast<unsigned>(series.degree)) / 2) /
                           pow(k, static_cast<unsigned>(series.degree));
        Float want, got;
        // The growth of Guillera's series of 2008 is ln 64, more than ln 8 of its Q.
        if (series.degree == 3) lead_Q *= 8;
        for (const auto& [text, numerator, denominator] :
             {std::tuple{series.growth, lead_Q, mpz_class(1)},
              {series.gain, lead_Q, mpz_class(series.degree == 3 ? mpz_class(8 * lead_R) : lead_R)}}) {
            set_quotient(want, numerator, denominator);
            mpfr_log(want.x, want.x, MPFR_RNDN);
            mpfr_set_str(got.x, text, 10, MPFR_RNDN);
            EXPECT_GT(agreement(got, want), 39) << series.name << " " << text;
        }
    });
}

TEST(BuiltInSeriesTest, TermCounts) {
    for_each_series([](const BuiltInSeries& series, Definition definition, bool) {
        for (const u64 p : {1, 2, 3, 10, 50}) {
            const u64 terms = built_in_terms(series.gain, p);
            // The first omitted term against 2^(-64 p) of the sum, in logarithms.
            Float ln, part;
            mpfr_set_zero(ln.x, 1);
            const auto add = [&](const mpz_class& z, int sign) {
                mpfr_set_z(part.x, mpz_class(abs(z)).get_mpz_t(), MPFR_RNDN);
                mpfr_log(part.x, part.x, MPFR_RNDN);
                sign > 0 ? mpfr_add(ln.x, ln.x, part.x, MPFR_RNDN) : mpfr_sub(ln.x, ln.x, part.x, MPFR_RNDN);
            };
            for (u64 k = 1; k <= terms; k++) {
                const Numbers t = definition(reference::mpz_of(k));
                add(t.R, 1);
                add(t.Q, -1);
            }
            const Numbers next = definition(reference::mpz_of(terms + 1));
            add(next.P, 1);
            add(next.Q, -1);
            // The value's numerator as the scale: coefficient_P S + coefficient_Q.
            const double scale = std::log(static_cast<double>(series.coefficient_D) * 0.9159 /
                                          std::abs(static_cast<double>(series.coefficient_P)));
            EXPECT_LT(mpfr_get_d(ln.x, MPFR_RNDN), scale - static_cast<double>(64 * p) * std::log(2.0))
                << series.name << " " << p;
        }
    });
    EXPECT_EQ(built_in_terms(zeta3_series()[0].gain, 519054), 1982674u);
}

TEST(BuiltInSeriesDeathTest, SmallBuffersAreRefused) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for_each_series([](const BuiltInSeries& series, Definition, bool) {
        Word words[64];
        const u64 enough[3] = {series.words_P, series.words_Q, series.words_R};
        for (int small = 0; small < 3; small++) {
            BasicIntR number[3];
            for (int i = 0; i < 3; i++)
                number[i] = BasicIntR(words + 20 * i, enough[i] - (i == small ? 1 : 0));
            std::string leaf = series.leaf;
            if (leaf == "Zeta3_Wedeniwski_BSR_End_R1()") leaf[leaf.size() - 4] = "PQR"[small];
            leaf.resize(leaf.size() - 2);
            EXPECT_EXIT(
                (print_to_stderr(), series.term(5, number[0], number[1], number[2])),
                testing::ExitedWithCode(1),
                "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   " + leaf + "\\(\\)\n")
                << series.name << " " << small;
        }
    });
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
    for (const u64 k : {1ull, 2ull, 3ull, 99ull, (1ull << 51) - 1, (1ull << 52) - 1}) {
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
