#include "os/cpu.h"

#include <cpuid.h>

#include <cstddef>

#include "os/affinity.h"

namespace trel::os {

CpuidRegisters cpuid(u32 leaf, u32 subleaf) {
    CpuidRegisters r;
    if (!__get_cpuid_count(leaf, subleaf, &r.eax, &r.ebx, &r.ecx, &r.edx)) return {};
    return r;
}

u64 xcr0() {
    constexpr u32 kOsXsave = u32(1) << 27;
    if (!(cpuid(1).ecx & kOsXsave)) return 0;
    u32 low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return u64(high) << 32 | low;
}

const std::vector<u32>& active_processors() {
    static const std::vector<u32> processors = [] {
        std::vector<u32> found;
        if (get_thread_affinity(found)) found.clear();
        if (found.empty()) found.push_back(0);
        return found;
    }();
    return processors;
}

u32 processor_group_count() {
    return 1;
}

u32 active_processor_count(u32 group) {
    return group == 0 ? static_cast<u32>(active_processors().size()) : 0;
}

u32 active_processor_count() {
    return active_processor_count(0);
}

namespace {
// Counts before the first thread changes its own affinity.
[[maybe_unused]] const size_t counted_at_start = active_processors().size();
}  // namespace

}  // namespace trel::os
