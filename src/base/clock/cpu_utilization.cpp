#include "base/clock/cpu_utilization.h"

#include <string>

#include "base/console/console.h"
#include "base/console/format.h"
#include "os/cpu.h"

namespace trel {
namespace {

std::string right_aligned(double value, size_t width) {
    const std::string text = Console::format_fixed(value, 2);
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

void print_row(const char* label, bool measurable, double total, double kernel) {
    Console::print(label, 'w');
    if (!measurable) {
        Console::print("Too Fast to Measure");
    } else {
        Console::print(right_aligned(total, 8), 'Y');
        Console::print(" %", 'w');
        if (kernel >= 0) {
            Console::print("  +  ");
            Console::print(right_aligned(kernel, 6), 'P');
            Console::print(" % kernel overhead", 'w');
        }
    }
    Console::new_line();
}

}  // namespace

CpuUtilization cpu_utilization(const TimeSpan& span, u64 n_processors) {
    CpuUtilization out;
    if (!(span.processor() > 0) || !(span.wall > 0)) return out;
    const double n = n_processors == 0 ? 1 : static_cast<double>(n_processors);
    out.measurable = true;
    out.total = 100 * span.processor() / span.wall;
    out.kernel = 100 * span.kernel / span.wall;
    out.total_per_core = out.total / n;
    out.kernel_per_core = out.kernel / n;
    return out;
}

void print_cpu_utilization(const CpuUtilization& u) {
    print_row("CPU Utilization:        ", u.measurable, u.total, u.kernel);
    print_row("Multi-core Efficiency:  ", u.measurable, u.total_per_core, u.kernel_per_core);
}

void print_cpu_utilization(const TimeSpan& span) {
    print_cpu_utilization(cpu_utilization(span, os::active_processor_count()));
}

}  // namespace trel
