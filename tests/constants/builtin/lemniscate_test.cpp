#include "constants/builtin/lemniscate.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <utility>

#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/builtin/arcsinlemn.h"
#include "reference/mpfr_lemniscate.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/masked.h"
#include "support/message_of.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::Form;
using kalvor_test::kReferenceWords;
using kalvor_test::message_of;
using kalvor_test::without_numbers_behind;
using trel::InvalidParametersException;
using trel::u64;
using trel::Word;

namespace {

using Algorithm = LemniscateAlgorithm;
constexpr Algorithm kAlgorithms[] = {Algorithm::agm_pi, Algorithm::gauss, Algorithm::sebah};

// floor((2 Pi / AGM(1, 2^(1/2)))^power 2^(64 words))
mpz_class lemniscate(int power, u64 words) {
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(64 * words + 128));
    kalvor_test::set_lemniscate(x);
    if (power < 0) mpfr_ui_div(x, 1, x, MPFR_RNDN);
    mpfr_mul_2ui(x, x, 64 * words, MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    return z;
}

// The sum of its series in integers of 64 (words + 1) bits behind the point, then cut to `words`.
mpz_class arcsinlemn(u64 c, u64 x, u64 y, u64 words) {
    const auto z = [](u64 w) {
        mpz_class r;
        mpz_import(r.get_mpz_t(), 1, -1, sizeof w, 0, 0, &w);
        return r;
    };
    mpz_class power = reference::shifted(z(c) * z(x), static_cast<trel::i64>(words + 1)) / z(y);
    mpz_class sum = 0;
    for (u64 k = 0; power != 0; k++) {
        if (k != 0)
            power = power * z(2 * k - 1) * z(x) * z(x) * z(x) * z(x) / (z(2 * k) * z(y) * z(y) * z(y) * z(y));
        sum += power / z(4 * k + 1);
    }
    return reference::shifted(sum, -1);
}

std::string name(Algorithm algorithm, u64 p, u64 tds) {
    return std::to_string(static_cast<int>(algorithm)) + " p=" + std::to_string(p) +
           " tds=" + std::to_string(tds);
}

TEST(LemniscateTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p += p < 40 ? 1 : kalvor_test::thinned(7)) {
        const mpz_class want = lemniscate(1, p + kReferenceWords);
        for (const Algorithm algorithm : kAlgorithms) {
            expect_value(Lemniscate(algorithm), p, 1 + p % 3, want, name(algorithm, p, 1 + p % 3));
            if (HasFatalFailure()) return;
        }
        expect_value(Lemniscate(Algorithm::agm_pi, -1), p, 1, lemniscate(-1, p + kReferenceWords),
                     "inverse p=" + std::to_string(p));
        if (HasFatalFailure()) return;
    }
}

TEST(LemniscateTest, TenThousandDigitsAndMore) {
    for (const u64 p : {521u, 2600 / kalvor_test::thinned(4), 5193 / kalvor_test::thinned(8)}) {
        const mpz_class want = lemniscate(1, p + kReferenceWords);
        for (const u64 tds : {1, 2, 7}) {
            for (const Algorithm algorithm : kAlgorithms)
                expect_value(Lemniscate(algorithm), p, tds, want, name(algorithm, p, tds));
        }
        expect_value(Lemniscate(Algorithm::agm_pi, -1), p, 2, lemniscate(-1, p + kReferenceWords), "inverse");
    }
}

TEST(SlowLemniscateTest, AMillionDigits) {
    const u64 p = 51908;
    const mpz_class want = lemniscate(1, p + kReferenceWords);
    for (const Algorithm algorithm : kAlgorithms)
        expect_value(Lemniscate(algorithm), p, 2, want, name(algorithm, p, 2));
    expect_value(Lemniscate(Algorithm::agm_pi, -1), p, 2, lemniscate(-1, p + kReferenceWords), "inverse");
}

TEST(LemniscateTest, Powers) {
    const auto refused = [](Algorithm algorithm, int power) {
        return message_of<InvalidParametersException>(Form::message, [&] { Lemniscate(algorithm, power); });
    };
    EXPECT_EQ(refused(Algorithm::gauss, -1), "(Power = -1) is not supported for (Algorithm = gauss).");
    EXPECT_EQ(refused(Algorithm::sebah, -1), "(Power = -1) is not supported for (Algorithm = sebah).");
    for (const Algorithm algorithm : kAlgorithms) EXPECT_EQ(refused(algorithm, 2), "Power must be 1 or -1.");
    try {
        Lemniscate(static_cast<Algorithm>(3)).make_evaluator({100, 1});
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "FormulaS_Lemniscate::run()");
        EXPECT_EQ(e.message, "Invalid Algorithm");
    }
}

