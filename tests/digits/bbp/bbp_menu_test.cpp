#include "digits/bbp/bbp_menu.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/columns.h"

namespace kalvor::BBPv2 {
namespace {

using trel::u64;

const std::string kBanner =
    "\n"
    "Kalvor BBP Pi Digit Extractor v2.1.16\n"
    "\n"
    "Tuning  -  Cannon Lake (x64 AVX512-VBMI)\n"
    "\n";
const std::string kOriginalDrawing =
    "         inf   1  (  4      2      1      1   )\n"
    "    Pi = SUM ---- ( ---- - ---- - ---- - ---- )\n"
    "         k=0 16^k ( 8k+1   8k+4   8k+5   8k+6 )\n";
const std::string kBellardDrawing =
    "         inf (-1)^k (   2^-1   2^-6    2^2      1     2^-4    2^-4    2^-6  )\n"
    "    Pi = SUM ------ ( - ---- - ---- + ----- - ----- - ----- - ----- + ----- )\n"
    "         k=0 1024^k (   4k+1   4k+3   10k+1   10k+3   10k+5   10k+7   10k+9 )\n";

std::string menu(const std::string& formula, const std::string& drawing, const std::string& figures,
                 const std::string& threads, const std::string& end) {
    return kBanner + "  1     Formula:  " + formula + "\n\n" + drawing + "\n" + figures + "\n" + threads +
           "\n" + end + "\n";
}
const std::string kFigures =
    "  2     Hexadecimal Offset:       1,000,000,000\n"
    "  3     Digits to Compute:        32\n"
    "        Internal Precision:       48 Hexadecimal Digits\n"
    "        Terms Needed:             1,000,000,048\n"
    "        Largest Divisor:          8,000,000,386\n";
std::string thread_lines(const std::string& threads, const std::string& pinned, const std::string& modes) {
    return "  4     Multi-Threading:          " + threads + "\n  5     Pin Threads to Cores:     " + pinned +
           "\n  6     Modes:                    " + modes + "\n";
}
const std::string kStart = "  0     Start Computation!\n";

BBPSettings two_threads() {
    BBPSettings s;
    s.threads = 2;
    return s;
}

// What is shown until the typed lines have come to their end.
std::string shown(std::initializer_list<std::string> typed, bool colors = false) {
    CaptureConsole console(colors ? CaptureConsole::terminal : CaptureConsole::redirected, colors);
    console.type(typed);
    EXPECT_THROW(run_bbp_menu(two_threads()), trel::EndOfStreamException);
    return console.take();
}

TEST(BbpMenuTest, ShowsTheSettings) {
    EXPECT_EQ(shown({}), menu("Original 4-term BBP", kOriginalDrawing, kFigures,
                              thread_lines("2 threads", "Yes", "A, B, C"), kStart) +
                             "option: ");
}

TEST(BbpMenuTest, ChangesEverySetting) {
    const std::string first = shown({});
    EXPECT_EQ(shown({"1", "1"}), first +
                                     "\nSelect the formula: \n"
                                     "\n  0     Original 4-term BBP\n" +
                                     kOriginalDrawing + "\n  1     Bellard's 7-term BBP  (~43% faster)\n" +
                                     kBellardDrawing + "\noption: " +
                                     menu("Bellard's 7-term BBP", kBellardDrawing,
                                          "  2     Hexadecimal Offset:       1,000,000,000\n"
                                          "  3     Digits to Compute:        32\n"
                                          "        Internal Precision:       48 Hexadecimal Digits\n"
                                          "        Terms Needed:             200,000,010\n"
                                          "        Largest Divisor:          4,000,000,202\n",
                                          thread_lines("2 threads", "Yes", "A, B, C"), kStart) +
                                     "option: ");
    EXPECT_EQ(shown({"2", "922337203684428989", "0"}),
              first + "\nSelect the hexadecimal offset:\nOffset: Offset: " +
                  menu("Original 4-term BBP", kOriginalDrawing,
                       "  2     Hexadecimal Offset:       0\n"
                       "  3     Digits to Compute:        32\n"
                       "        Internal Precision:       48 Hexadecimal Digits\n"
                       "        Terms Needed:             48\n"
                       "        Largest Divisor:          386\n",
                       thread_lines("2 threads", "Yes", "A, B, C"), kStart) +
                  "option: ");
    EXPECT_EQ(shown({"3", "7", "1048577", "8"}),
              first + "\nSelect the # of digits to compute after the offset:\nDigits: Digits: Digits: " +
                  menu("Original 4-term BBP", kOriginalDrawing,
                       "  2     Hexadecimal Offset:       1,000,000,000\n"
                       "  3     Digits to Compute:        8\n"
                       "        Internal Precision:       24 Hexadecimal Digits\n"
                       "        Terms Needed:             1,000,000,024\n"
                       "        Largest Divisor:          8,000,000,194\n",
                       thread_lines("2 threads", "Yes", "A, B, C"), kStart) +
                  "option: ");
    EXPECT_EQ(shown({"4", "0", "65537", "1", "5"}),
              first + "\nSelect the # of threads to use:\nThreads: Threads: Threads: " +
                  menu("Original 4-term BBP", kOriginalDrawing, kFigures,
                       thread_lines("1 thread", "Yes", "A, B, C"), kStart) +
                  "option: " +
                  menu("Original 4-term BBP", kOriginalDrawing, kFigures,
                       thread_lines("1 thread", "No", "A, B, C"), kStart) +
                  "option: ");
}

std::string mode_menu(const std::string& a, const std::string& b, const std::string& c) {
    return "\nMode Selections\n"
           "\n"
           "The BBP digit extractor has different modes for different ranges of divisor\n"
           "sizes. Modes that can handle larger divisors tend to be slower.\n"
           "\n"
           "By default, all modes are enabled and the program will automatically use\n"
           "the fastest mode for each term based on the size of its divisor.\n"
           "\n"
           "Therefore, there is no need change anything here since the default settings\n"
           "are the fastest. This menu is primarily a developer feature to force the\n"
           "program to use the slower modes by selectively disabling the faster ones.\n"
           "\n"
           "  Option    Mode    Divisor Limit    Speed          Status\n"
           "    1        A      2^49 - 1         Fastest        " +
           a +
           "\n"
           "    2        B      2^51 - 1         30% slower     " +
           b +
           "\n"
           "    3        C      2^61 - 1         2.5x slower    " +
           c +
           "\n"
           "\n"
           "    0       Done!\n"
           "\n"
           "option: ";
}

TEST(BbpMenuTest, ModesAndWhatCannotStart) {
    const std::string first = shown({});
    // Without a mode "0" is not an answer.
    EXPECT_EQ(
        shown({"6", "1", "2", "4", "3", "0", "0"}),
        first + mode_menu("Enabled", "Enabled", "Enabled") + mode_menu("Disabled", "Enabled", "Enabled") +
            mode_menu("Disabled", "Disabled", "Enabled") +
            "option: " + mode_menu("Disabled", "Disabled", "Disabled") +
            menu("Original 4-term BBP", kOriginalDrawing, kFigures, thread_lines("2 threads", "Yes", "none"),
                 "        Cannot Start: No modes enabled.\n") +
            "option: option: ");
    const std::string large = shown({"2", "922337203684428988", "0"});
    EXPECT_NE(large.find("\n        Cannot Start: Divisor exceeds limit of 2^61 - 1.\n\noption: option: "),
              std::string::npos)
        << large;
    const std::string colored = shown({"6", "1", "2", "3", "0"}, true);
    EXPECT_NE(colored.find("  6     Modes:                    {R}none{w}\n"), std::string::npos) << colored;
}

TEST(BbpMenuTest, FitsEightyColumns) {
    for (const char* formula : {"0", "1"}) {
        std::string text =
            shown({"1", formula, "2", "922337203684428988", "3", "1048576", "4", "65536", "6", "0"});
        EXPECT_NE(text.find("922,337,203,684,428,988\n"), std::string::npos) << text;
        EXPECT_NE(text.find("65,536 threads\n"), std::string::npos) << text;
        EXPECT_EQ(kalvor_test::too_wide(text), "");
    }
}

TEST(BbpMenuTest, StartsTheComputation) {
    CaptureConsole console;
    console.type({"2", "0", "3", "8", "6", "1", "0", "0", "left"});
    run_bbp_menu(two_threads());
    EXPECT_EQ(console.lines_left(), 1u);
    const std::string text = console.take();
    EXPECT_NE(text.find("\nFormula:  Original 4-term BBP\n"), std::string::npos);
    EXPECT_NE(text.find("\n  243F6A88 85A308D3 13198A40\n"), std::string::npos) << text;
}

}  // namespace
}  // namespace kalvor::BBPv2
