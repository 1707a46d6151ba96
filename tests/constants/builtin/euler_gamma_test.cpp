#include "constants/builtin/euler_gamma.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "app/session/line_recorder.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/builtin/gamma_c_series.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/gamma_c_value.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::GammaCValue;
using kalvor_test::kReferenceWords;
using trel::u64;

namespace {

constexpr GammaAlgorithm kAlgorithms[] = {GammaAlgorithm::refined, GammaAlgorithm::plain};

// floor(gamma 2^(64 words))
mpz_class euler(u64 words) {
    mpfr_t y;
    mpfr_init2(y, static_cast<mpfr_prec_t>(64 * words + 128));
    mpfr_const_euler(y, MPFR_RNDN);
    mpfr_mul_2ui(y, y, static_cast<unsigned long>(64 * words), MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), y, MPFR_RNDD);
    mpfr_clear(y);
    return z;
}

void expect_both(u64 p, u64 tds) {
    const mpz_class want = euler(p + kReferenceWords);
    for (const GammaAlgorithm algorithm : kAlgorithms) {
        expect_value(EulerGamma(algorithm), p, tds, want,
                     std::string(algorithm == GammaAlgorithm::plain ? "plain" : "refined") +
                         " p=" + std::to_string(p) + " tds=" + std::to_string(tds));
        if (testing::Test::HasFatalFailure()) return;
    }
}

// By an exact model of the formulas.
TEST(EulerGammaTest, Parameters) {
    const std::pair<u64, u64> cases[] = {{1, 5},  {2, 6},  {3, 6},     {5, 7},      {10, 7},
                                         {20, 8}, {40, 9}, {1000, 14}, {51908, 20}, {519053, 23}};
    for (const auto& [p, k] : cases) EXPECT_EQ(EulerGamma::parameter_for(p), k) << p;
}

TEST(EulerGammaTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 130; p += p < 40 ? 1 : kalvor_test::thinned(9)) {
        expect_both(p, 1 + p % 3);
        if (HasFatalFailure()) return;
    }
}

TEST(EulerGammaTest, TenThousandDigits) {
    for (const u64 tds : {1, 2, 7}) {
        expect_both(521, tds);
        if (HasFatalFailure()) return;
    }
}

// Blocks whose exact parts are summed by upper levels, because all their tasks at once would take more
// memory.
TEST(EulerGammaTest, ManyTasks) {
    expect_both(1500, 64);
}

TEST(SlowEulerGammaTest, AHundredThousandDigits) {
    expect_both(5193, 2);
}

// A larger parameter than needed is as right; a smaller one is right to what it says.
TEST(EulerGammaTest, ForcedParameters) {
    const u64 p = 30;
    const mpz_class want = euler(p + kReferenceWords);
    for (const GammaAlgorithm algorithm : kAlgorithms) {
        for (u64 k = EulerGamma::parameter_for(p); k <= 13; k++)
            expect_value(EulerGamma(algorithm, k), p, 2, want, "k=" + std::to_string(k));
        for (u64 k = 1; k < EulerGamma::parameter_for(p); k++) {
            EvaluatorRun run(EulerGamma(algorithm, k), p, 1);
            const trel::BigFloat x = run.value();
            const i64 bottom = -static_cast<i64>(p + kReferenceWords);
            mpz_class difference = reference::magnitude_at(x, bottom) - want;
            difference = abs(difference);
            mpz_class bound = 1;
            const i64 bits = 64 * (run.error.limit.words - bottom) + run.error.limit.bits;
            mpz_mul_2exp(bound.get_mpz_t(), bound.get_mpz_t(), static_cast<mp_bitcnt_t>(bits));
            EXPECT_LE(difference, bound) << k;
            // e^(-4 2^k), to a few bits.
            EXPECT_LT(bits,
                      64 * static_cast<i64>(p + kReferenceWords) - static_cast<i64>(5.77 * (1 << k)) + 10);
        }
    }
}

// The products of the fraction are then the longest, because the sums are short. In memory of exactly the
// planned size; the value is wrong by design.
TEST(EulerGammaTest, ParametersFarBelowTheNeed) {
    struct {
        GammaAlgorithm algorithm;
        u64 k, p;
    } const cases[] = {{GammaAlgorithm::refined, 10, 20000},
                       {GammaAlgorithm::refined, 12, 77860},
                       {GammaAlgorithm::plain, 9, 103813},
                       {GammaAlgorithm::plain, 11, 155720}};
    for (u64 i = 0; i < std::size(cases) / kalvor_test::thinned(4); i++) {
        const auto& c = cases[i];
        EvaluatorRun run(EulerGamma(c.algorithm, c.k), c.p, 1);
        const trel::BigFloat x = run.value();
        EXPECT_TRUE(run.result.guards_intact() && run.working.guards_intact()) << c.p;
        const mpz_class top = reference::magnitude_at(x, -1);
        EXPECT_EQ(mpz_class(top >> 32), mpz_class(euler(1) >> 32)) << c.p;
    }
}

