#include "constants/builtin/log_machin.h"

#include <gtest/gtest.h>
#include <mpfr.h>

#include <map>
#include <mutex>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/builtin/log_formula.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/masked.h"
#include "support/threads.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using kalvor_test::without_numbers_behind;
using trel::u64;

namespace {

constexpr LogFormulaKind kKinds[] = {LogFormulaKind::primary, LogFormulaKind::secondary};
constexpr u64 kArguments[] = {2, 3, 10, 11, 97, 251, 257, 1000003, 2147483647};

// floor(ln x 2^(64 words))
mpz_class logarithm(u64 x, u64 words) {
    mpfr_t y;
    mpfr_init2(y, static_cast<mpfr_prec_t>(64 * words + 128));
    mpfr_log_ui(y, static_cast<unsigned long>(x), MPFR_RNDN);
    mpfr_mul_2ui(y, y, static_cast<unsigned long>(64 * words), MPFR_RNDN);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), y, MPFR_RNDD);
    mpfr_clear(y);
    return z;
}

std::string name(u64 x, LogFormulaKind kind, u64 p, u64 tds) {
    return "log(" + std::to_string(x) + ") " + (kind == LogFormulaKind::primary ? "primary" : "secondary") +
           " p=" + std::to_string(p) + " tds=" + std::to_string(tds);
}

const LogFormula& formula_of(u64 x, LogFormulaKind kind) {
    static std::map<u64, GeneratedLogFormulas> known;
    const auto found = known.find(x);
    if (found != known.end()) return found->second.of(kind).formula;
    return known.emplace(x, generate_log_formulas(x)).first->second.of(kind).formula;
}

void expect_both(u64 x, u64 p, u64 tds) {
    const mpz_class want = logarithm(x, p + kReferenceWords);
    for (const LogFormulaKind kind : kKinds) {
        expect_value(LogMachin(x, formula_of(x, kind)), p, tds, want, name(x, kind, p, tds));
        if (testing::Test::HasFatalFailure()) return;
    }
}

