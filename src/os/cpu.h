// The processor as the hardware tells it (CPUID, XGETBV, RDTSC) and as the system shares it out (processors
// of the affinity mask).
#pragma once

#include <string>
#include <vector>

#include "os/types.h"

namespace trel::os {

struct CpuidRegisters {
    u32 eax = 0, ebx = 0, ecx = 0, edx = 0;
};
// All zero when the leaf lies above the highest one of its range.
CpuidRegisters cpuid(u32 leaf, u32 subleaf = 0);

// Extended control register 0: which register state the system saves. 0 when the system has not enabled
// XGETBV.
u64 xcr0();

// The time-stamp counter. Not serialising; cheap enough for hot loops.
inline u64 read_tsc() {
    return __builtin_ia32_rdtsc();
}

// Processor groups of the machine and the active processors of each, at least 1 each. Counted once: where a
// process may be held to some processors (Linux), from the affinity mask that the main thread was started
// with.
u32 processor_group_count();
u32 active_processor_count(u32 group);
// Over all groups.
u32 active_processor_count();
// How much processor time the process is given by its container, in processors and rounded up; 0 = no limit.
// Processors beyond it only take turns. `root` is put before the paths of the system's files (tests).
u32 processor_quota(const std::string& root = "");
// How many threads can really run at a time: the active processors or the quota (0 = none), whichever is
// less. Defaults are made for this number.
constexpr u32 processors_within_quota(u32 active, u32 quota) {
    return quota != 0 && quota < active ? quota : active;
}
u32 usable_processor_count(const std::string& root);
// For this machine; the system is asked once.
u32 usable_processor_count();
// The active processors in ascending order, by the system's numbers (Windows: 64 * group + number in the
// group).
const std::vector<u32>& active_processors();
// Those of one group; none for a group that does not exist.
std::vector<u32> active_processors(u32 group);

}  // namespace trel::os
