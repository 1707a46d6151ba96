#include "os/topology.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <tuple>

#include "os/cpu.h"
#include "os/linux/cpuid_topology.h"
#include "os/linux/number_list.h"
#include "os/linux/processor_list.h"

namespace trel::os {
namespace {

u32 count_nodes(const std::string& root) {
    const std::string online = root + "/sys/devices/system/node/online";
    std::error_code error;
    if (!std::filesystem::exists(online, error)) return 1;  // a kernel without nodes: all memory is near
    const auto nodes = read_number_list(online);
    if (!nodes) return 0;
    return static_cast<u32>(std::set<u32>(nodes->begin(), nodes->end()).size());
}

}  // namespace

void count_by_cpuid(Topology& t, CpuidRegisters (*cpuid)(u32 leaf, u32 subleaf)) {
    constexpr u32 kExtendedTopology = 0xb, kMostLevels = 8;
    u32 of_core = 0, of_package = 0;
    for (u32 level = 0; level < kMostLevels; level++) {
        const CpuidRegisters r = cpuid(kExtendedTopology, level);
        const u32 type = r.ecx >> 8 & 255, processors = r.ebx & 0xffff;
        if (type == 0 || processors == 0) break;
        if (type == 1) of_core = processors;
        of_package = processors;
    }
    if (of_core == 0 || of_package < of_core) return;
    // A guest may have fewer than its processor would.
    t.physical_cores = std::max<u32>(t.logical_cores / of_core, 1);
    t.sockets = std::min((t.logical_cores - 1) / of_package + 1, t.physical_cores);
}

Topology topology(const std::string& root) {
    Topology t;
    t.numa_nodes = count_nodes(root);
    const std::string folder = root + "/sys/devices/system/cpu";
    const auto online = read_number_list(folder + "/online");
    if (!online) {
        std::error_code error;
        if (std::filesystem::exists(folder, error)) return t;
        t.logical_cores = static_cast<u32>(processors_of_machine("").size());
        count_by_cpuid(t, cpuid);
        return t;
    }
    const std::set<u32> processors(online->begin(), online->end());
    t.logical_cores = static_cast<u32>(processors.size());

    // Core numbers repeat from package to package and from die to die. A count that misses a processor would
    // be wrong, so it is rather unknown.
    std::set<i64> packages;
    std::set<std::tuple<i64, i64, i64>> cores;
    bool packages_known = true, cores_known = true;
    for (const u32 processor : processors) {
        const std::string place = folder + "/cpu" + std::to_string(processor) + "/topology/";
        const std::optional<i64> package = read_integer(place + "physical_package_id");
        const std::optional<i64> core = read_integer(place + "core_id");
        const i64 die = read_integer(place + "die_id").value_or(0);  // older kernels do not have it
        packages_known = packages_known && package;
        cores_known = cores_known && package && core;
        if (package) packages.insert(*package);
        if (package && core) cores.insert({*package, die, *core});
    }
    if (packages_known) t.sockets = static_cast<u32>(packages.size());
    if (cores_known) t.physical_cores = static_cast<u32>(cores.size());
    return t;
}

}  // namespace trel::os
