#include <string>

#include "base/console/console.h"
#include "platform/sysinfo/feature_check.h"

namespace trel {
namespace {

struct Row {
    const char* name;
    bool required;
    bool present;
};

// The column before the equals sign is 12 wide, 17 for the long names of the 512-bit group.
void print_row(const Row& row, size_t width) {
    std::string label = row.name;
    label.resize(width, ' ');
    Console::print((row.required ? "  * " : "    ") + label + "= ", 'w');
    Console::print_line(row.present ? "Yes" : "No", row.present ? 'G' : 'R');
}

void print_group(const char* heading, std::initializer_list<Row> rows, size_t width = 12) {
    Console::print_line(heading, 'w');
    for (const Row& row : rows) print_row(row, width);
}

}  // namespace

void print_hardware_features(const ProcessorFeatures& f) {
    print_group("CPU Vendor:", {{"AMD", false, f.amd}, {"Intel", false, f.intel}});
    Console::new_line();
    print_group("OS Features:",
                {{"64-bit", true, f.os_64bit}, {"OS AVX", true, f.os_avx}, {"OS AVX512", true, f.os_avx512}});
    print_group("Hardware Features:", {{"MMX", false, f.mmx},
                                       {"x64", true, f.x64},
                                       {"ABM", true, f.abm},
                                       {"RDRAND", false, f.rdrand},
                                       {"RDSEED", false, f.rdseed},
                                       {"BMI1", false, f.bmi1},
                                       {"BMI2", true, f.bmi2},
                                       {"ADX", true, f.adx},
                                       {"MPX", false, f.mpx},
                                       {"PREFETCHW", false, f.prefetchw},
                                       {"PREFETCHWT1", false, f.prefetchwt1},
                                       {"RDPID", false, f.rdpid},
                                       {"GFNI", false, f.gfni},
                                       {"VAES", false, f.vaes}});
    print_group("SIMD: 128-bit", {{"SSE", true, f.sse},
                                  {"SSE2", true, f.sse2},
                                  {"SSE3", true, f.sse3},
                                  {"SSSE3", true, f.ssse3},
                                  {"SSE4a", false, f.sse4a},
                                  {"SSE4.1", true, f.sse41},
                                  {"SSE4.2", true, f.sse42},
                                  {"AES-NI", false, f.aes_ni},
                                  {"SHA", false, f.sha}});
    print_group("SIMD: 256-bit", {{"AVX", true, f.avx},
                                  {"XOP", false, f.xop},
                                  {"FMA3", true, f.fma3},
                                  {"FMA4", false, f.fma4},
                                  {"AVX2", true, f.avx2}});
    constexpr size_t kWide = 17;
    print_group("SIMD: 512-bit",
                {{"AVX512-F", true, f.avx512_f},
                 {"AVX512-CD", false, f.avx512_cd},
                 {"AVX512-PF", false, f.avx512_pf},
                 {"AVX512-ER", false, f.avx512_er},
                 {"AVX512-VL", true, f.avx512_vl},
                 {"AVX512-BW", true, f.avx512_bw},
                 {"AVX512-DQ", true, f.avx512_dq},
                 {"AVX512-IFMA", true, f.avx512_ifma},
                 {"AVX512-VBMI", true, f.avx512_vbmi}},
                kWide);
    Console::print_line("", 'w');
    print_group("Alright Intel, how many drinks have you had tonight?",
                {{"AVX512-VPOPCNTDQ", false, f.avx512_vpopcntdq},
                 {"AVX512-4FMAPS", false, f.avx512_4fmaps},
                 {"AVX512-4VNNIW", false, f.avx512_4vnniw},
                 {"AVX512-VBMI2", false, f.avx512_vbmi2},
                 {"AVX512-VPCLMUL", false, f.avx512_vpclmul},
                 {"AVX512-VNNI", false, f.avx512_vnni},
                 {"AVX512-BITALG", false, f.avx512_bitalg},
                 {"AVX512-BF16", false, f.avx512_bf16}},
                kWide);
    Console::set_color('w');
}

}  // namespace trel