// Blocks far longer than their precision, in memory of exactly the planned size.
TEST(EulerGammaTest, ParametersFarAboveTheNeed) {
    for (const u64 p : {8, 40}) {
        const mpz_class want = euler(p + kReferenceWords);
        for (const u64 tds : {1, 2, 7}) {
            expect_value(EulerGamma(GammaAlgorithm::plain, 16), p, tds, want, "plain");
            expect_value(EulerGamma(GammaAlgorithm::refined, 17), p, tds, want, "refined");
        }
    }
}

TEST(EulerGammaTest, ASmallParameterPauses) {
    const CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    const u64 before = trel::Console::pause_count();
    EvaluatorRun(EulerGamma(GammaAlgorithm::refined, 3), 10, 1).value(status);
    EXPECT_EQ(trel::Console::pause_count(), before + 1);
    const std::string limit = "Limit:  32\n";
    const std::size_t place = console.text().find(limit);
    ASSERT_NE(place, std::string::npos) << console.text();
    EXPECT_EQ(console.text().substr(place + limit.size(), 16), "Press any key to");
    EvaluatorRun(EulerGamma(GammaAlgorithm::refined, 9), 10, 1).value(status);
    EXPECT_EQ(trel::Console::pause_count(), before + 1);
}

// A Status that is not a terminal can wait, too.
TEST(EulerGammaTest, ASmallParameterPausesWhateverReports) {
    kalvor_test::LineRecorder status;
    EvaluatorRun(EulerGamma(GammaAlgorithm::plain, 3), 10, 1).value(status);
    EXPECT_EQ(status.pauses, 1);
    EXPECT_TRUE(status.text.find("Limit:  32\n") != std::string::npos) << status.text;
    EvaluatorRun(EulerGamma(GammaAlgorithm::plain, 9), 10, 1).value(status);
    EXPECT_EQ(status.pauses, 1);
}

TEST(EulerGammaTest, ASmallParameterIsSaid) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    EvaluatorRun run(EulerGamma(GammaAlgorithm::plain, 3), 10, 1);
    run.value(status);
    EXPECT_NE(console.text().find("EulerGamma - Brent-McMillan: (n = 2^3)\n"
                                  "Warning:\n"
                                  "The current parameter is too small to meet the target precision.\n"
                                  "Target: 444\nLimit:  32\n"),
              std::string::npos)
        << console.text();
}

// Eight bytes a digit, whatever the number of tasks.
TEST(EulerGammaTest, Memory) {
    for (const GammaAlgorithm algorithm : kAlgorithms) {
        for (const u64 p : {51907, 519053}) {
            double of_one_task = 0;
            for (const u64 tds : {1, 2, 7, 64}) {
                const trel::Needs needs = EulerGamma(algorithm).make_evaluator({p, tds})->needs();
                const double bytes =
                    static_cast<double>(needs.bytes) + 8 * static_cast<double>(needs.result_words);
                EXPECT_LE(bytes, 8 * 19.2659 * static_cast<double>(p)) << p << " " << tds;
                if (tds == 1) of_one_task = bytes;
                EXPECT_LE(bytes, 1.3 * of_one_task) << p << " " << tds;
            }
        }
    }
}

// What it reports of itself, in its order: without the blocks of its sums, the steps of its divisions, and
// the numbers of terms.
std::vector<std::string> steps_of(GammaAlgorithm algorithm, u64 p) {
    kalvor_test::LineRecorder status;
    EvaluatorRun(EulerGamma(algorithm), p, 1).value(status);
    std::vector<std::string> steps;
    for (std::string step : status.steps) {
        if (step == "0" || step == "1" || step.starts_with(" ") || step.starts_with("Series: ") ||
            step.starts_with("-  "))
            continue;
        if (const std::size_t terms = step.find("...  "); terms != std::string::npos) {
            EXPECT_NE(step.find(" terms  (Expansion Factor = "), std::string::npos) << step;
            step.resize(step.find_first_of("0123456789", terms));
        }
        steps.push_back(step);
    }
    return steps;
}

