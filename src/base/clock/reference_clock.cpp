#include "base/clock/reference_clock.h"

#include "base/clock/tsc_frequency.h"
#include "os/clock.h"

namespace trel {

std::string reference_clock_kind(u64 performance_frequency, u64 tsc_frequency) {
    switch (performance_frequency) {
        case 0:
            return "";
        case 14318180:
        case 24000000:
            return "HPET";
        case 3579545:
            return "ACPI";
        default:
            break;
    }
    const double ratio = static_cast<double>(tsc_frequency) / static_cast<double>(performance_frequency);
    return 1008.0 < ratio && ratio < 1040.0 ? "TSC" : "";
}

std::string reference_clock_kind(std::string_view clock_source) {
    if (clock_source == "hpet") return "HPET";
    if (clock_source == "acpi_pm") return "ACPI";
    if (clock_source == "tsc") return "TSC";
    return "";
}

std::string get_reference_clock_kind() {
    const std::string source = os::clock_source_name();
    if (!source.empty()) return reference_clock_kind(source);
    return reference_clock_kind(os::performance_frequency(), measure_tsc_frequency());
}

ReferenceClocks reference_clocks() {
    return {get_reference_clock_kind(), os::performance_frequency(), measure_tsc_frequency(),
            measure_tsc_frequency_by_system_clock()};
}

}  // namespace trel
