#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "platform/sysinfo/feature_check.h"
#include "platform/sysinfo/processor_features.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

// The smallest machine that passes the check.
ProcessorFeatures required_features() {
    ProcessorFeatures f;
    f.vendor_identified = f.intel = f.os_64bit = f.os_avx = f.os_avx512 = true;
    f.x64 = f.abm = f.bmi2 = f.adx = true;
    f.sse = f.sse2 = f.sse3 = f.ssse3 = f.sse41 = f.sse42 = true;
    f.avx = f.fma3 = f.avx2 = true;
    f.avx512_f = f.avx512_vl = f.avx512_bw = f.avx512_dq = f.avx512_ifma = f.avx512_vbmi = true;
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

TEST(FeatureCheckTest, PassesSilently) {
    EXPECT_TRUE(check_features(required_features()));
    CaptureConsole console(CaptureConsole::terminal, true);
    print_feature_check(required_features(), false);
    EXPECT_EQ(console.take(), std::string(kListText) + "{w}\n");
}

// Exactly the features that the page marks: each feature alone is taken away from a machine that has them
// all.
TEST(FeatureCheckTest, EveryMarkedFeatureIsNeededAndNoOther) {
    static_assert(std::is_trivially_copyable_v<ProcessorFeatures>);
    constexpr size_t kFeatures = sizeof(ProcessorFeatures);
    auto machine_without = [](size_t feature) {
        bool bits[kFeatures];
        std::fill(std::begin(bits), std::end(bits), true);
        if (feature < kFeatures) bits[feature] = false;
        ProcessorFeatures f;
        std::memcpy(&f, bits, kFeatures);
        return f;
    };
    auto page_of = [](const ProcessorFeatures& f) {
        CaptureConsole console;
        print_hardware_features(f);
        return console.take();
    };
    EXPECT_TRUE(check_features(machine_without(kFeatures)));
    EXPECT_TRUE(check_features(required_features()));
    size_t marked = 0, unmarked = 0;
    for (size_t i = 0; i < kFeatures; i++) {
        const ProcessorFeatures f = machine_without(i);
        const std::string page = page_of(f);
        const size_t no = page.find("= No\n");
        if (no == std::string::npos) {  // whether the vendor is known has no line
            EXPECT_FALSE(f.vendor_identified);
            EXPECT_FALSE(check_features(f));
            continue;
        }
        EXPECT_EQ(page.find("= No\n", no + 1), std::string::npos) << page;
        const std::string line = page.substr(page.rfind('\n', no) + 1);
        const bool is_marked = line.starts_with("  * ");
        EXPECT_EQ(check_features(f), !is_marked) << line;
        (is_marked ? marked : unmarked)++;
    }
    EXPECT_EQ(marked, 22u);
    EXPECT_EQ(unmarked, 28u);
}

TEST(FeatureCheckTest, AnyVendorThatNamesItselfWillDo) {
    ProcessorFeatures f = required_features();
    f.intel = false;
    EXPECT_TRUE(check_features(f));
    f.vendor_identified = false;
    EXPECT_FALSE(check_features(f));
}

TEST(FeatureCheckTest, WarnsAndPausesUnlessSkipped) {
    ProcessorFeatures f = required_features();
    f.avx512_vbmi = false;
    CaptureConsole console(CaptureConsole::terminal, true);
    print_feature_check(f, false);
    EXPECT_EQ(console.take(),
              std::string(kListText) + kWarningText + "{w}Press any key to continue . . . \n\n{w}\n");
    print_feature_check(f, true);
    EXPECT_EQ(console.take(), std::string(kListText) + kWarningText + "\n{w}\n");
}

TEST(GroupBalanceTest, WarnsOnlyWhenGroupsDiffer) {
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
    // Any group counts, and numbers may need more room.
    std::vector<u32> groups(11, 64);
    groups[10] = 100;
    print_group_balance_check(groups);
    const std::string text = console.take();
    EXPECT_TRUE(text.starts_with("{R}Warning: ")) << text;
    EXPECT_NE(text.find("\n    Group  9:  64 cores\n    Group 10:  100 cores\n{w}\n"), std::string::npos)
        << text;
}

// The whole page, colours included: on a machine without AVX512-VBMI, which makes the start-up check warn.
TEST(HardwareFeaturesTest, ThePageListsEveryFeature) {
    ProcessorFeatures f = required_features();
    f.avx512_vbmi = false;
    f.sha = f.avx512_cd = f.bmi1 = true;
    EXPECT_FALSE(check_features(f));
    CaptureConsole console(CaptureConsole::terminal, true);
    print_hardware_features(f);
    const char* const lines[] = {"{w}CPU Vendor:",
                                 "    AMD         = -",
                                 "    Intel       = +",
                                 "",
                                 "{w}OS Features:",
                                 "  * 64-bit      = +",
                                 "  * OS AVX      = +",
                                 "  * OS AVX512   = +",
                                 "{w}Hardware Features:",
                                 "    MMX         = -",
                                 "  * x64         = +",
                                 "  * ABM         = +",
                                 "    RDRAND      = -",
                                 "    RDSEED      = -",
                                 "    BMI1        = +",
                                 "  * BMI2        = +",
                                 "  * ADX         = +",
                                 "    MPX         = -",
                                 "    PREFETCHW   = -",
                                 "    PREFETCHWT1 = -",
                                 "    RDPID       = -",
                                 "    GFNI        = -",
                                 "    VAES        = -",
                                 "{w}SIMD: 128-bit",
                                 "  * SSE         = +",
                                 "  * SSE2        = +",
                                 "  * SSE3        = +",
                                 "  * SSSE3       = +",
                                 "    SSE4a       = -",
                                 "  * SSE4.1      = +",
                                 "  * SSE4.2      = +",
                                 "    AES-NI      = -",
                                 "    SHA         = +",
                                 "{w}SIMD: 256-bit",
                                 "  * AVX         = +",
                                 "    XOP         = -",
                                 "  * FMA3        = +",
                                 "    FMA4        = -",
                                 "  * AVX2        = +",
                                 "{w}SIMD: 512-bit",
                                 "  * AVX512-F         = +",
                                 "    AVX512-CD        = +",
                                 "    AVX512-PF        = -",
                                 "    AVX512-ER        = -",
                                 "  * AVX512-VL        = +",
                                 "  * AVX512-BW        = +",
                                 "  * AVX512-DQ        = +",
                                 "  * AVX512-IFMA      = +",
                                 "  * AVX512-VBMI      = -",
                                 "{w}",
                                 "{w}Alright Intel, how many drinks have you had tonight?",
                                 "    AVX512-VPOPCNTDQ = -",
                                 "    AVX512-4FMAPS    = -",
                                 "    AVX512-4VNNIW    = -",
                                 "    AVX512-VBMI2     = -",
                                 "    AVX512-VPCLMUL   = -",
                                 "    AVX512-VNNI      = -",
                                 "    AVX512-BITALG    = -",
                                 "    AVX512-BF16      = -",
                                 "{w}"};
    // A row ends in its answer, "+" or "-"; rows and headings begin with a colour.
    std::string want;
    for (const std::string line : lines) {
        if (line.ends_with("= +") || line.ends_with("= -")) {
            want += "{w}" + line.substr(0, line.size() - 1) + (line.ends_with('+') ? "{G}Yes\n" : "{R}No\n");
        } else {
            want += line + "\n";
        }
    }
    want.pop_back();  // the page ends with a colour
    EXPECT_EQ(console.take(), want);
}

// Each bit of each register lights the one feature that the vendors' manuals give it, and nothing else.
TEST(FeaturesOfTest, EveryBitHasItsFeature) {
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
    // All but the three of the vendor and the three of the operating system.
    EXPECT_EQ(features, sizeof(F) - 6);
}

TEST(FeaturesOfTest, Vendors) {
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
    EXPECT_TRUE(of("GenuineIntem").vendor_identified);
    EXPECT_FALSE(of("\0\0\0\0\0\0\0\0\0\0\0\0").vendor_identified);
}

TEST(FeaturesOfTest, RegisterStateNeedsAllItsBits) {
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

// A processor of a test's own. Above its highest leaves it answers like Intel's: with the highest standard
// leaf.
class FakeProcessor {
  public:
    FakeProcessor(const char* vendor, u32 highest, u32 highest_extended) {
        os::CpuidRegisters& leaf0 = leaf(0);
        leaf0.eax = highest_ = highest;
        std::memcpy(&leaf0.ebx, vendor, 4);
        std::memcpy(&leaf0.edx, vendor + 4, 4);
        std::memcpy(&leaf0.ecx, vendor + 8, 4);
        leaf(0x80000000u).eax = highest_extended_ = highest_extended;
    }
    os::CpuidRegisters& leaf(u32 number, u32 subleaf = 0) { return leaves_[{number, subleaf}]; }
    void brand(const std::string& text) {
        std::string padded = text;
        padded.resize(48, '\0');
        for (u32 i = 0; i < 3; i++) std::memcpy(&leaf(0x80000002u + i), padded.data() + 16 * i, 16);
    }
    ProcessorCalls source() {
        return {[this](u32 number, u32 subleaf) {
                    const bool extended = number >= 0x80000000u;
                    asked.insert(number);
                    if (number > (extended ? highest_extended_ : highest_)) return above;
                    const auto found = leaves_.find({number, subleaf});
                    return found == leaves_.end() ? os::CpuidRegisters{} : found->second;
                },
                [this] {
                    xgetbv++;
                    return xcr0;
                }};
    }

    os::CpuidRegisters above{~0u, ~0u, ~0u, ~0u};
    u64 xcr0 = 0xe7;
    int xgetbv = 0;
    std::set<u32> asked;

  private:
    u32 highest_, highest_extended_;
    std::map<std::pair<u32, u32>, os::CpuidRegisters> leaves_;
};

constexpr u32 kOsXsave = u32(1) << 27;

}  // namespace

TEST(DetectFeaturesTest, AnIntelProcessor) {
    FakeProcessor processor("GenuineIntel", 0x16, 0x80000008u);
    processor.leaf(1).ecx = kOsXsave | u32(1) << 28;
    processor.leaf(7).eax = 1;
    processor.leaf(7).ebx = u32(1) << 5 | u32(1) << 16;
    processor.leaf(7, 1).eax = u32(1) << 5;
    processor.leaf(0x80000001u).ecx = u32(1) << 5;
    processor.leaf(0x80000001u).edx = u32(1) << 29;
    processor.brand("      Some(R) Processor(TM) @ 2.60GHz");
    const ProcessorFeatures f = detect_features(processor.source());
    EXPECT_TRUE(f.intel && f.vendor_identified && !f.amd);
    EXPECT_TRUE(f.avx && f.avx2 && f.avx512_f && f.avx512_bf16 && f.abm && f.x64 && f.os_avx && f.os_avx512);
    EXPECT_FALSE(f.sse || f.bmi1 || f.fma4);
    EXPECT_EQ(processor_name(processor.source()), "Some(R) Processor(TM) @ 2.60GHz");
}

TEST(DetectFeaturesTest, AnAmdProcessor) {
    FakeProcessor processor("AuthenticAMD", 0x0d, 0x8000001eu);
    processor.leaf(1).ecx = kOsXsave | u32(1) << 28;
    processor.leaf(0x80000001u).ecx = u32(1) << 6 | u32(1) << 11 | u32(1) << 16;
    processor.xcr0 = 0x7;
    processor.brand("Some Processor 8-Core                          ");
    const ProcessorFeatures f = detect_features(processor.source());
    EXPECT_TRUE(f.amd && f.vendor_identified && !f.intel);
    EXPECT_TRUE(f.sse4a && f.xop && f.fma4 && f.avx && f.os_avx);
    EXPECT_FALSE(f.os_avx512);
    EXPECT_EQ(processor_name(processor.source()), "Some Processor 8-Core");
}

// A virtual machine shows leaves of its own from 0x40000000 on; the processor's are what counts.
TEST(DetectFeaturesTest, AHypervisorChangesNothing) {
    FakeProcessor processor("GenuineIntel", 0x0d, 0x80000008u);
    processor.leaf(1).ecx = kOsXsave;
    const ProcessorFeatures bare = detect_features(processor.source());
    processor.leaf(1).ecx |= u32(1) << 31;
    processor.leaf(0x40000000u) = {0x40000001u, 0x4b4d564bu, 0x564b4d56u, 0x4du};
    const ProcessorFeatures hosted = detect_features(processor.source());
    EXPECT_EQ(std::memcmp(&bare, &hosted, sizeof bare), 0);
    EXPECT_TRUE(hosted.intel);
    EXPECT_EQ(processor.asked.count(0x40000000u), 0u);
}

// Executing XGETBV where the system has not enabled it would end the program.
TEST(DetectFeaturesTest, WithoutXgetbv) {
    FakeProcessor processor("GenuineIntel", 0x0d, 0x80000008u);
    processor.leaf(1).ecx = u32(1) << 26 | u32(1)
                                               << 28;  // the processor has XSAVE, the system does not use it
    const ProcessorFeatures f = detect_features(processor.source());
    EXPECT_EQ(processor.xgetbv, 0);
    EXPECT_TRUE(f.avx);
    EXPECT_FALSE(f.os_avx || f.os_avx512);
    processor.leaf(1).ecx |= kOsXsave;
    EXPECT_TRUE(detect_features(processor.source()).os_avx512);
    EXPECT_EQ(processor.xgetbv, 1);
}

TEST(DetectFeaturesTest, LeavesAboveTheHighestAreNotBelieved) {
    for (const u32 highest : {0u, 1u, 2u, 6u}) {
        FakeProcessor processor("GenuineIntel", highest, 0x80000000u);
        if (highest >= 1) processor.leaf(1).ecx = kOsXsave;
        const ProcessorFeatures f = detect_features(processor.source());
        EXPECT_FALSE(f.avx2 || f.avx512_f || f.avx512_vbmi || f.avx512_4fmaps || f.avx512_bf16) << highest;
        EXPECT_FALSE(f.x64 || f.abm || f.xop) << highest;
        EXPECT_FALSE(f.sse || f.avx) << highest;
        EXPECT_EQ(f.os_avx512, highest >= 1) << highest;
    }
    // Leaf 7 without its second subleaf.
    FakeProcessor processor("GenuineIntel", 7, 0x80000001u);
    processor.leaf(7, 1).eax = ~0u;
    processor.leaf(7).ebx = u32(1) << 16;
    EXPECT_TRUE(detect_features(processor.source()).avx512_f);
    EXPECT_FALSE(detect_features(processor.source()).avx512_bf16);
    processor.leaf(7).eax = 1;
    EXPECT_TRUE(detect_features(processor.source()).avx512_bf16);
}

TEST(ProcessorNameTest, UnableToDetect) {
    for (const u32 highest_extended : {0u, 0x80000000u, 0x80000001u, 0x80000003u}) {
        FakeProcessor processor("GenuineIntel", 7, highest_extended);
        processor.brand("A name that is not there");
        EXPECT_EQ(processor_name(processor.source()), "Unable to Detect") << highest_extended;
    }
    FakeProcessor processor("GenuineIntel", 7, 0x80000004u);
    EXPECT_EQ(processor_name(processor.source()), "Unable to Detect");
    processor.brand("                                                ");
    EXPECT_EQ(processor_name(processor.source()), "Unable to Detect");
    processor.brand(std::string(48, 'x'));
    EXPECT_EQ(processor_name(processor.source()), std::string(48, 'x'));
}
