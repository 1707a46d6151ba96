#include "platform/sysinfo/system_summary.h"

#include <numeric>
#include <string>

#include "base/console/format.h"

namespace trel {
namespace {

constexpr u64 kSummaryWidth = 22;

std::string size_text(u64 bytes) {
    if (bytes == 0) return kUnableToDetect;
    return Console::format_number(bytes, Console::NumberFormat::commas_and_bytes);
}

std::string count_text(u32 count) {
    return count == 0 ? kUnableToDetect : Console::format_commas(count);
}

std::string frequency_text(u64 hertz) {
    return hertz == 0 ? kUnableToDetect : Console::format_commas(hertz) + " Hz";
}

}  // namespace

void print_unclocked_summary(const SystemRecord& record, Status& status) {
    auto line = [&](const char* label, char color, std::string value) {
        status.Status_Label(kSummaryWidth, label, {color, std::move(value)});
    };
    line("Version:", 'G', record.os_version);
    line("Processor(s):", 'Y', record.processor);
    line("Topology:", 'T', topology_text(record.topology));
    const u32 active = std::accumulate(record.group_sizes.begin(), record.group_sizes.end(), u32(0));
    if (record.processor_quota != 0 && record.processor_quota < active) {
        line("Processor Quota:", 'Y',
             std::to_string(record.processor_quota) + " of " + std::to_string(active) +
                 ", by the limit of the container");
    }
    // What is built in is worth a line of its own only where it is really known.
    const u64 modules = record.module_memory();
    if (modules == 0) {
        line("Physical Memory:", 'G', size_text(record.usable_memory));
    } else {
        line("Usable Memory:", 'G', size_text(record.usable_memory));
        line("Memory:", 'G', size_text(modules));
    }
}

SummaryLine base_frequency_line(u64 hertz) {
    // The label of the unknown frequency is another one; programs that read this output know both.
    return {kSummaryWidth,
            hertz == 0 ? " CPU BaseFrequency:" : "CPU Base Frequency:",
            {'Y', frequency_text(hertz)}};
}

void print_system_summary(const SystemRecord& record, Status& status) {
    print_unclocked_summary(record, status);
    const SummaryLine line = base_frequency_line(record.base_frequency);
    status.Status_Label(line.width, line.name, line.value);
}

std::string system_block(const SystemRecord& record) {
    std::string text;
    auto line = [&](const char* label, const std::string& value) { text += label + value + "\r\n"; };
    line("Operating System:       ", record.os_version);
    line("Processor(s):", "");
    line("    Name:               ", record.processor);
    line("    Logical Cores:      ", count_text(record.topology.logical_cores));
    line("    Physical Cores:     ", count_text(record.topology.physical_cores));
    line("    Sockets:            ", count_text(record.topology.sockets));
    line("    NUMA Nodes:         ", count_text(record.topology.numa_nodes));
    line("    Base Frequency:     ", frequency_text(record.base_frequency));
    line("Motherboard:", "");
    line("    Manufacturer:       ", record.board_manufacturer);
    line("    Model:              ", record.board_product);
    line("    Version:            ", record.board_version);
    line("    Serial Number:      ", record.board_serial);
    line("Memory:", "");
    line("    Usable Memory:      ", size_text(record.usable_memory));
    line("    Total Memory:       ", size_text(record.total_memory));
    for (const MemoryModule& module : record.modules) {
        line("    DIMM:               ", module.part_number + ", " + size_text(module.bytes));
    }
    return text;
}

}  // namespace trel
