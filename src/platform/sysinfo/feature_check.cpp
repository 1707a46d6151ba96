#include "platform/sysinfo/feature_check.h"

#include <algorithm>
#include <string>

#include "base/console/console.h"

namespace trel {

bool check_features(const ProcessorFeatures& f) {
    return f.vendor_identified && f.os_64bit && f.os_avx && f.os_avx512 && f.x64 && f.abm && f.bmi2 &&
           f.adx && f.sse && f.sse2 && f.sse3 && f.ssse3 && f.sse41 && f.sse42 && f.avx && f.fma3 && f.avx2 &&
           f.avx512_f && f.avx512_vl && f.avx512_bw && f.avx512_dq && f.avx512_ifma && f.avx512_vbmi;
}

void print_feature_check(const ProcessorFeatures& features, bool skip_warnings) {
    Console::new_line();
    Console::print_line("Checking processor/OS features...");
    Console::new_line();
    Console::print_line("Required Features:");
    Console::print_line("    x64, ABM, BMI1, BMI2, ADX,", 'T');
    Console::print_line("    SSE, SSE2, SSE3, SSSE3, SSE4.1, SSE4.2,");
    Console::print_line("    AVX, FMA3, AVX2,");
    Console::print_line("    AVX512-(F/CD/VL/BW/DQ/IFMA/VBMI)");
    Console::new_line();

    if (!check_features(features)) {
        Console::error_line("Warning:", true);
        Console::print_line("  This computer does not have all the processor or operating system");
        Console::print_line("  features that are necessary to run this binary.");
        Console::new_line();
        Console::print_line("  Proceeding may cause the program to crash.");
        Console::new_line();
        Console::print_line("  Command line users can skip this message by passing, \"skip-warnings\"", 'g');
        Console::print_line("  as the first parameter.");
        Console::new_line();
        if (!skip_warnings) Console::pause('w');
        Console::new_line();
    }
    Console::print_line("", 'w');
}

std::vector<u32> processor_group_sizes() {
    std::vector<u32> sizes;
    for (u32 g = 0; g < os::processor_group_count(); g++) sizes.push_back(os::active_processor_count(g));
    return sizes;
}

void print_group_balance_check(const std::vector<u32>& group_sizes) {
    const bool balanced = std::all_of(group_sizes.begin(), group_sizes.end(),
                                      [&](u32 size) { return size == group_sizes.front(); });
    if (balanced) return;

    auto two = [](size_t n) { return (n < 10 ? " " : "") + std::to_string(n); };
    Console::print_line("Warning: Imbalanced processor groups detected.", 'R');
    Console::print_line("This may lead to suboptimal performance.");
    for (size_t g = 0; g < group_sizes.size(); g++) {
        Console::print_line("    Group " + two(g) + ":  " + two(group_sizes[g]) + " cores");
    }
    Console::print_line("", 'w');
    Console::pause('w');
}

}  // namespace trel
