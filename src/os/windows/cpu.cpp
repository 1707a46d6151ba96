#include "os/cpu.h"

#include <algorithm>
#include <string>

#include "os/windows/processor_number.h"

namespace trel::os {

u32 processor_group_count() {
    static const u32 count = std::max<u32>(GetActiveProcessorGroupCount(), 1);
    return count;
}

u32 active_processor_count(u32 group) {
    if (group >= processor_group_count()) return 0;
    return std::clamp<u32>(GetActiveProcessorCount(static_cast<WORD>(group)), 1, kProcessorsInGroup);
}

u32 active_processor_count() {
    return static_cast<u32>(active_processors().size());
}

// A job object may have a share of all processors, in hundredths of a percent.
u32 processor_quota(const std::string&) {
    JOBOBJECT_CPU_RATE_CONTROL_INFORMATION rate{};
    if (!QueryInformationJobObject(nullptr, JobObjectCpuRateControlInformation, &rate, sizeof rate, nullptr))
        return 0;
    constexpr DWORD kHardLimit = JOB_OBJECT_CPU_RATE_CONTROL_ENABLE | JOB_OBJECT_CPU_RATE_CONTROL_HARD_CAP;
    if ((rate.ControlFlags & kHardLimit) != kHardLimit || rate.CpuRate == 0) return 0;
    constexpr u64 kWhole = 10000;
    return static_cast<u32>((u64(active_processor_count()) * rate.CpuRate + kWhole - 1) / kWhole);
}

u32 usable_processor_count(const std::string& root) {
    return processors_within_quota(active_processor_count(), processor_quota(root));
}

u32 usable_processor_count() {
    static const u32 count = usable_processor_count("");
    return count;
}

std::vector<u32> active_processors(u32 group) {
    std::vector<u32> processors;
    const u32 n = active_processor_count(group);
    for (u32 i = 0; i < n; i++) processors.push_back(processor_number(group, i));
    return processors;
}

const std::vector<u32>& active_processors() {
    static const std::vector<u32> processors = [] {
        std::vector<u32> all;
        for (u32 group = 0; group < processor_group_count(); group++) {
            const std::vector<u32> some = active_processors(group);
            all.insert(all.end(), some.begin(), some.end());
        }
        return all;
    }();
    return processors;
}

}  // namespace trel::os