std::string said(Algorithm algorithm) {
    EvaluatorRun run(Lemniscate(algorithm), 55, 1);
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    run.value(status);
    const std::string time = "Time:<number> seconds  (<number> minutes )\n";
    std::string text = without_numbers_behind(" seconds  (", without_numbers_behind("Time:", console.take()));
    for (std::size_t at = text.find(time); at != std::string::npos; at = text.find(time)) {
        text.replace(at, time.size(), "; ");
    }
    return text;
}

TEST(LemniscateTest, StepsAreAnnounced) {
    // Pi or the mean comes first, whichever takes more.
    const std::string mean = "InvSqrt(2)...\n; AGM(1,x)...\n; ";
    const std::string pi =
        "Pi - Chudnovsky (1988):\nSeries CommonP2B3...  79 terms  (Expansion Factor = "
        "1.473)\n; Finishing Series\n; Large Division...\n; InvSqrt(10005)...\n; "
        "Large Multiply...\n; Small Multiply...\n; ";
    const std::string said_of_agm_pi = said(Algorithm::agm_pi), begin = "Lemniscate - AGM-Pi\n",
                      end = "Large Division...\n; ";
    EXPECT_TRUE(said_of_agm_pi == begin + mean + pi + end || said_of_agm_pi == begin + pi + mean + end)
        << said_of_agm_pi;
    const std::string finish = "; Finishing Series\n; Large Division...\n; ";
    std::string gauss = said(Algorithm::gauss), sebah = said(Algorithm::sebah);
    EXPECT_EQ(gauss.find("Lemniscate - Gauss\n8 ArcSinlemn( 1/2 ):\nSeries CommonP2B3...  "), 0u) << gauss;
    EXPECT_NE(gauss.find(finish + "4 ArcSinlemn( 7/23 ):\nSeries CommonP2B3...  "), std::string::npos)
        << gauss;
    EXPECT_NE(gauss.find(finish + "Accumulate...\n; "), std::string::npos) << gauss;
    EXPECT_EQ(sebah.find("Lemniscate - Sebah\n8 ArcSinlemn( 2/3 ):\nSeries CommonP2B3...  "), 0u) << sebah;
    EXPECT_NE(sebah.find(finish + "-4 ArcSinlemn( 7/137 ):\nSeries CommonP2B3...  "), std::string::npos)
        << sebah;
}

TEST(LemniscateTest, PhasesAndBlocks) {
    const auto phases = [](Algorithm algorithm) {
        std::string names;
        for (const trel::WorkPhase& phase : Lemniscate(algorithm).make_evaluator({60, 1})->work())
            names += phase.name + ";";
        return names;
    };
    const std::string mean = "square root;mean;", pi = "series;division;square root;multiplication;";
    const std::string of_agm_pi = phases(Algorithm::agm_pi);
    EXPECT_TRUE(of_agm_pi == mean + pi + "division;" || of_agm_pi == pi + mean + "division;") << of_agm_pi;
    EXPECT_EQ(phases(Algorithm::gauss), "series;division;series;division;");
    EXPECT_GE(Lemniscate(Algorithm::gauss).make_evaluator({60, 1})->series_blocks().all, 2u);
}

// 8 bytes a digit.
TEST(LemniscateTest, Memory) {
    const u64 p = 519054;
    const auto evaluator = Lemniscate(Algorithm::agm_pi).make_evaluator({p, 1});
    const u64 bytes = evaluator->needs().bytes + 8 * evaluator->needs().result_words;
    EXPECT_LT(static_cast<double>(bytes), 8.0 * 1e7);
}

TEST(ArcSinlemnTest, RationalArguments) {
    const struct {
        Word c, x, y;
    } cases[] = {{1, 1, 2}, {1, 3, 4}, {5, 1, 65535}, {12345, 49151, 65535}, {~Word(0), 1, 3}};
    for (const auto& [c, x, y] : cases) {
        for (const u64 p : {3, 4, 7, 20, 100}) {
            const mpz_class want = arcsinlemn(c, x, y, p + kReferenceWords);
            expect_value(ArcSinlemn(c, x, y), p, 2, want,
                         std::to_string(x) + "/" + std::to_string(y) + " p=" + std::to_string(p));
            if (HasFatalFailure()) return;
        }
    }
}

