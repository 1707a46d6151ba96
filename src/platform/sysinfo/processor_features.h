// What the processor and the operating system offer, as CPUID and XGETBV tell it.
#pragma once

#include <functional>
#include <string>

#include "os/cpu.h"
#include "os/types.h"

namespace trel {

struct ProcessorFeatures {
    // Vendor: whether the processor names one at all, and two of them.
    bool vendor_identified = false;
    bool amd = false;
    bool intel = false;
    // Operating system: runs 64-bit programs, saves the 256-bit registers, saves the 512-bit and mask
    // registers.
    bool os_64bit = false;
    bool os_avx = false;
    bool os_avx512 = false;
    // Hardware
    bool mmx = false;
    bool x64 = false;
    bool abm = false;
    bool rdrand = false;
    bool rdseed = false;
    bool bmi1 = false;
    bool bmi2 = false;
    bool adx = false;
    bool mpx = false;
    bool prefetchw = false;
    bool prefetchwt1 = false;
    bool rdpid = false;
    bool gfni = false;
    bool vaes = false;
    // 128-bit
    bool sse = false;
    bool sse2 = false;
    bool sse3 = false;
    bool ssse3 = false;
    bool sse4a = false;
    bool sse41 = false;
    bool sse42 = false;
    bool aes_ni = false;
    bool sha = false;
    // 256-bit
    bool avx = false;
    bool xop = false;
    bool fma3 = false;
    bool fma4 = false;
    bool avx2 = false;
    // 512-bit
    bool avx512_f = false;
    bool avx512_cd = false;
    bool avx512_pf = false;
    bool avx512_er = false;
    bool avx512_vl = false;
    bool avx512_bw = false;
    bool avx512_dq = false;
    bool avx512_ifma = false;
    bool avx512_vbmi = false;
    bool avx512_vpopcntdq = false;
    bool avx512_4fmaps = false;
    bool avx512_4vnniw = false;
    bool avx512_vbmi2 = false;
    bool avx512_vpclmul = false;
    bool avx512_vnni = false;
    bool avx512_bitalg = false;
    bool avx512_bf16 = false;
};

// The instructions that the record is read with. What CPUID answers above the highest leaf of a range may be
// anything; XGETBV is executed only where the system has enabled it.
struct ProcessorCalls {
    std::function<os::CpuidRegisters(u32 leaf, u32 subleaf)> cpuid;
    std::function<u64()> xcr0;

    static const ProcessorCalls& of_this_machine();
};

// The registers that the record is read from. A leaf that the processor does not have is all zero.
struct RawProcessor {
    os::CpuidRegisters leaf0;  // vendor
    os::CpuidRegisters leaf1;
    os::CpuidRegisters leaf7;
    os::CpuidRegisters leaf7_1;    // leaf 7, subleaf 1
    os::CpuidRegisters extended1;  // 0x80000001
    u64 xcr0 = 0;
};
RawProcessor read_processor(const ProcessorCalls& calls);
ProcessorFeatures features_of(const RawProcessor& raw);

ProcessorFeatures detect_features(const ProcessorCalls& calls = ProcessorCalls::of_this_machine());

// The processor's brand string without surrounding blanks; "Unable to Detect" without one.
std::string processor_name(const ProcessorCalls& calls = ProcessorCalls::of_this_machine());

}  // namespace trel
