#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "base/simd/isa.h"
#include "os/memory_status.h"
#include "platform/sysinfo/feature_check.h"
#include "platform/sysinfo/processor_features.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

// The smallest machine that passes the check.
ProcessorFeatures required_features() {
    ProcessorFeatures f;
    f.intel = f.os_64bit = f.os_avx = f.os_avx512 = true;
    f.x64 = f.abm = f.bmi1 = f.bmi2 = f.adx = true;
    f.sse = f.sse2 = f.sse3 = f.ssse3 = f.sse41 = f.sse42 = true;
    f.avx = f.fma3 = f.avx2 = true;
    f.avx512_f = f.avx512_cd = f.avx512_vl = f.avx512_bw = f.avx512_dq = f.avx512_ifma = f.avx512_vbmi = true;
    return f;
}

const char* const kListText =
    "\nChecking processor/OS features...\n\n"
    "Required Features:\n"
    "{T}    x64, ABM, BMI1, BMI2, ADX,\n"
    "    SSE, SSE2, SSE3, SSSE3, SSE4.1, SSE4.2,\n"
    "    AVX, FMA3, AVX2,\n"
    "    AVX512-(F/CD/VL/BW/DQ/IFMA/VBMI)\n"
    "\n";
const char* const kWarningText =
    "\n{R}Warning:\n"
    "  This computer does not have all the processor or operating system\n"
    "  features that are necessary to run this binary.\n"
    "\n"
    "  Proceeding may cause the program to crash.\n"
    "\n"
    "{g}  Command line users can skip this message by passing, \"skip-warnings\"\n"
    "  as the first parameter.\n"
    "\n";

}  // namespace

TEST(FeatureCheck, PassesSilently) {
    EXPECT_TRUE(check_features(required_features()));
    CaptureConsole console(CaptureConsole::terminal, true);
    print_feature_check(required_features(), false);
    EXPECT_EQ(console.take(), std::string(kListText) + "{w}\n");
}

TEST(FeatureCheck, EveryListedFeatureIsNeeded) {
    bool ProcessorFeatures::*const needed[] = {
        &ProcessorFeatures::os_64bit,  &ProcessorFeatures::os_avx,      &ProcessorFeatures::os_avx512,
        &ProcessorFeatures::x64,       &ProcessorFeatures::abm,         &ProcessorFeatures::bmi1,
        &ProcessorFeatures::bmi2,      &ProcessorFeatures::adx,         &ProcessorFeatures::sse,
        &ProcessorFeatures::sse2,      &ProcessorFeatures::sse3,        &ProcessorFeatures::ssse3,
        &ProcessorFeatures::sse41,     &ProcessorFeatures::sse42,       &ProcessorFeatures::avx,
        &ProcessorFeatures::fma3,      &ProcessorFeatures::avx2,        &ProcessorFeatures::avx512_f,
        &ProcessorFeatures::avx512_cd, &ProcessorFeatures::avx512_vl,   &ProcessorFeatures::avx512_bw,
        &ProcessorFeatures::avx512_dq, &ProcessorFeatures::avx512_ifma, &ProcessorFeatures::avx512_vbmi};
    for (const auto feature : needed) {
        ProcessorFeatures f = required_features();
        f.*feature = false;
        EXPECT_FALSE(check_features(f));
    }
    ProcessorFeatures f = required_features();
    f.intel = false;
    EXPECT_FALSE(check_features(f));  // vendor unknown
    f.amd = true;
    EXPECT_TRUE(check_features(f));
}

TEST(FeatureCheck, WarnsAndPausesUnlessSkipped) {
    ProcessorFeatures f = required_features();
    f.avx512_vbmi = false;
    CaptureConsole console(CaptureConsole::terminal, true);
    print_feature_check(f, false);
    EXPECT_EQ(console.take(),
              std::string(kListText) + kWarningText + "{w}Press any key to continue . . . \n\n{w}\n");
    print_feature_check(f, true);
    EXPECT_EQ(console.take(), std::string(kListText) + kWarningText + "\n{w}\n");
}

TEST(GroupBalance, WarnsOnlyWhenGroupsDiffer) {
    CaptureConsole console(CaptureConsole::terminal, true);
    print_group_balance_check({64});
    print_group_balance_check({64, 64, 64});
    print_group_balance_check(processor_group_sizes());
    EXPECT_EQ(console.take(), "");
    print_group_balance_check({64, 8});
    EXPECT_EQ(console.take(),
              "{R}Warning: Imbalanced processor groups detected.\n"
              "This may lead to suboptimal performance.\n"
              "    Group  0:  64 cores\n"
              "    Group  1:   8 cores\n"
              "{w}\n{w}Press any key to continue . . . \n");
}

