#include "os/windows/topology_records.h"

#include <windows.h>

#include <bit>
#include <vector>

namespace trel::os {

Topology topology_of(std::span<const std::byte> records) {
    Topology t;
    while (records.size() >= 2 * sizeof(DWORD)) {
        const auto* record = reinterpret_cast<const SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(records.data());
        if (record->Size == 0 || record->Size > records.size()) break;
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
        records = records.subspan(record->Size);
    }
    return t;
}

Topology topology(const std::string&) {
    DWORD bytes = 0;
    GetLogicalProcessorInformationEx(RelationAll, nullptr, &bytes);
    std::vector<std::byte> buffer(bytes);
    if (bytes == 0) return {};
    if (!GetLogicalProcessorInformationEx(
            RelationAll, reinterpret_cast<SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX*>(buffer.data()), &bytes)) {
        return {};
    }
    return topology_of({buffer.data(), bytes});
}

}  // namespace trel::os
