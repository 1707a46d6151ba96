// What a report tells about the machine. Every question degrades to "Unable to Detect" (numbers to 0) when
// the machine does not answer; nothing here throws.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "os/memory_status.h"
#include "os/topology.h"
#include "os/types.h"
#include "platform/sysinfo/processor_features.h"
#include "platform/sysinfo/wmi.h"

namespace trel {

inline constexpr const char* kUnableToDetect = "Unable to Detect";
// Stands for what identifies a machine unless the user allowed it ("PII:1").
inline constexpr const char* kSuppressedPii =
    "Suppressed - Personally identifiable information is opt-in only.";

struct MemoryModule {
    std::string part_number;
    u64 bytes = 0;  // 0 = unknown
};

struct SystemRecord {
    std::string os_version;
    std::string processor;
    os::Topology topology;
    std::vector<u32> group_sizes;   // active processors of each processor group
    u32 processor_quota = 0;        // processors' worth of time that the container gives; 0 = no limit
    u64 usable_memory = 0;          // bytes, as the system shares it out; 0 = unknown
    u64 total_memory = 0;           // bytes built in; 0 = unknown
    u64 base_frequency = 0;         // Hz; 0 = unknown
    std::string reference_clock;    // what the system measures time with; empty = unknown
    u64 performance_frequency = 0;  // of the performance counter, Hz
    std::string board_manufacturer;
    std::string board_product;
    std::string board_version;
    std::string board_serial;
    std::vector<MemoryModule> modules;

    // Sum of the modules; 0 when the capacity of one, or every module, is unknown.
    u64 module_memory() const;
};

// Where the answers come from; tests put machines of their own in place.
struct MachineCalls {
    std::function<std::optional<std::string>()> os_version;
    ProcessorCalls processor;
    std::function<os::Topology()> topology;
    std::function<std::vector<u32>()> group_sizes;
    std::function<u32()> processor_quota;
    std::function<os::MemoryStatus()> memory_status;
    std::function<u64()> installed_memory;
    std::function<u64()> base_frequency;
    std::function<std::string()> reference_clock;
    std::function<u64()> performance_frequency;
    QueryCalls query;

    static const MachineCalls& of_this_machine();
};

// The serial number of the board is not even asked for without `include_pii`.
SystemRecord gather_system_record(bool include_pii,
                                  const MachineCalls& calls = MachineCalls::of_this_machine());

// The same in two steps: everything except the clocks, which take a moment to measure; then the clocks, for
// which it waits.
SystemRecord gather_unclocked_record(bool include_pii,
                                     const MachineCalls& calls = MachineCalls::of_this_machine());
void add_clocks(SystemRecord& record, const MachineCalls& calls = MachineCalls::of_this_machine());

// The system's name and version; "Unable to Detect" when it does not tell.
std::string get_os_version();

// "8 threads / 4 cores / 1 socket / 1 NUMA node"; an unknown count is "?".
std::string topology_text(const os::Topology& topology);

}  // namespace trel