TEST(HardwareFeatures, ListsEveryFeatureWhateverTheMachineHas) {
    CaptureConsole console;
    print_hardware_features(ProcessorFeatures());
    const std::string none = console.take();
    print_hardware_features(required_features());
    const std::string some = console.take();
    EXPECT_EQ(none.find("Yes"), std::string::npos);
    for (const char* line :
         {"CPU Vendor:\n    AMD         = No\n    Intel       = Yes\n\nOS Features:\n",
          "  * 64-bit      = Yes\n  * OS AVX      = Yes\n  * OS AVX512   = Yes\nHardware Features:\n",
          "    MMX         = No\n  * x64         = Yes\n  * ABM         = Yes\n    RDRAND      = No\n",
          "    BMI1        = Yes\n  * BMI2        = Yes\n", "    PREFETCHWT1 = No\n",
          "SIMD: 128-bit\n  * SSE         = Yes\n", "    SHA         = No\nSIMD: 256-bit\n",
          "SIMD: 512-bit\n  * AVX512-F         = Yes\n    AVX512-CD        = Yes\n",
          "  * AVX512-VBMI      = Yes\n\nAlright Intel, how many drinks have you had tonight?\n"
          "    AVX512-VPOPCNTDQ = No\n",
          "    AVX512-BF16      = No\n"}) {
        EXPECT_NE(some.find(line), std::string::npos) << line << "---\n" << some;
    }
    auto lines = [](const std::string& s) { return std::count(s.begin(), s.end(), '\n'); };
    EXPECT_EQ(lines(none), lines(some));
}

// Another road to the same bits: the flags that the kernel prints.
TEST(DetectFeatures, AgreesWithTheKernel) {
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
    for (const auto& [flag, present] : same) EXPECT_EQ(present, flags.count(flag) == 1) << flag;
    if (check_features(f)) {
        EXPECT_EQ(available_isas().back(), Isa::avx512);
    }
}

// Each bit of each register lights the one feature that the vendors' manuals give it, and nothing else.
TEST(FeaturesOf, EveryBitHasItsFeature) {
    using F = ProcessorFeatures;
    using Bits = std::map<unsigned, bool F::*>;
    struct Register {
        os::CpuidRegisters RawProcessor::*leaf;
        u32 os::CpuidRegisters::*reg;
        Bits bits;
    };
    using R = os::CpuidRegisters;
    const Register registers[] = {
        {&RawProcessor::leaf1,
         &R::ecx,
         {{0, &F::sse3},
          {9, &F::ssse3},
          {12, &F::fma3},
          {19, &F::sse41},
          {20, &F::sse42},
          {25, &F::aes_ni},
          {28, &F::avx},
          {30, &F::rdrand}}},
        {&RawProcessor::leaf1, &R::edx, {{23, &F::mmx}, {25, &F::sse}, {26, &F::sse2}}},
        {&RawProcessor::leaf7,
         &R::ebx,
         {{3, &F::bmi1},
          {5, &F::avx2},
          {8, &F::bmi2},
          {14, &F::mpx},
          {16, &F::avx512_f},
          {17, &F::avx512_dq},
          {18, &F::rdseed},
          {19, &F::adx},
          {21, &F::avx512_ifma},
          {26, &F::avx512_pf},
          {27, &F::avx512_er},
          {28, &F::avx512_cd},
          {29, &F::sha},
          {30, &F::avx512_bw},
          {31, &F::avx512_vl}}},
        {&RawProcessor::leaf7,
         &R::ecx,
         {{0, &F::prefetchwt1},
          {1, &F::avx512_vbmi},
          {6, &F::avx512_vbmi2},
          {8, &F::gfni},
          {9, &F::vaes},
          {10, &F::avx512_vpclmul},
          {11, &F::avx512_vnni},
          {12, &F::avx512_bitalg},
          {14, &F::avx512_vpopcntdq},
          {22, &F::rdpid}}},
        {&RawProcessor::leaf7, &R::edx, {{2, &F::avx512_4vnniw}, {3, &F::avx512_4fmaps}}},
        {&RawProcessor::leaf7_1, &R::eax, {{5, &F::avx512_bf16}}},
        {&RawProcessor::extended1,
         &R::ecx,
         {{5, &F::abm}, {6, &F::sse4a}, {8, &F::prefetchw}, {11, &F::xop}, {16, &F::fma4}}},
        {&RawProcessor::extended1, &R::edx, {{29, &F::x64}}},
    };
    auto bytes = [](const F& f) { return std::string(reinterpret_cast<const char*>(&f), sizeof f); };
    size_t features = 0;
    for (const Register& r : registers) {
        features += r.bits.size();
        for (unsigned bit = 0; bit < 32; bit++) {
            RawProcessor raw;
            (raw.*r.leaf).*r.reg = u32(1) << bit;
            F want;
            want.os_64bit = true;
            const auto entry = r.bits.find(bit);
            if (entry != r.bits.end()) want.*(entry->second) = true;
            EXPECT_EQ(bytes(features_of(raw)), bytes(want))
                << "register " << (&r - registers) << " bit " << bit;
        }
    }
    // All but the two vendors and the three of the operating system.
    EXPECT_EQ(features, sizeof(F) - 5);
}

