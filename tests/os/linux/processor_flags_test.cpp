#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "base/simd/isa.h"
#include "platform/sysinfo/feature_check.h"
#include "platform/sysinfo/processor_features.h"

using namespace trel;

// Another road to the same bits: the flags that the kernel prints.
TEST(DetectFeaturesTest, AgreesWithTheKernel) {
    std::ifstream info("/proc/cpuinfo");
    std::set<std::string> flags;
    std::string line, vendor, name;
    while (std::getline(info, line)) {
        const std::string value =
            line.find(": ") == std::string::npos ? "" : line.substr(line.find(": ") + 2);
        if (line.rfind("vendor_id", 0) == 0) vendor = value;
        if (line.rfind("model name", 0) == 0) name = value;
        if (line.rfind("flags", 0) == 0) {
            std::istringstream words(value);
            std::string word;
            while (words >> word) flags.insert(word);
            break;
        }
    }
    if (flags.empty()) GTEST_SKIP() << "no flags in /proc/cpuinfo";
    const ProcessorFeatures f = detect_features();
    EXPECT_EQ(f.intel, vendor == "GenuineIntel");
    EXPECT_EQ(f.amd, vendor == "AuthenticAMD");
    EXPECT_EQ(processor_name(), name);
    const std::map<std::string, bool> same = {{"mmx", f.mmx},
                                              {"lm", f.x64},
                                              {"abm", f.abm},
                                              {"rdrand", f.rdrand},
                                              {"rdseed", f.rdseed},
                                              {"bmi1", f.bmi1},
                                              {"bmi2", f.bmi2},
                                              {"adx", f.adx},
                                              {"3dnowprefetch", f.prefetchw},
                                              {"rdpid", f.rdpid},
                                              {"gfni", f.gfni},
                                              {"vaes", f.vaes},
                                              {"sse", f.sse},
                                              {"sse2", f.sse2},
                                              {"pni", f.sse3},
                                              {"ssse3", f.ssse3},
                                              {"sse4a", f.sse4a},
                                              {"sse4_1", f.sse41},
                                              {"sse4_2", f.sse42},
                                              {"aes", f.aes_ni},
                                              {"sha_ni", f.sha},
                                              {"avx", f.avx},
                                              {"xop", f.xop},
                                              {"fma", f.fma3},
                                              {"fma4", f.fma4},
                                              {"avx2", f.avx2},
                                              {"avx512f", f.avx512_f},
                                              {"avx512cd", f.avx512_cd},
                                              {"avx512pf", f.avx512_pf},
                                              {"avx512er", f.avx512_er},
                                              {"avx512vl", f.avx512_vl},
                                              {"avx512bw", f.avx512_bw},
                                              {"avx512dq", f.avx512_dq},
                                              {"avx512ifma", f.avx512_ifma},
                                              {"avx512vbmi", f.avx512_vbmi},
                                              {"avx512_vpopcntdq", f.avx512_vpopcntdq},
                                              {"avx512_4fmaps", f.avx512_4fmaps},
                                              {"avx512_4vnniw", f.avx512_4vnniw},
                                              {"avx512_vbmi2", f.avx512_vbmi2},
                                              {"vpclmulqdq", f.avx512_vpclmul},
                                              {"avx512_vnni", f.avx512_vnni},
                                              {"avx512_bitalg", f.avx512_bitalg},
                                              {"avx512_bf16", f.avx512_bf16}};
    // A kernel hides features that a processor has but does not do right (rdseed of some), never the other
    // way round.
    for (const auto& [flag, present] : same) EXPECT_TRUE(present || flags.count(flag) == 0) << flag;
    if (check_features(f) && is_built(Isa::avx512)) {
        EXPECT_EQ(available_isas().back(), Isa::avx512);
    }
}
