#include "os/topology.h"

#include <windows.h>

#include <bit>
#include <cstddef>
#include <vector>

namespace trel::os {

Topology topology(const std::string&) {
    Topology t;
    DWORD bytes = 0;
    GetLogicalProcessorInformationEx(RelationAll, nullptr, &bytes);
    std::vector<std::byte> buffer(bytes);
    if (bytes == 0) return t;
    if (!GetLogicalProcessorInformationEx(
            RelationAll, reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buffer.data()), &bytes)) {
        return t;
    }
    // Records of different sizes, one after the other.
    for (size_t at = 0; at + sizeof(DWORD) * 2 <= bytes;) {
        const auto* record =
            reinterpret_cast<const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buffer.data() + at);
        if (record->Size == 0 || record->Size > bytes - at) break;
        switch (record->Relationship) {
            case RelationProcessorCore:
                t.physical_cores++;
                for (WORD g = 0; g < record->Processor.GroupCount; g++) {
                    t.logical_cores += static_cast<u32>(
                        std::popcount(static_cast<u64>(record->Processor.GroupMask[g].Mask)));
                }
                break;
            case RelationProcessorPackage:
                t.sockets++;
                break;
            case RelationNumaNode:
                t.numa_nodes++;
                break;
            default:
                break;
        }
        at += record->Size;
    }
    return t;
}

}  // namespace trel::os
