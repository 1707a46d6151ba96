// Much of this page is the program's identity, the same in every build of this version on every system; only
// the compiler's version number is the build's own.
#include "app/entry/compilation_options_page.h"

#include <string>

#include "arith/kernels/multiply_small.h"
#include "base/console/console.h"
#include "base/names/names.h"
#include "base/version/version.h"

namespace kalvor {

namespace {

void print_section(const char* heading) {
    Console::print_line(std::string(64, '='), 'T');
    Console::print_line(heading, 'Y');
    Console::new_line();
    Console::set_color('w');
}

void print_switch(const std::string& label, bool enabled) {
    Console::aligned_line(label, 40, enabled ? "Enabled" : "Disabled", enabled ? 'G' : 'R');
}

// A number in green and its unit.
void print_quantity(const char* label, u64 width, u64 number, const char* unit) {
    std::string head(label);
    head.resize(width, ' ');
    Console::print(head, 'w');
    Console::print(std::to_string(number), 'G');
    Console::print_line(std::string(" ") + unit, 'w');
}

void print_value(const char* label, const std::string& value, Console::ColorLetter color = 'G') {
    Console::aligned_line(label, 24, value, color);
}

void print_feature_controls() {
    print_section("Global Feature Controls");
    Console::print_line("Assertions:");
    print_switch("    Array Overrun Detection", true);
    print_switch("    Parameter Assertions", false);
    print_switch("    Result Assertions", true);
    print_switch("    Alignment Assertions", false);
    Console::print_line("Developer:");
    print_switch("    Developer Toolbox", false);
    print_switch("    Crash Debugging", false);
    print_switch("    Catch Exceptions", true);
    print_switch("    Allocation Heap Failure Dumps", false);
    print_switch("    Swap File Safety Buffer", false);
    print_switch("    Print All The Things!!!", false);
    print_switch("    Show Memory Breakdowns", false);
    print_switch("    Show Disk Usage", false);
    print_switch("    Allow Checkpoint Hashfails", false);
    print_switch("    Swap Mode without Permissions", false);
    print_switch("    Enable SRTv2 Fixup Printing", true);
    Console::print_line("Toggleable Features*:");
    print_switch("    HWBOT Data Files", false);
    print_switch("    Integrity Check", true);
    print_switch("    Pi - Reduced Memory Mode", true);
    print_switch("    EulerGamma Parameter Override", true);
    print_switch("    Slave Mode", true);
    print_switch("    Legacy x86", true);
    // One label for each generation of processors that builds of this program are made for.
    const std::string own = kVersion.build_label;
    for (const std::string& label :
         {std::string("04-X64 ~ Tarn"), std::string("08-SSE ~ Beck"), std::string("11-AVX ~ Corrie"),
          std::string("13-FMA ~ Fell"), std::string("16-AV5 ~ Ghyll"), own, std::string("20-VNN ~ Pike")}) {
        print_switch("    " + label, label == own);
    }
    Console::print_line("*Includes experimental, incomplete, and deprecated features.");
    Console::new_line();
}

std::string compiler_version() {
#if defined(__clang__)
    return std::to_string(__clang_major__) + "." + std::to_string(__clang_minor__) + "." +
           std::to_string(__clang_patchlevel__);
#else
    return std::to_string(__GNUC__) + "." + std::to_string(__GNUC_MINOR__) + "." +
           std::to_string(__GNUC_PATCHLEVEL__);
#endif
}

void print_modules_library() {
    print_section("Modules Library");
    print_value("Build Version", kVersion.text());
    print_value("Target Machine", kVersion.target, 't');
    print_value("Compiler", "Intel Compiler", 'T');
    print_value("Version", compiler_version(), 'T');
    print_value("Compile Date", "Sep 13 2020", 'Y');
    print_quantity("Pointer Size:", 24, 64, "bits");
    print_quantity("Index Size:    \t", 24, 64, "bits");
    print_quantity("Data Alignment:\t", 24, 64, "bytes");
    print_value("Uber-Tier Algorithms:", "Enabled");

    static constexpr const char* kKernels[][2] = {
        {"Mul32", "MSVC Intrinsics"},
        {"Mul64", "BMI2/MULX + ADC Intrinsics"},
        {"Bit-Reverse", "x64 AVX512-VBMI"},
        {"ADDv2_c32i", "C++ 64-bit Integer"},
        {"ADDv2_c64i", "Kogge-Stone AVX512"},
        {"WordMultiply c32i", "Default"},
        {"WordMultiply c64i", "BMI2/MULX + ADC Intrinsics"},
        {"Mul1 c32i", "64-bit Accumulator"},
        {"Mul1 c64i", "ADX Inline Assembly (GCC)"},
        {"MULB_ci", "x64 Native"},
        {"    trb_MULB_c64i_sqrB", "trh_MULB_c64i_v0_sqrB_Default_mul64_u0"},
        {"    trb_MULB_c64i_elmB", "trh_MULB_c64i_v0_elmB_Default_mul64_u0"},
        {"    trb_MULB_c64i_mulB", "trh_MULB_c64i_v0_mulB_Default_mul64_u0"},
        {"    trb_MULB_c64i_sqr", "trh_MULB_c64i_v0_sqrK_Default_u0"},
        {"    trb_MULB_c64i_elm", "trh_MULB_c64i_v0_elmK_Default_u0"},
        {"    trb_MULB_c64i_mul", "trh_MULB_c64i_v0_mulK_Default_u0"},
    };
    for (const auto& kernel : kKernels) print_value(kernel[0], kernel[1]);

    Console::print_line("MULv3:");
    const KaratsubaThresholds& thresholds = karatsuba_thresholds();
    print_quantity("    c32i_sqr: Basecase - Karatsuba", 40, thresholds.sqr32, "iwords");
    print_quantity("    c32i_mul: Basecase - Karatsuba", 40, thresholds.mul32, "iwords");
    print_quantity("    c64i_sqr: Basecase - Karatsuba", 40, thresholds.sqr64, "iwords");
    print_quantity("    c64i_mul: Basecase - Karatsuba", 40, thresholds.mul64, "iwords");
}

}  // namespace

void print_compilation_options() {
    Console::print_line("Like any other program, Kalvor is highly configurable at compile-time.", 'w');
    Console::print_line("Below is a partial list of compilation options used for this binary.");
    Console::new_line();
    print_feature_controls();

    print_section("External Library");
    Console::aligned_line("Time", 40, "WinAPI", 'G');
    Console::aligned_line("File IO", 40, "WinAPI", 'G');

    print_section("External Dependencies and Bundled Apps");
    Console::print_line("BBP Digit Extractor:");
    Console::aligned_line("    Primary Algorithm", 32, "f64v3_AVX512-DQ", 'r');

    print_section("Kalvor");
    print_value("Compilation Mode", "Single Module");
    print_value("Modules Library", "Statically Linked");
    print_value("InvSqrt Purturb", "Enabled");
    print_value("Reciprocal Purturb", "Enabled");
    Console::print_line("Word Sizes");
    print_quantity("    cdi Binary Size", 24, 64, "bits");
    print_quantity("    cdi Decimal Size", 24, 19, "digits");

    print_section("Objects Library");
    print_value("Verbose Status", "Disabled", 'R');
    Console::print_line("ExactFloat:");
    print_quantity("    Basecase clen", 24, 20, "words");
    Console::print_line("BigFloat:");
    print_quantity("    Extra Precision", 24, 2, "words");
    print_quantity("    Addition Buffer", 24, 128, "words");
    Console::print_line("SwapFloat:");
    print_quantity("    Malloc Extra", 24, 4, "words");

    print_modules_library();
}

}  // namespace kalvor
