#include "platform/sysinfo/processor_features.h"

#include <cstring>

#include "os/smbios.h"

namespace trel {
namespace {

constexpr bool bit(u32 value, unsigned i) {
    return (value >> i & 1) != 0;
}

bool vendor_is(const os::CpuidRegisters& leaf0, const char* name) {
    char text[12];
    std::memcpy(text, &leaf0.ebx, 4);
    std::memcpy(text + 4, &leaf0.edx, 4);
    std::memcpy(text + 8, &leaf0.ecx, 4);
    return std::memcmp(text, name, 12) == 0;
}

// The extended leaves have numbers from here on; the first tells the highest.
constexpr u32 kExtended = 0x80000000u;

// 0 for a processor without such leaves: what it answers is not the number of a leaf.
u32 highest_extended_leaf(const ProcessorCalls& calls) {
    const u32 highest = calls.cpuid(kExtended, 0).eax;
    return highest >> 16 == kExtended >> 16 ? highest : 0;
}

}  // namespace

// Bit numbers: Intel 64 and IA-32 Architectures Software Developer's Manual, volume 2, CPUID; AMD64
// Architecture Programmer's Manual, volume 3, appendix E.
ProcessorFeatures features_of(const RawProcessor& raw) {
    ProcessorFeatures f;
    f.vendor_identified = (raw.leaf0.ebx | raw.leaf0.ecx | raw.leaf0.edx) != 0;
    f.amd = vendor_is(raw.leaf0, "AuthenticAMD");
    f.intel = vendor_is(raw.leaf0, "GenuineIntel");

    f.os_64bit = sizeof(void*) == 8;
    f.os_avx = (raw.xcr0 & 0x06) == 0x06;
    f.os_avx512 = (raw.xcr0 & 0xe6) == 0xe6;

    const u32 c1 = raw.leaf1.ecx, d1 = raw.leaf1.edx;
    f.sse3 = bit(c1, 0);
    f.ssse3 = bit(c1, 9);
    f.fma3 = bit(c1, 12);
    f.sse41 = bit(c1, 19);
    f.sse42 = bit(c1, 20);
    f.aes_ni = bit(c1, 25);
    f.avx = bit(c1, 28);
    f.rdrand = bit(c1, 30);
    f.mmx = bit(d1, 23);
    f.sse = bit(d1, 25);
    f.sse2 = bit(d1, 26);

    const u32 b7 = raw.leaf7.ebx, c7 = raw.leaf7.ecx, d7 = raw.leaf7.edx;
    f.bmi1 = bit(b7, 3);
    f.avx2 = bit(b7, 5);
    f.bmi2 = bit(b7, 8);
    f.mpx = bit(b7, 14);
    f.avx512_f = bit(b7, 16);
    f.avx512_dq = bit(b7, 17);
    f.rdseed = bit(b7, 18);
    f.adx = bit(b7, 19);
    f.avx512_ifma = bit(b7, 21);
    f.avx512_pf = bit(b7, 26);
    f.avx512_er = bit(b7, 27);
    f.avx512_cd = bit(b7, 28);
    f.sha = bit(b7, 29);
    f.avx512_bw = bit(b7, 30);
    f.avx512_vl = bit(b7, 31);
    f.prefetchwt1 = bit(c7, 0);
    f.avx512_vbmi = bit(c7, 1);
    f.avx512_vbmi2 = bit(c7, 6);
    f.gfni = bit(c7, 8);
    f.vaes = bit(c7, 9);
    f.avx512_vpclmul = bit(c7, 10);
    f.avx512_vnni = bit(c7, 11);
    f.avx512_bitalg = bit(c7, 12);
    f.avx512_vpopcntdq = bit(c7, 14);
    f.rdpid = bit(c7, 22);
    f.avx512_4vnniw = bit(d7, 2);
    f.avx512_4fmaps = bit(d7, 3);
    f.avx512_bf16 = bit(raw.leaf7_1.eax, 5);

    const u32 cx = raw.extended1.ecx, dx = raw.extended1.edx;
    f.abm = bit(cx, 5);
    f.sse4a = bit(cx, 6);
    f.prefetchw = bit(cx, 8);
    f.xop = bit(cx, 11);
    f.fma4 = bit(cx, 16);
    f.x64 = bit(dx, 29);
    return f;
}

const ProcessorCalls& ProcessorCalls::of_this_machine() {
    static const ProcessorCalls calls{[](u32 leaf, u32 subleaf) { return os::cpuid(leaf, subleaf); },
                                      [] { return os::xcr0(); }};
    return calls;
}

RawProcessor read_processor(const ProcessorCalls& calls) {
    constexpr u32 kOsXsave = u32(1) << 27;
    RawProcessor raw;
    raw.leaf0 = calls.cpuid(0, 0);
    if (raw.leaf0.eax >= 1) raw.leaf1 = calls.cpuid(1, 0);
    if (raw.leaf0.eax >= 7) raw.leaf7 = calls.cpuid(7, 0);
    // Leaf 7 tells in eax how many subleaves it has.
    if (raw.leaf7.eax >= 1) raw.leaf7_1 = calls.cpuid(7, 1);
    if (highest_extended_leaf(calls) >= kExtended + 1) raw.extended1 = calls.cpuid(kExtended + 1, 0);
    if (raw.leaf1.ecx & kOsXsave) raw.xcr0 = calls.xcr0();
    return raw;
}

ProcessorFeatures detect_features(const ProcessorCalls& calls) {
    return features_of(read_processor(calls));
}

std::string processor_name(const ProcessorCalls& calls) {
    std::string name;
    if (highest_extended_leaf(calls) >= kExtended + 4) {
        char text[49] = {};
        for (u32 i = 0; i < 3; i++) {
            const os::CpuidRegisters r = calls.cpuid(kExtended + 2 + i, 0);
            const u32 words[4] = {r.eax, r.ebx, r.ecx, r.edx};
            std::memcpy(text + 16 * i, words, 16);
        }
        name = os::printable_text(text);
    }
    return name.empty() ? "Unable to Detect" : name;
}

}  // namespace trel
