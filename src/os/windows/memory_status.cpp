#include "os/memory_status.h"

#include <windows.h>

namespace trel::os {

MemoryStatus memory_status(const std::string&) {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status)) return {};
    return {status.ullTotalPhys, status.ullAvailPhys, status.ullTotalVirtual};
}

}  // namespace trel::os
