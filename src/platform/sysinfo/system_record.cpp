#include "platform/sysinfo/system_record.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <utility>

#include "base/clock/reference_clock.h"
#include "base/clock/tsc_frequency.h"
#include "os/clock.h"
#include "os/cpu.h"
#include "os/machine.h"
#include "platform/sysinfo/feature_check.h"

namespace trel {
namespace {

// Without the blanks that firmware likes to put around its texts.
std::string or_unknown(const std::optional<std::string>& text) {
    const size_t first = text ? text->find_first_not_of(' ') : std::string::npos;
    if (first == std::string::npos) return kUnableToDetect;
    return text->substr(first, text->find_last_not_of(' ') - first + 1);
}

// A decimal number and nothing else; 0 for any other text.
u64 bytes_of(const std::optional<std::string>& text) {
    if (!text) return 0;
    u64 value = 0;
    const char* const end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, value);
    return error == std::errc() && stop == end ? value : 0;
}

void ask_for_board(SystemRecord& record, bool include_pii, const QueryCalls& query) {
    std::vector<std::string> properties = {"Manufacturer", "Product", "Version"};
    if (include_pii) properties.push_back("SerialNumber");
    std::vector<WmiObject> boards = query_wmi_or_nothing("Win32_BaseBoard", properties, query);
    WmiObject board = boards.empty() ? WmiObject{} : std::move(boards.front());
    board.resize(properties.size());
    record.board_manufacturer = or_unknown(board[0]);
    record.board_product = or_unknown(board[1]);
    record.board_version = or_unknown(board[2]);
    record.board_serial = include_pii ? or_unknown(board[3]) : kSuppressedPii;
}

void ask_for_modules(SystemRecord& record, const QueryCalls& query) {
    for (WmiObject& module :
         query_wmi_or_nothing("Win32_PhysicalMemory", {"PartNumber", "Capacity"}, query)) {
        module.resize(2);
        record.modules.push_back({or_unknown(module[0]), bytes_of(module[1])});
    }
}

}  // namespace

u64 SystemRecord::module_memory() const {
    u64 sum = 0;
    for (const MemoryModule& module : modules) {
        if (module.bytes == 0 || __builtin_add_overflow(sum, module.bytes, &sum)) return 0;
    }
    return sum;
}

const MachineCalls& MachineCalls::of_this_machine() {
    static const MachineCalls calls{os::system_version,
                                    ProcessorCalls::of_this_machine(),
                                    [] { return os::topology(); },
                                    processor_group_sizes,
                                    [] { return os::processor_quota(); },
                                    [] { return os::memory_status(); },
                                    [] { return os::installed_memory(); },
                                    [] { return measure_tsc_frequency(); },
                                    get_reference_clock_kind,
                                    os::performance_frequency,
                                    QueryCalls::of_this_machine()};
    return calls;
}

SystemRecord gather_system_record(bool include_pii, const MachineCalls& calls) {
    SystemRecord record = gather_unclocked_record(include_pii, calls);
    add_clocks(record, calls);
    return record;
}

void add_clocks(SystemRecord& record, const MachineCalls& calls) {
    record.base_frequency = calls.base_frequency();
    record.reference_clock = calls.reference_clock();
    record.performance_frequency = calls.performance_frequency();
}

SystemRecord gather_unclocked_record(bool include_pii, const MachineCalls& calls) {
    SystemRecord record;
    record.os_version = or_unknown(calls.os_version());
    record.processor = processor_name(calls.processor);
    record.topology = calls.topology();
    record.group_sizes = calls.group_sizes();
    record.processor_quota = calls.processor_quota();
    if (record.topology.logical_cores == 0) {
        record.topology.logical_cores =
            std::accumulate(record.group_sizes.begin(), record.group_sizes.end(), u32(0));
    }
    record.usable_memory = calls.memory_status().total_physical;
    ask_for_board(record, include_pii, calls.query);
    ask_for_modules(record, calls.query);
    record.total_memory = record.module_memory();
    if (record.total_memory == 0) record.total_memory = calls.installed_memory();
    return record;
}

std::string get_os_version() {
    return or_unknown(os::system_version());
}

std::string topology_text(const os::Topology& t) {
    auto count = [](u32 n, const char* word) {
        return (n == 0 ? "?" : std::to_string(n)) + " " + word + (n == 1 ? "" : "s");
    };
    return count(t.logical_cores, "thread") + " / " + count(t.physical_cores, "core") + " / " +
           count(t.sockets, "socket") + " / " + count(t.numa_nodes, "NUMA node");
}

}  // namespace trel
