#include <cpuid.h>

#include "os/cpu.h"

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

}  // namespace trel::os
