#include "os/numa.h"

#include <windows.h>
// After windows.h.
#include <psapi.h>

#include "os/cpu.h"
#include "os/memory_status.h"
#include "os/windows/last_error.h"
#include "os/windows/processor_number.h"

namespace trel::os {
namespace {

// Answers of a system that does not know about nodes.
bool unknown_call(DWORD error) {
    return error == ERROR_CALL_NOT_IMPLEMENTED || error == ERROR_NOT_SUPPORTED;
}

}  // namespace

OsError highest_numa_node(u32& node, const std::string&) {
    ULONG highest = 0;
    node = 0;
    if (!GetNumaHighestNodeNumber(&highest)) {
        return unknown_call(GetLastError()) ? OsError{} : error_of(GetLastError());
    }
    node = highest;
    return {};
}

OsError numa_node_processors(u32 node, std::vector<u32>& processors, const std::string&) {
    processors.clear();
    GROUP_AFFINITY affinity{};
    if (GetNumaNodeProcessorMaskEx(static_cast<USHORT>(node), &affinity)) {
        append_processors(processors, affinity);
        return {};
    }
    const DWORD error = GetLastError();
    if (!unknown_call(error)) return error_of(error);
    if (node != 0) return error_of(ERROR_INVALID_PARAMETER);
    processors = active_processors();
    return {};
}

OsError numa_node_available_memory(u32 node, u64& bytes, const std::string&) {
    ULONGLONG available = 0;
    bytes = 0;
    if (GetNumaAvailableMemoryNodeEx(static_cast<USHORT>(node), &available)) {
        bytes = available;
        return {};
    }
    const DWORD error = GetLastError();
    if (!unknown_call(error)) return error_of(error);
    if (node != 0) return error_of(ERROR_INVALID_PARAMETER);
    bytes = memory_status().available_physical;
    return {};
}

OsError numa_nodes_of_pages(void* const* pages, u64 n, i32* nodes) {
    std::vector<PSAPI_WORKING_SET_EX_INFORMATION> entries(n);
    for (u64 i = 0; i < n; i++) entries[i].VirtualAddress = pages[i];
    const u64 bytes = n * sizeof entries[0];
    if (bytes >> 32 != 0) return error_of(ERROR_INVALID_PARAMETER);
    if (!QueryWorkingSetEx(GetCurrentProcess(), entries.data(), static_cast<DWORD>(bytes))) {
        return error_of(GetLastError());
    }
    for (u64 i = 0; i < n; i++) {
        const auto& attributes = entries[i].VirtualAttributes;
        nodes[i] = attributes.Valid ? static_cast<i32>(attributes.Node) : -ERROR_INVALID_ADDRESS;
    }
    return {};
}

}  // namespace trel::os
