// zeta(3) and Catalan's constant by every series of theirs: values, what a run says, memory.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <functional>
#include <map>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/builtin/built_in_series.h"
#include "constants/builtin/catalan.h"
#include "constants/builtin/huvent_series.h"
#include "constants/builtin/zeta3.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/masked.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using kalvor_test::without_numbers_behind;
using trel::BigFloat;
using trel::InvalidParametersException;
using trel::u64;
using trel::Word;

namespace {

// floor(x^power 2^(64 words))
mpz_class constant(bool zeta3, int power, u64 words) {
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(64 * words + 128));
    zeta3 ? mpfr_zeta_ui(x, 3, MPFR_RNDN) : mpfr_const_catalan(x, MPFR_RNDN);
    if (power < 0) mpfr_ui_div(x, 1, x, MPFR_RNDN);
    mpfr_mul_2ui(x, x, 64 * words, MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    return z;
}

// Every row of the two constants.
struct Road {
    std::string title, family;
    u64 terms;  // at 55 words
    bool zeta3;
    std::function<std::unique_ptr<EvaluatorFactory>(int power)> make;
    std::string name() const { return title; }
};

std::vector<Road> roads() {
    std::vector<Road> list;
    const auto add = [&](const BuiltInSeries& row, bool zeta3, auto make) {
        list.push_back({row.name, "CommonP2B3", built_in_terms(row.gain, 55), zeta3, make});
    };
    for (u64 i = 0; i < zeta3_series().size(); i++) {
        add(zeta3_series()[i], true,
            [i](int power) { return std::make_unique<Zeta3>(static_cast<Zeta3Algorithm>(i), power); });
    }
    for (u64 i = 0; i < catalan_series().size(); i++) {
        add(catalan_series()[i], false,
            [i](int power) { return std::make_unique<Catalan>(static_cast<CatalanAlgorithm>(i), power); });
    }
    list.push_back({"Huvent (2006)", "BinaryBBP", HuventSeries(55).terms(), false,
                    [](int power) { return std::make_unique<Catalan>(CatalanAlgorithm::huvent, power); }});
    return list;
}

// Odd and even numbers of terms, one block and several, numbers of any small length.
TEST(Zeta3CatalanTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p += p < 60 ? 1 : kalvor_test::thinned(7)) {
        std::map<std::pair<bool, int>, mpz_class> want;
        for (const bool zeta3 : {false, true}) {
            for (const int power : {1, -1})
                want[{zeta3, power}] = constant(zeta3, power, p + kReferenceWords);
        }
        for (const Road& road : roads()) {
            for (const int power : {1, -1}) {
                expect_value(*road.make(power), p, 1 + p % 3, want[{road.zeta3, power}],
                             road.name() + " p=" + std::to_string(p) + " power=" + std::to_string(power));
                if (HasFatalFailure()) return;
            }
        }
    }
}

// mpfr_zeta_ui() multiplies integers that grow with the precision as unsigned long, and where that has 32
// bits they overflow at 2600 words. There the last series of zeta(3) is the reference of them all.
mpz_class zeta3_reference(u64 words) {
    if (sizeof(unsigned long) >= sizeof(u64) || words < 2000) return constant(true, 1, words);
    EvaluatorRun run(Zeta3(Zeta3Algorithm::amdeberhan_zeilberger, 1), words + 2, 1);
    return reference::magnitude_at(run.value(), -static_cast<i64>(words));
}

// 10,000 digits and more, by one, two and seven tasks.
TEST(Zeta3CatalanTest, TenThousandDigitsAndMore) {
    for (const u64 p : {521u, 523u, 1300 / kalvor_test::thinned(2), 2600 / kalvor_test::thinned(4)}) {
        const mpz_class zeta3 = zeta3_reference(p + kReferenceWords),
                        catalan = constant(false, 1, p + kReferenceWords);
        for (const Road& road : roads()) {
            for (const u64 tds : {1, 2, 7}) {
                expect_value(*road.make(1), p, tds, road.zeta3 ? zeta3 : catalan,
                             road.name() + " p=" + std::to_string(p) + " tds=" + std::to_string(tds));
                if (HasFatalFailure()) return;
            }
        }
    }
}

// floor(x 2^(64 (p - 1))), which all roads agree on unless the words end in zeros or ones.
mpz_class words_of_value(const Road& road, u64 p, u64 tds) {
    EvaluatorRun run(*road.make(1), p, tds);
    const BigFloat x = run.value();
    EXPECT_TRUE(run.result.guards_intact() && run.working.guards_intact()) << road.name();
    return reference::magnitude_at(x, 1 - static_cast<i64>(p));
}

