#include <gtest/gtest.h>

#include <sstream>

#include "app/entry/about_page.h"
#include "app/entry/advanced_options.h"
#include "app/entry/compilation_options_page.h"
#include "base/errors/exceptions.h"
#include "platform/sysinfo/feature_check.h"
#include "platform/sysinfo/processor_features.h"
#include "support/capture_console.h"
#include "support/masked.h"

using namespace kalvor;

namespace {

// A label padded to the width.
std::string label(std::string text, size_t width) {
    text.resize(width, ' ');
    return "{w}" + text;
}
std::string enabled(const std::string& text) {
    return label(text, 40) + "{G}Enabled{w}\n";
}
std::string disabled(const std::string& text) {
    return label(text, 40) + "{R}Disabled{w}\n";
}
std::string quantity(const std::string& text, size_t width, const std::string& number,
                     const std::string& unit) {
    return label(text, width) + "{G}" + number + "{w} " + unit + "\n";
}
std::string value(const std::string& text, const std::string& color, const std::string& what,
                  size_t width = 24) {
    return label(text, width) + "{" + color + "}" + what + "{w}\n";
}
std::string section(const std::string& heading) {
    return "{T}" + std::string(64, '=') + "\n{Y}" + heading + "\n\n{w}";
}

}  // namespace

TEST(CompilationOptionsTest, EveryLineOfIt) {
    CaptureConsole console(CaptureConsole::terminal, true);
    print_compilation_options();
    const std::string text =
        kalvor_test::without_numbers_behind("{w}Version" + std::string(17, ' ') + "{T}", console.take());
    EXPECT_EQ(
        text,
        "{w}Like any other program, Kalvor is highly configurable at compile-time.\n"
        "Below is a partial list of compilation options used for this binary.\n\n" +
            section("Global Feature Controls") + "Assertions:\n" + enabled("    Array Overrun Detection") +
            disabled("    Parameter Assertions") + enabled("    Result Assertions") +
            disabled("    Alignment Assertions") + "Developer:\n" + disabled("    Developer Toolbox") +
            disabled("    Crash Debugging") + enabled("    Catch Exceptions") +
            disabled("    Allocation Heap Failure Dumps") + disabled("    Swap File Safety Buffer") +
            disabled("    Print All The Things!!!") + disabled("    Show Memory Breakdowns") +
            disabled("    Show Disk Usage") + disabled("    Allow Checkpoint Hashfails") +
            disabled("    Swap Mode without Permissions") + enabled("    Enable SRTv2 Fixup Printing") +
            "Toggleable Features*:\n" + disabled("    HWBOT Data Files") + enabled("    Integrity Check") +
            enabled("    Pi - Reduced Memory Mode") + enabled("    EulerGamma Parameter Override") +
            enabled("    Slave Mode") + enabled("    Legacy x86") + disabled("    04-X64 ~ Tarn") +
            disabled("    08-SSE ~ Beck") + disabled("    11-AVX ~ Corrie") + disabled("    13-FMA ~ Fell") +
            disabled("    16-AV5 ~ Ghyll") + enabled("    18-CNL ~ Elvatt") + disabled("    20-VNN ~ Pike") +
            "*Includes experimental, incomplete, and deprecated features.\n\n" + section("External Library") +
            value("Time", "G", "WinAPI", 40) + value("File IO", "G", "WinAPI", 40) +
            section("External Dependencies and Bundled Apps") + "BBP Digit Extractor:\n" +
            value("    Primary Algorithm", "r", "f64v3_AVX512-DQ", 32) + section("Kalvor") +
            value("Compilation Mode", "G", "Single Module") +
            value("Modules Library", "G", "Statically Linked") + value("InvSqrt Purturb", "G", "Enabled") +
            value("Reciprocal Purturb", "G", "Enabled") + "Word Sizes\n" +
            quantity("    cdi Binary Size", 24, "64", "bits") +
            quantity("    cdi Decimal Size", 24, "19", "digits") + section("Objects Library") +
            value("Verbose Status", "R", "Disabled") + "ExactFloat:\n" +
            quantity("    Basecase clen", 24, "20", "words") + "BigFloat:\n" +
            quantity("    Extra Precision", 24, "2", "words") +
            quantity("    Addition Buffer", 24, "128", "words") + "SwapFloat:\n" +
            quantity("    Malloc Extra", 24, "4", "words") + section("Modules Library") +
            value("Build Version", "G", "0.7.8 Build 9507") +
            value("Target Machine", "t", "Cannon Lake (x64 AVX512-VBMI)") +
            value("Compiler", "T", "Intel Compiler") + value("Version", "T", "<number>") +
            value("Compile Date", "Y", "Sep 13 2020") + quantity("Pointer Size:", 24, "64", "bits") +
            quantity("Index Size:    \t", 24, "64", "bits") +
            quantity("Data Alignment:\t", 24, "64", "bytes") +
            value("Uber-Tier Algorithms:", "G", "Enabled") + value("Mul32", "G", "MSVC Intrinsics") +
            value("Mul64", "G", "BMI2/MULX + ADC Intrinsics") + value("Bit-Reverse", "G", "x64 AVX512-VBMI") +
            value("ADDv2_c32i", "G", "C++ 64-bit Integer") + value("ADDv2_c64i", "G", "Kogge-Stone AVX512") +
            value("WordMultiply c32i", "G", "Default") +
            value("WordMultiply c64i", "G", "BMI2/MULX + ADC Intrinsics") +
            value("Mul1 c32i", "G", "64-bit Accumulator") +
            value("Mul1 c64i", "G", "ADX Inline Assembly (GCC)") + value("MULB_ci", "G", "x64 Native") +
            value("    trb_MULB_c64i_sqrB", "G", "trh_MULB_c64i_v0_sqrB_Default_mul64_u0") +
            value("    trb_MULB_c64i_elmB", "G", "trh_MULB_c64i_v0_elmB_Default_mul64_u0") +
            value("    trb_MULB_c64i_mulB", "G", "trh_MULB_c64i_v0_mulB_Default_mul64_u0") +
            value("    trb_MULB_c64i_sqr", "G", "trh_MULB_c64i_v0_sqrK_Default_u0") +
            value("    trb_MULB_c64i_elm", "G", "trh_MULB_c64i_v0_elmK_Default_u0") +
            value("    trb_MULB_c64i_mul", "G", "trh_MULB_c64i_v0_mulK_Default_u0") + "MULv3:\n" +
            quantity("    c32i_sqr: Basecase - Karatsuba", 40, "10", "iwords") +
            quantity("    c32i_mul: Basecase - Karatsuba", 40, "14", "iwords") +
            quantity("    c64i_sqr: Basecase - Karatsuba", 40, "31", "iwords") +
            quantity("    c64i_mul: Basecase - Karatsuba", 40, "31", "iwords"));
}

