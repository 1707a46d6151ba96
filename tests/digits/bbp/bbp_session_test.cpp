#include "digits/bbp/bbp_session.h"

#include <gtest/gtest.h>

#include <regex>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "os/cpu.h"
#include "reference/bbp_reference.h"
#include "support/capture_console.h"

namespace kalvor::BBPv2 {
namespace {

using trel::u64;

BBPSettings settings(u64 formula, u64 offset, u64 digits) {
    BBPSettings s;
    s.formula = formula;
    s.offset = offset;
    s.digits = digits;
    s.threads = 2;
    s.pin_threads = false;
    return s;
}

// What a run prints; dates and times are named instead.
std::string printed(BBPSession& session, bool colors, u64 (*ticks)() = trel::os::performance_counter) {
    CaptureConsole console(colors ? CaptureConsole::terminal : CaptureConsole::redirected, colors);
    trel::LinearConsoleNode status(79, 0.1);
    trel::RunMonitor monitor;
    session.run(status, monitor, {.ticks = ticks});
    std::string text = console.take();
    text = std::regex_replace(text, std::regex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9:]+"), "<date>");
    return std::regex_replace(text, std::regex("[0-9.]+ seconds  \\( [0-9.]+ minutes \\)"), "<time>");
}

TEST(BbpSessionTest, Defaults) {
    const BBPSession session;
    const BBPSettings& s = session.settings();
    EXPECT_EQ(s.formula, 0u);
    EXPECT_EQ(s.offset, 1000000000u);
    EXPECT_EQ(s.digits, 32u);
    EXPECT_EQ(s.threads, trel::os::usable_processor_count());
    EXPECT_TRUE(s.pin_threads);
    EXPECT_EQ(s.modes, Modes{});
    EXPECT_EQ(session.figures().terms, 1000000048u);
    EXPECT_EQ(session.cannot_start(), "");
}

TEST(BbpSessionTest, RunOfTheOriginalFormula) {
    BBPSession session(settings(kOriginalBbp, 0, 8));
    EXPECT_EQ(printed(session, false),
              "Formula:  Original 4-term BBP\n"
              "\n"
              "Hexadecimal Offset: 0\n"
              "Digits to Compute: 8\n"
              "Threads: 2\n"
              "Terms Needed: 24\n"
              "Internal Precision: 24 Hexadecimal Digits\n"
              "\n"
              "Start Time: <date>\n"
              "\n"
              "Frac( 1/(8k + 1) * 2^(-4k + 2) )\n"
              "Frac( 1/(2k + 1) * 2^(-4k + -1) )\n"
              "Frac( 1/(8k + 5) * 2^(-4k + 0) )\n"
              "Frac( 1/(4k + 3) * 2^(-4k + -1) )\n"
              "\n"
              "End Time: <date>\n"
              "Total Time:     <time>\n"
              "\n"
              "Hexadecimal Digits starting from: 16^-1\n"
              "\n"
              "  243F6A88 85A308D3 13198A40\n"
              "\n"
              "Green = Requested digits that should be correct.\n"
              "Red   = Extra working precision. May not be correct.\n"
              "\n");
}

// Groups, lines, and the colours at the boundary.
TEST(BbpSessionTest, DigitsAndColors) {
    BBPSession session(settings(kBellardBbp, 16, 60));
    const std::string text = printed(session, true);
    const std::string shown =
        "{w}Hexadecimal Digits starting from: 16^-{w}17{w}\n"
        "\n"
        "{w}  {G}13198A2E{w} {G}03707344{w} {G}A4093822{w} {G}299F31D0{w} {G}082EFA98{w} {G}EC4E6C89{w} "
        "{G}452821E6{w} {G}38D0{R}1377{w}\n";
    EXPECT_NE(text.find(shown), std::string::npos) << text;
    EXPECT_NE(text.find("{w}  {R}BE5466CF{w} {R}34E9"), std::string::npos) << text;
    EXPECT_NE(text.find("{G}Green{w} = Requested digits that should be correct.{w}\n"
                        "{R}Red  {w} = Extra working precision. May not be correct.{w}\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Summing...  "), std::string::npos);
    EXPECT_NE(text.find("100.000000 %"), std::string::npos);
    EXPECT_DOUBLE_EQ(session.percent_done(), 100);
}

TEST(BbpSessionTest, PinnedThreadsAndMissingClock) {
    BBPSettings s = settings(kOriginalBbp, 1000, 8);
    s.pin_threads = true;
    BBPSession session(s);
    const std::string text = printed(session, false, [] { return u64(0); });
    EXPECT_NE(text.find("\nThreads: 2   (pinned to cores)\n"), std::string::npos);
    EXPECT_NE(text.find("\nUnable to get CPU Clock.\n"), std::string::npos);
    EXPECT_EQ(text.find("Total Time"), std::string::npos);
    EXPECT_NE(text.find("16^-1001\n\n  49F1C09B "), std::string::npos);
}

// All bits of the total, with the signs of the sub-sums.
TEST(BbpSessionTest, TotalIsTheModelsOwn) {
    for (u64 number = 0; number < kFormulas; number++) {
        for (const u64 offset : {0, 1, 16, 1000}) {
            for (const u64 digits : {8, 32, 33, 1000}) {
                BBPSession session(settings(number, offset, digits));
                printed(session, false);
                const Figures& f = session.figures();
                mpz_class want;
                for (const SubSum& at_0 : formula(number).sub_sums) {
                    const mpz_class part =
                        reference::bbp_sum(at_offset(at_0, offset), 0, f.terms, 48 * f.limbs);
                    want += at_0.negative ? mpz_class(-part) : part;
                }
                mpz_fdiv_r_2exp(want.get_mpz_t(), want.get_mpz_t(), 48 * f.limbs);
                EXPECT_TRUE(reference::mpz_of_limbs(session.total().limbs()) == want)
                    << number << " " << offset << " " << digits;
            }
        }
    }
}

// Printed by a model of its own, in another language.
TEST(BbpSessionTest, TotalsOfTheModel) {
    const struct {
        u64 formula, offset, digits;
        const char* total;
    } rows[] = {
        {0, 0, 8, "243F6A8885A308D313198A40"},
        {0, 1, 32, "43F6A8885A308D313198A2E03707344A4093822299F31D30"},
        {0, 16, 33, "13198A2E03707344A4093822299F31D0082EFA98EC4E6C894527E4AD1F5E"},
        {0, 1000, 33, "49F1C09B075372C980991B7B25D479D8F6E8DEF7E3FE501AB6794BFEABE1"},
        {1, 0, 32, "243F6A8885A308D313198A2E03707344A4093822299F31D1"},
        {1, 1, 8, "43F6A8885A308D313198A2DD"},
        {1, 16, 33, "13198A2E03707344A4093822299F31D0082EFA98EC4E6C89452821E4BFCF"},
        {1, 1000, 8, "49F1C09B075372C980991B88"},
        {1, 1000, 32, "49F1C09B075372C980991B7B25D479D8F6E8DEF7E3FE5034"},
    };
    for (const auto& row : rows) {
        BBPSession session(settings(row.formula, row.offset, row.digits));
        printed(session, false);
        EXPECT_EQ(session.total().hexadecimal(12 * session.figures().limbs), row.total);
    }
}

TEST(BbpSessionTest, CannotStart) {
    BBPSettings s = settings(kOriginalBbp, kMaxOffset, 8);
    const auto refused = [&](Modes modes) {
        s.modes = modes;
        BBPSession session(s);
        return session.cannot_start();
    };
    EXPECT_EQ(refused({}), "Cannot Start: Divisor exceeds limit of 2^61 - 1.");
    EXPECT_EQ(refused({{true, true, false}}), "Cannot Start: Divisor exceeds limit of 2^51 - 1.");
    EXPECT_EQ(refused({{true, false, false}}), "Cannot Start: Divisor exceeds limit of 2^49 - 1.");
    EXPECT_EQ(refused({{false, false, false}}), "Cannot Start: No modes enabled.");
    s.offset = 70368744177663 - 24;
    EXPECT_EQ(refused({{true, false, false}}), "");
    s.offset++;
    EXPECT_EQ(refused({{true, false, false}}), "Cannot Start: Divisor exceeds limit of 2^49 - 1.");
    EXPECT_EQ(refused({}), "");
    BBPSession session(settings(kOriginalBbp, kMaxOffset, 8));
    EXPECT_THROW(printed(session, false), trel::InvalidParametersException);
    s.formula = 2;
    EXPECT_THROW(session.update_settings(s), trel::InvalidParametersException);
    EXPECT_EQ(session.settings().offset, kMaxOffset);
}

// Every sub-sum starts its own workers; the run has one warning.
TEST(BbpSessionTest, PinningRefusedIsOneWarningOfTheRun) {
    BBPSettings s = settings(kBellardBbp, 1000, 8);
    s.pin_threads = true;
    BBPSession session(s);
    for (int round = 0; round < 2; round++) {
        CaptureConsole console;
        trel::LinearConsoleNode status(79, 0.1);
        trel::RunMonitor monitor;
        session.run(status, monitor, {.set_affinity = [](const std::vector<trel::u32>&) {
                        return trel::os::OsError{1, trel::os::ErrorCategory::other};
                    }});
        const std::string text = console.take(), warning = "Failed to set thread affinity.";
        const std::size_t first = text.find(warning);
        ASSERT_NE(first, std::string::npos);
        EXPECT_EQ(text.find(warning, first + 1), std::string::npos);
        EXPECT_NE(text.find("16^-1001\n\n  49F1C09B "), std::string::npos);
    }
}

TEST(BbpSessionTest, DigitsForOthersAreRefusedBeforeTheyAreSummed) {
    trel::RunMonitor monitor;
    const auto message = [&](u64 offset, Modes modes) {
        try {
            return pi_digits(kBellardBbp, offset, 8, {2, {}, modes}, monitor);
        } catch (const trel::InvalidParametersException& e) {
            return e.function + "|" + e.message;
        }
    };
    const std::string at = "BBPv2::pi_digits()|";
    EXPECT_EQ(message(1000, {}), "49F1C09B");
    EXPECT_EQ(message(kMaxOffset, {}), at + "Cannot Start: Divisor exceeds limit of 2^61 - 1.");
    EXPECT_EQ(message(kMaxOffset + 1, {}), at + "The offset is too large.");
    EXPECT_EQ(message(1000, {{false, false, false}}), at + "Cannot Start: No modes enabled.");
}

TEST(BbpSessionTest, NoTotalWithoutARunThatEnded) {
    BBPSession session(settings(kBellardBbp, 1000, 8));
    EXPECT_THROW((void)session.total(), trel::InvalidParametersException);
    printed(session, false);
    EXPECT_NO_THROW((void)session.total());
    trel::RunMonitor monitor;
    monitor.stop.request();
    EXPECT_THROW(session.run(trel::null_status(), monitor), trel::RunStopped);
    EXPECT_THROW((void)session.total(), trel::InvalidParametersException);
}

// Stopped when the fourth of four sub-sums begins.
TEST(BbpSessionTest, AStoppedRunTellsItsPercentage) {
    static int sub_sums;
    static trel::RunMonitor* run;
    BBPSettings s = settings(kOriginalBbp, 20000, 8);
    s.threads = 1;
    s.pin_threads = true;
    BBPSession session(s);
    trel::RunMonitor monitor;
    sub_sums = 0;
    run = &monitor;
    EXPECT_THROW(session.run(trel::null_status(), monitor,
                             {.set_affinity =
                                  [](const std::vector<trel::u32>&) {
                                      if (++sub_sums == 4) run->stop.request();
                                      return trel::os::OsError{};
                                  }}),
                 trel::RunStopped);
    EXPECT_GE(session.percent_done(), 75);
    EXPECT_LT(session.percent_done(), 80);
}

TEST(BbpSessionTest, AStoppedRunTellsHowFarItCame) {
    BBPSession session(settings(kBellardBbp, 1000000000, 32));
    trel::RunMonitor monitor;
    monitor.stop.request();
    EXPECT_THROW(session.run(trel::null_status(), monitor), trel::RunStopped);
    EXPECT_LT(session.percent_done(), 1);
}

}  // namespace
}  // namespace kalvor::BBPv2