TEST(SlowZeta3CatalanTest, ZetaToAHundredThousandDigits) {
    const u64 p = 5193;
    const mpz_class want = constant(true, 1, p + kReferenceWords);
    for (const Road& road : roads()) {
        if (!road.zeta3) continue;
        for (const u64 tds : {1, 2, 7}) expect_value(*road.make(1), p, tds, want, road.name());
    }
}

TEST(SlowZeta3CatalanTest, InversesToAHundredThousandDigits) {
    const u64 p = 5193;
    const mpz_class zeta3 = constant(true, -1, p + kReferenceWords),
                    catalan = constant(false, -1, p + kReferenceWords);
    for (const Road& road : roads())
        expect_value(*road.make(-1), p, 2, road.zeta3 ? zeta3 : catalan, road.name());
}

TEST(SlowZeta3CatalanTest, AMillionDigits) {
    const u64 p = 51908;
    const mpz_class catalan = constant(false, 1, p + kReferenceWords);
    const std::vector<Road> all = roads();
    for (const Road& road : all) {
        if (!road.zeta3) expect_value(*road.make(1), p, 2, catalan, road.name());
    }
    // Two series that share nothing but Newton's division.
    EXPECT_EQ(words_of_value(all[0], p, 1), words_of_value(all[1], p, 2));
}

TEST(Zeta3CatalanTest, Powers) {
    for (const int power : {0, 2, -2}) {
        const auto refused = [](auto&& make) {
            try {
                make();
            } catch (const InvalidParametersException& e) {
                return e.function + ": " + e.message;
            }
            return std::string();
        };
        EXPECT_EQ(refused([&] { Zeta3(Zeta3Algorithm::wedeniwski, power); }),
                  "Zeta3: Power must be 1 or -1.");
        EXPECT_EQ(refused([&] { Catalan(CatalanAlgorithm::lupas, power); }),
                  "Catalan: Power must be 1 or -1.");
    }
}

TEST(Zeta3CatalanTest, StepsAreAnnounced) {
    const char* const labels[] = {
        "Zeta(3) - Wedeniwski (1998):",      "Zeta(3) - Amdeberhan-Zeilberger (1997):",
        "Catalan - Pilehrood (2010-short):", "Catalan - Guillera (2019):",
        "Catalan - Pilehrood (2010-long):",  "Catalan - Guillera (2008):",
        "Catalan - Lupas (2000):",           "Catalan - Huvent (2006):"};
    const std::string time = "Time:<number> seconds  (<number> minutes )\n";
    const char* const* label = labels;
    for (const Road& road : roads()) {
        EvaluatorRun run(*road.make(1), 55, 1);
        EXPECT_EQ(run.evaluator->label(), *label);
        CaptureConsole console;
        trel::LinearConsoleNode status(79, 1.0);
        run.value(status);
        const std::string got = without_numbers_behind(
            " seconds  (",
            without_numbers_behind("Time:", without_numbers_behind("Factor =", console.take())));
        std::string grouped = std::to_string(road.terms);
        if (grouped.size() > 3) grouped.insert(grouped.size() - 3, ",");
        EXPECT_EQ(got, *label++ + std::string("\nSeries ") + road.family + "...  " + grouped +
                           " terms  (Expansion Factor =<number>)\n" + time + "Finishing Series\n" + time +
                           "Large Division...\n" + time);
        std::string phases;
        for (const trel::WorkPhase& phase : run.evaluator->work()) phases += phase.name + ";";
        EXPECT_EQ(phases, "series;division;");
        EXPECT_GE(run.evaluator->series_blocks().all, 1u);
    }
}

// Bytes a digit at ten million, with the value: for zeta(3) and the first series of Catalan's constant, and
// for the others.
TEST(Zeta3CatalanTest, Memory) {
    const u64 p = 519054;
    for (const Road& road : roads()) {
        const auto evaluator = road.make(1)->make_evaluator({p, 1});
        const double bytes =
            static_cast<double>(evaluator->needs().bytes + 8 * evaluator->needs().result_words);
        const bool lupas = road.name() == "Lupas (2000)";
        EXPECT_LT(bytes, (lupas ? 6.59 : 6.3) * 1e7) << road.name();
    }
}

// At a million and a hundred thousand, where leaves of thousands of terms are a good part of it.
TEST(Zeta3CatalanTest, MemoryOfFewerDigits) {
    for (const Road& road : roads()) {
        for (const u64 p : {5193, 51906}) {
            const auto evaluator = road.make(1)->make_evaluator({p, 1});
            const double bytes =
                static_cast<double>(evaluator->needs().bytes + 8 * evaluator->needs().result_words);
            EXPECT_LT(bytes, (p == 5193 ? 22 : 6.8) * static_cast<double>(p) * 64 / 3.3219) << road.name();
        }
    }
}

}  // namespace
