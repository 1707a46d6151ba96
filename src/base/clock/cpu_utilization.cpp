#include "base/clock/cpu_utilization.h"

#include <string>

#include "base/console/format.h"
#include "os/cpu.h"

namespace trel {
namespace {

std::string right_aligned(double value, size_t width) {
    const std::string text = Console::format_fixed(value, 2);
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

std::vector<Console::ColoredText> line(const char* label, bool measurable, double total, double kernel) {
    if (!measurable) return {{'w', label}, {' ', "Too Fast to Measure"}};
    std::vector<Console::ColoredText> pieces = {{'w', label}, {'Y', right_aligned(total, 8)}, {'w', " %"}};
    if (kernel >= 0) {
        pieces.insert(pieces.end(),
                      {{' ', "  +  "}, {'P', right_aligned(kernel, 6)}, {'w', " % kernel overhead"}});
    }
    return pieces;
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

std::array<std::vector<Console::ColoredText>, 2> cpu_utilization_lines(const CpuUtilization& u) {
    return {line("CPU Utilization:        ", u.measurable, u.total, u.kernel),
            line("Multi-core Efficiency:  ", u.measurable, u.total_per_core, u.kernel_per_core)};
}

std::array<std::string, 2> cpu_utilization_file_lines(const CpuUtilization& u) {
    const auto plain = [](const std::vector<Console::ColoredText>& pieces) {
        std::string text;
        for (const Console::ColoredText& piece : pieces) text += piece.text;
        return text;
    };
    return {plain(line("CPU Utilization:           ", u.measurable, u.total, u.kernel)),
            plain(line("Multi-core Efficiency:     ", u.measurable, u.total_per_core, u.kernel_per_core))};
}

std::array<std::vector<Console::ColoredText>, 2> cpu_utilization_lines(const TimeSpan& span) {
    return cpu_utilization_lines(cpu_utilization(span, os::active_processor_count()));
}

}  // namespace trel