TEST(AboutPageTest, EveryLineButTheIntroduction) {
    CaptureConsole console(CaptureConsole::terminal, true);
    print_about_page();
    const std::string text = console.take();
    EXPECT_EQ(text.rfind("{T}Kalvor - Euler's Constant to the eXtReMe\n\n"
                         "{w}Version: {G}0.7.8 Build 9507{w}\n\n"
                         "{t}The{w} Kalvor developers\nhttps://kalvor.example\nbugs@kalvor.example\n\n",
                         0),
              0u)
        << text;
    const std::string end =
        "\nDisclaimer:\n"
        "Performing large multi-threaded computations using this program may\n"
        "subject your computer to extremely high levels of stress for extended\n"
        "periods of time. To protect your computer, MAKE SURE that your hardware\n"
        "is stable and fit before performing large computations. I will take\n"
        "absolutely no responsibility for any damage that may be caused by this\n"
        "program.\n";
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
}

// A terminal of 80 columns shows the pages without wrapping.
TEST(PagesTest, Fit) {
    for (void (*print)() : {print_about_page, print_compilation_options}) {
        CaptureConsole console;
        print();
        std::istringstream lines(console.take());
        for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 79U) << line;
    }
}

TEST(AdvancedOptionsTest, ShowsTheirPages) {
    const auto run = [](const char* choice) {
        CaptureConsole console(CaptureConsole::terminal, true);
        console.type({choice});
        show_action_menu(advanced_options_menu(), false);
        return console.take();
    };
    const std::string menu =
        "{P}Advanced Options\n\n"
        "{w}  0         {T}Benchmark Validator\n"
        "{w}  1         {d}Log(n) Formula Generator  (not available yet)\n"
        "{w}  2         {T}Hardware Features\n"
        "{w}  3         {T}Compilation Options\n"
        "{w}  4         {d}Test Swap Multiply  (not available yet)\n"
        "\n{w}option: {T}";
    const auto page = [](auto print) {
        CaptureConsole console(CaptureConsole::terminal, true);
        print();
        return console.take();
    };
    EXPECT_EQ(run("2"), menu + page([] { trel::print_hardware_features(trel::detect_features()); }));
    EXPECT_EQ(run("3"), menu + page(print_compilation_options));
    EXPECT_THROW(run("0"), trel::EndOfStreamException);
    const std::pair<const char*, const char*> missing[] = {{"1", "The Log(n) Formula Generator"},
                                                           {"4", "The swap multiply test"}};
    for (const auto& [choice, name] : missing) {
        CaptureConsole console(CaptureConsole::terminal, true);
        console.type({choice});
        EXPECT_THROW(show_action_menu(advanced_options_menu(), false), trel::EndOfStreamException) << choice;
        EXPECT_EQ(console.take(), menu + "\n{R}" + name + " is not available in this version.\n{w}\n" + menu);
    }
}
