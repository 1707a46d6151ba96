#include "os/affinity.h"

#include <algorithm>

#include "os/windows/last_error.h"
#include "os/windows/processor_number.h"

namespace trel::os {

OsError get_thread_affinity(std::vector<u32>& processors) {
    GROUP_AFFINITY affinity{};
    if (!GetThreadGroupAffinity(GetCurrentThread(), &affinity)) return error_of(GetLastError());
    processors.clear();
    append_processors(processors, affinity);
    return {};
}

// A thread is in one group at a time.
OsError set_thread_affinity(const std::vector<u32>& processors) {
    if (processors.empty()) return error_of(ERROR_INVALID_PARAMETER);
    GROUP_AFFINITY affinity{};
    const u32 group = processors.front() / kProcessorsInGroup;
    affinity.Group = static_cast<WORD>(group);
    for (const u32 p : processors) {
        if (p / kProcessorsInGroup != group) return error_of(ERROR_INVALID_PARAMETER);
        affinity.Mask |= KAFFINITY(1) << p % kProcessorsInGroup;
    }
    if (!SetThreadGroupAffinity(GetCurrentThread(), &affinity, nullptr)) return error_of(GetLastError());
    return {};
}

u32 current_processor_group() {
    GROUP_AFFINITY affinity{};
    return GetThreadGroupAffinity(GetCurrentThread(), &affinity) ? affinity.Group : 0;
}

OsError get_group_processors(u32 group, std::vector<u32>& processors) {
    processors.clear();
    const DWORD n = GetActiveProcessorCount(static_cast<WORD>(group));
    if (n == 0) return error_of(GetLastError());
    for (u32 i = 0; i < std::min<DWORD>(n, kProcessorsInGroup); i++) {
        processors.push_back(processor_number(group, i));
    }
    return {};
}

}  // namespace trel::os