TEST(FeaturesOf, Vendors) {
    auto of = [](const char* name) {
        RawProcessor raw;
        std::memcpy(&raw.leaf0.ebx, name, 4);
        std::memcpy(&raw.leaf0.edx, name + 4, 4);
        std::memcpy(&raw.leaf0.ecx, name + 8, 4);
        return features_of(raw);
    };
    EXPECT_TRUE(of("GenuineIntel").intel);
    EXPECT_FALSE(of("GenuineIntel").amd);
    EXPECT_TRUE(of("AuthenticAMD").amd);
    EXPECT_FALSE(of("AuthenticAMD").intel);
    EXPECT_FALSE(of("GenuineIntem").intel);
}

TEST(FeaturesOf, RegisterStateNeedsAllItsBits) {
    RawProcessor raw;
    EXPECT_FALSE(features_of(raw).os_avx);
    raw.xcr0 = 0x4;
    EXPECT_FALSE(features_of(raw).os_avx);
    raw.xcr0 = 0x7;
    EXPECT_TRUE(features_of(raw).os_avx);
    EXPECT_FALSE(features_of(raw).os_avx512);
    raw.xcr0 = 0xc7;
    EXPECT_FALSE(features_of(raw).os_avx512);
    raw.xcr0 = 0xe7;
    EXPECT_TRUE(features_of(raw).os_avx512);
}

namespace {

// A folder that plays the root of the file system.
class FakeRoot {
  public:
    FakeRoot() {
        std::string name = (std::filesystem::temp_directory_path() / "kalvor-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~FakeRoot() { std::filesystem::remove_all(path_); }
    void file(const std::string& name, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::path(path_ + name).parent_path());
        std::ofstream(path_ + name) << text;
    }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

constexpr u64 kKb = 1024;

}  // namespace

TEST(MemoryStatus, OfThisMachine) {
    const os::MemoryStatus status = os::memory_status();
    EXPECT_GT(status.total_physical, u64(1) << 26);
    EXPECT_GT(status.available_physical, 0u);
    EXPECT_LE(status.available_physical, status.total_physical);
    EXPECT_EQ(status.address_space, u64(1) << 47);
}

TEST(MemoryStatus, Unlimited) {
    FakeRoot root;
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 0u);
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemFree:    300 kB\nMemAvailable:  600 kB\n");
    root.file("/proc/self/cgroup", "0::/\n");
    os::MemoryStatus status = os::memory_status(root.path());
    EXPECT_EQ(status.total_physical, 1000 * kKb);
    EXPECT_EQ(status.available_physical, 600 * kKb);
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemFree:    300 kB\n");
    EXPECT_EQ(os::memory_status(root.path()).available_physical, 300 * kKb);
}

TEST(MemoryStatus, ControlGroupVersion2) {
    FakeRoot root;
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemAvailable:  900 kB\n");
    root.file("/proc/self/cgroup", "0::/outer/inner\n");
    root.file("/sys/fs/cgroup/outer/inner/memory.max", "max\n");
    root.file("/sys/fs/cgroup/outer/memory.max", std::to_string(500 * kKb));
    root.file("/sys/fs/cgroup/outer/memory.current", std::to_string(200 * kKb));
    root.file("/sys/fs/cgroup/outer/memory.stat",
              "anon 5\ninactive_file " + std::to_string(150 * kKb) + "\nactive_file 7\n");
    const os::MemoryStatus status = os::memory_status(root.path());
    EXPECT_EQ(status.total_physical, 500 * kKb);
    EXPECT_EQ(status.available_physical, 450 * kKb);  // 150 of the 200 in use are cache
}

TEST(MemoryStatus, ControlGroupVersion1) {
    FakeRoot root;
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemAvailable:  900 kB\n");
    root.file("/proc/self/cgroup", "5:devices:/\n4:cpu,memory:/job\n0::/\n");
    root.file("/sys/fs/cgroup/memory/job/memory.limit_in_bytes", std::to_string(400 * kKb));
    root.file("/sys/fs/cgroup/memory/job/memory.usage_in_bytes", std::to_string(500 * kKb));
    root.file("/sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712");
    const os::MemoryStatus status = os::memory_status(root.path());
    EXPECT_EQ(status.total_physical, 400 * kKb);
    EXPECT_EQ(status.available_physical, 0u);
}