// Of any sign, and inverted in the one division that ends the series.
TEST(ArcSinlemnTest, SignsAndInverses) {
    for (const u64 p : {3, 20, 100}) {
        const mpz_class value = arcsinlemn(12, 3, 4, p + kReferenceWords + 2);
        const mpz_class one = reference::shifted(1, static_cast<i64>(2 * (p + kReferenceWords + 2)));
        expect_value(ArcSinlemn(12, 3, 4, -1), p, 2, reference::shifted(one / value, -2), "inverse");
        for (const i64 power : {1, -1}) {
            EvaluatorRun plus(ArcSinlemn(12, 3, 4, power), p, 1), minus(ArcSinlemn(-12, 3, 4, power), p, 1);
            const trel::BigFloat x = plus.value(), y = minus.value();
            EXPECT_TRUE(x.sign);
            EXPECT_FALSE(y.sign);
            const i64 bottom = -static_cast<i64>(p + kReferenceWords);
            EXPECT_EQ(reference::magnitude_at(x, bottom), reference::magnitude_at(y, bottom));
            EXPECT_EQ(plus.evaluator->work().size(), 2u);
        }
    }
    EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [] { ArcSinlemn(1, 1, 2, 2); }),
              "Power must be 1 or -1.");
}

TEST(ArcSinlemnTest, Labels) {
    EXPECT_EQ(ArcSinlemn(1, 1, 2).label(), "ArcSinlemn(  1/2 ):");
    EXPECT_EQ(ArcSinlemn(-1, 1, 2).label(), "- ArcSinlemn(  1/2 ):");
    EXPECT_EQ(ArcSinlemn(8, 1, 2).label(), "8 ArcSinlemn( 1/2 ):");
    EXPECT_EQ(ArcSinlemn(-4, 7, 137).label(), "-4 ArcSinlemn( 7/137 ):");
    EXPECT_EQ(ArcSinlemn(~Word(0), 1, 3).label(), "18446744073709551615 ArcSinlemn( 1/3 ):");
}

// The first omitted term is below the precision, and numbers of terms around the thresholds of leaves are
// met.
TEST(ArcSinlemnTest, TermCounts) {
    for (const auto& [x, y] : {std::pair<Word, Word>{1, 2}, {2, 3}, {7, 23}, {7, 137}, {3, 4}, {1, 65535}}) {
        const ArcSinlemnArgument argument(x, y);
        for (u64 p = 1; p <= 200; p++) {
            const u64 terms = ArcSinlemnSeries::term_count(argument, p);
            const double first =
                static_cast<double>(terms) * 4 * std::log(static_cast<double>(y) / static_cast<double>(x));
            EXPECT_GT(first, 64 * std::log(2.0) * static_cast<double>(p));
            EXPECT_LT(first, 64 * std::log(2.0) * static_cast<double>(p) + 2.1 * argument.gain.high);
        }
    }
}

TEST(ArcSinlemnTest, Refusals) {
    const auto refused = [](Word c, Word x, Word y) {
        return message_of<InvalidParametersException>(Form::message, [&] { ArcSinlemn(c, x, y); });
    };
    EXPECT_EQ(refused(1, 65536, 65536), "x^4 does not fit into a machine word.");
    EXPECT_EQ(refused(1, ~Word(0), 1), "x^4 does not fit into a machine word.");
    EXPECT_EQ(refused(1, 65535, 65536), "y^4 does not fit into a machine word.");
    EXPECT_EQ(refused(1, 4, 5), "Convergence is too slow: N / D < 0.75");
    EXPECT_EQ(refused(1, 49152, 65535), "Convergence is too slow: N / D < 0.75");
    EXPECT_EQ(refused(1, 3, 0), "Convergence is too slow: N / D < 0.75");
    EXPECT_EQ(refused(Word(1) << 63, 2, 3), "x * coef does not fit into a machine word.");
    EXPECT_EQ(refused(0, 2, 3), "CoefficientP cannot be zero.");
    EXPECT_NO_THROW(ArcSinlemn(1, 3, 4));
    EXPECT_NO_THROW(ArcSinlemn(~Word(0), 1, 3));
}

// A leaf's numbers by their definition, also far out, where products of words are longest.
TEST(ArcSinlemnTest, Terms) {
    const ArcSinlemnSeries series(ArcSinlemnArgument(49151, 65535), 100);
    for (const u64 k : {u64(1), u64(2), u64(1000), (u64(1) << 51) - 1, u64(1) << 51}) {
        Word words[3][3];
        trel::BasicIntR P(words[0], 3), Q(words[1], 3), R(words[2], 3);
        series.term(k, P, Q, R);
        const mpz_class z = reference::to_mpz(&k, 1);
        mpz_class x4, y4;
        mpz_ui_pow_ui(x4.get_mpz_t(), 49151, 4);
        mpz_ui_pow_ui(y4.get_mpz_t(), 65535, 4);
        EXPECT_EQ(reference::to_mpz(R.T, R.L), mpz_class((2 * z - 1) * (4 * z - 3) * x4));
        EXPECT_EQ(reference::to_mpz(P.T, P.L), reference::to_mpz(R.T, R.L));
        EXPECT_EQ(reference::to_mpz(Q.T, Q.L), mpz_class(2 * z * (4 * z + 1) * y4));
        EXPECT_EQ(Q.residue, trel::goldilocks::of_words(Q.T, Q.L));
    }
}

}  // namespace
