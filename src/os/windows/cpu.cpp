#include "os/cpu.h"

#include <algorithm>

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
