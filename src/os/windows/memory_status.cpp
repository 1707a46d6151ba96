#include "os/memory_status.h"

#include <windows.h>

namespace trel::os {

MemoryStatus memory_status(const std::string&) {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status)) return {};
    // The commit limit is physical memory and page files together.
    const u64 swap =
        status.ullTotalPageFile > status.ullTotalPhys ? status.ullTotalPageFile - status.ullTotalPhys : 0;
    return {status.ullTotalPhys, status.ullAvailPhys, status.ullTotalVirtual, swap};
}

}  // namespace trel::os