TEST(LogMachinTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p += p < 40 ? 1 : kalvor_test::thinned(7)) {
        for (const u64 x : {u64(2), kArguments[p % 9]}) {
            expect_both(x, p, 1 + p % 3);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(LogMachinTest, ThousandsOfDigits) {
    for (const u64 x : kArguments) {
        for (const u64 p : {7, 54, 521}) {
            for (const u64 tds : {1, 2, 7}) {
                expect_both(x, p, tds);
                if (HasFatalFailure()) return;
            }
        }
    }
    for (const u64 tds : {1, 7}) expect_both(10, 5193, tds);
}

TEST(SlowLogMachinTest, AHundredThousandDigitsAndAMillion) {
    for (const u64 x : kArguments) expect_both(x, 5193, 2);
    for (const u64 x : {2, 10, 1000003}) expect_both(x, 51908, 2);
}

// Tasks split ranges that one task would do as a leaf.
TEST(LogMachinTest, ManyTasks) {
    for (const u64 p : {54, 700}) {
        expect_both(2, p, 16);
        expect_both(2, p, 64);
        if (HasFatalFailure()) return;
    }
}

// A formula may begin with a term that is smaller than the next one, of the other sign.
TEST(LogMachinTest, TermsInAnyOrder) {
    const LogFormula turned{{{-2, 4801}, {8, 8749}, {18, 26}}};
    const LogFormula small{{{-38, 4801}, {144, 251}, {62, 8749}, {54, 449}}};
    for (const u64 p : {3, 4, 20, 200}) {
        const mpz_class want = logarithm(2, p + kReferenceWords);
        expect_value(LogMachin(2, turned), p, 1, want, "turned");
        expect_value(LogMachin(2, small), p, 2, want, "small");
    }
}

std::string said(u64 x, const LogFormula& formula) {
    EvaluatorRun run(LogMachin(x, formula), 55, 1);
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

TEST(LogMachinTest, StepsAreAnnounced) {
    const std::string two = said(2, formula_of(2, LogFormulaKind::primary));
    const std::string finish = "; Finishing Series\n; Large Division...\n; ";
    EXPECT_EQ(two.find("Log( 2 )\n18 ArcCoth( 26 ):\nSeries CommonP2B3...  376 terms  (Expansion Factor = "),
              0u)
        << two;
    EXPECT_NE(two.find(finish + "-2 ArcCoth( 4801 ):\nSeries CommonP2B3...  "), std::string::npos) << two;
    EXPECT_NE(two.find(finish + "Accumulate...\n; 8 ArcCoth( 8749 ):\n"), std::string::npos) << two;
    const std::string units = said(2, LogFormula{{{1, 26}, {-1, 4801}}});
    EXPECT_NE(units.find("\nArcCoth( 26 ):\n"), std::string::npos) << units;
    EXPECT_NE(units.find("; - ArcCoth( 4801 ):\n"), std::string::npos) << units;
}

TEST(LogMachinTest, PhasesAndBlocks) {
    const auto evaluator = LogMachin(2).make_evaluator({60, 1});
    std::string names;
    for (const trel::WorkPhase& phase : evaluator->work()) names += phase.name + ";";
    EXPECT_EQ(names, "series;division;series;division;series;division;");
    EXPECT_GE(evaluator->series_blocks().all, 3u);
    EXPECT_EQ(evaluator->label(), "Log( 2 )");
}

TEST(LogMachinTest, NoTerms) {
    EvaluatorRun run(LogMachin(1), 10, 1);
    EXPECT_EQ(run.value().L, 0u);
    EXPECT_TRUE(run.error.exact);
}

// Changes a bit of the n-th piece that a stage of this name hands over.
class Flip final : public trel::ComputationStages {
  public:
    Flip(std::string name, u64 n) : name_(std::move(name)), n_(n) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (stage != name_ || bytes == 0) return;
        const std::lock_guard lock(mutex_);
        if (count++ == n_) static_cast<trel::u8*>(memory)[(n_ * 37) % bytes] ^= 4;
    }
    u64 count = 0;

  private:
    const std::string name_;
    const u64 n_;
    std::mutex mutex_;
};

// A flipped bit in the factors or in the result of a leaf, in a merge's result, or in a block that waits: the
// value is the right one, because the range was done again, or an exception ends the run.
TEST(LogMachinTest, FlippedBitsNeverComeOut) {
    constexpr u64 kPrecision = 3000;
    const auto compute = [&](Flip& flip, u64& corrected) -> std::vector<trel::Word> {
        EvaluatorRun run(LogMachin(2, formula_of(2, LogFormulaKind::primary)), kPrecision, 1);
        trel::RunMonitor monitor;
        monitor.stages = &flip;
        trel::BigFloat x(run.result.words(), run.evaluator->needs().result_words);
        try {
            (void)run.evaluator->run({{thread_framework(), 1, &monitor}, run.working.view(), nullptr},
                                     trel::null_status(), x);
        } catch (const trel::StringException&) {
            corrected = 0;
            return {};
        }
        corrected = monitor.checks.corrected;
        return {x.T, x.T + x.L};
    };
    u64 corrected = 0, mended = 0, ended = 0;
    for (const char* name : {"sieve", "piece", "rest", "block", "sum"}) {
        Flip none(name, ~u64(0));
        const std::vector<trel::Word> right = compute(none, corrected);
        ASSERT_GT(none.count, 2u) << name;
        for (u64 i = 0; i < 12; i += kalvor_test::thinned(3)) {
            Flip flip(name, i * none.count / 12);
            const std::vector<trel::Word> got = compute(flip, corrected);
            if (got.empty()) {
                ended++;
                continue;
            }
            ASSERT_EQ(got, right) << name << " " << i;
            EXPECT_GE(corrected, 1u) << name << " " << i;
            mended++;
        }
    }
    EXPECT_GT(mended, 10u);
    EXPECT_GT(mended + ended, 40 / kalvor_test::thinned(3));
}

// Tasks do not cut leaves, whose numbers would be longer then.
TEST(LogMachinTest, ManyTasksTakeLittleMoreMemory) {
    for (const u64 words : {u64(519053), u64(5190513)}) {
        const u64 one = LogMachin(2).make_evaluator({words, 1})->needs().bytes;
        for (const u64 tds : {2, 64})
            EXPECT_LE(static_cast<double>(LogMachin(2).make_evaluator({words, tds})->needs().bytes),
                      1.3 * static_cast<double>(one))
                << words << " " << tds;
    }
}

}  // namespace