TEST(EulerGammaTest, Labels) {
    using Steps = std::vector<std::string>;
    const auto joined = [](std::initializer_list<Steps> parts) {
        Steps all;
        for (const Steps& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    };
    const Steps division = {"Large Division...", "Iterating: "};
    const Steps arccoth = joined({{"Series CommonP2B3...  ", "Finishing Series", "Summing: "}, division});
    const Steps next = {"Accumulate...", "Adding: "};
    const Steps ln2 = joined({{"Log( 2 )", "18 ArcCoth( 26 ):"},
                              arccoth,
                              {"-2 ArcCoth( 4801 ):"},
                              arccoth,
                              next,
                              {"8 ArcCoth( 8749 ):"},
                              arccoth,
                              next});
    const Steps end = joined({ln2, {"Finishing: "}});
    const Steps sums = {"Series A and B...  ", "Summing: "};
    EXPECT_EQ(steps_of(GammaAlgorithm::plain, 300),
              joined({{"EulerGamma - Brent-McMillan: (n = 2^12)"}, sums, division, end}));
    const Steps series_C = joined({{"Series C...   ", "Finishing Series",
                                    "Finishing: P + Q: ", "Finishing: Q * 2^(k+2): ", "Squaring...",
                                    "Squaring: ", "Finalizing: P * S: ", "Finalizing: Q * R: "},
                                   division});
    const Steps subtraction = {"Subtracting...", "Subtracting: "};
    EXPECT_EQ(steps_of(GammaAlgorithm::refined, 300),
              joined({{"EulerGamma - Brent-McMillan (refined): (n = 2^11)"},
                      sums,
                      division,
                      series_C,
                      subtraction,
                      end}));
}

// ln(Q(1) ... Q(k)) and the constant ln(64 ln 2).
TEST(GammaCTest, Sizes) {
    const GammaCSeries series(7, 100);
    EXPECT_NEAR(series.log_size_to(0), std::log(64 * std::log(2.0)), 0.1);
    EXPECT_NEAR(series.log_size_to_dd(0).high, std::log(64 * std::log(2.0)), 1e-12);
    for (const u64 k : {1, 10, 1000}) {
        const double exact = std::lgamma(static_cast<double>(k + 1)) +
                             19.0 * std::log(2.0) * static_cast<double>(k) + std::log(64 * std::log(2.0));
        EXPECT_NEAR(series.log_size_to(k), exact, 0.1);
        EXPECT_NEAR(series.log_size_to_dd(k).high, exact, 0.1);
    }
}

// A leaf's numbers by their definition, also far out, where products of words are longest.
TEST(GammaCTest, Terms) {
    for (const u64 m : {1, 50}) {
        const GammaCSeries series(m, 10);
        for (const u64 k : {u64(1), u64(2), u64(1000), (u64(1) << 51) - 1, u64(1) << 51}) {
            trel::Word words[3][3];
            trel::BasicIntR P(words[0], 3), Q(words[1], 3), R(words[2], 3);
            series.term(k, P, Q, R);
            const mpz_class j = reference::to_mpz(&k, 1), odd = 2 * j - 1;
            EXPECT_EQ(reference::to_mpz(R.T, R.L), mpz_class(odd * odd * odd));
            EXPECT_EQ(reference::to_mpz(P.T, P.L), mpz_class(odd * odd * odd));
            EXPECT_EQ(reference::to_mpz(Q.T, Q.L), mpz_class(j << (2 * m + 5)));
            EXPECT_EQ(Q.residue, trel::goldilocks::of_words(Q.T, Q.L));
            EXPECT_EQ(R.residue, trel::goldilocks::of_words(R.T, R.L));
        }
    }
}

struct CFactory final : EvaluatorFactory {
    explicit CFactory(u64 m, GammaCValue::Words S = {1}, GammaCValue::Words D = {1})
        : m(m), S(std::move(S)), D(std::move(D)) {}
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return std::make_unique<GammaCValue>(m, request, S, D);
    }
    const u64 m;
    const GammaCValue::Words S, D;
};

// C = 1/(4n) (1 + sum of the terms), against exact fractions; and its product by the square of a fraction.
TEST(GammaCTest, Values) {
    std::mt19937_64 random(5);
    for (const u64 m : {1, 4, 7}) {
        for (const u64 p : {3, 5, 20, 300}) {
            mpq_class sum = 1, term = 1;
            for (unsigned long j = 1; j <= (2ul << m); j++) {
                const mpz_class odd = 2 * j - 1;
                mpz_class down = 32 * j;
                down <<= 2 * m;
                term *= mpq_class(odd * odd * odd, down);
                term.canonicalize();
                sum += term;
            }
            sum /= mpq_class(mpz_class(4) << m);
            const auto scaled = [&](const mpq_class& x) {
                return mpz_class((x.get_num() << (64 * (p + kReferenceWords))) / x.get_den());
            };
            const std::string what = "m=" + std::to_string(m) + " p=" + std::to_string(p);
            expect_value(CFactory(m), p, 2, scaled(sum), what);
            // Numbers with bits in all their words, and of one word.
            for (const u64 L : {u64(1), p + 2}) {
                GammaCValue::Words S(L), D(L);
                for (u64 i = 0; i < L; i++) S[i] = random(), D[i] = random();
                S.back() |= u64(1) << 63;
                D.back() |= u64(1) << 63;
                mpq_class fraction(reference::to_mpz(S.data(), L), reference::to_mpz(D.data(), L));
                fraction.canonicalize();
                expect_value(CFactory(m, S, D), p, 2, scaled(sum * fraction * fraction),
                             what + " L=" + std::to_string(L));
            }
        }
    }
}

}  // namespace
