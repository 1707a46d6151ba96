#include "os/topology.h"

#include <gtest/gtest.h>

#include <random>

#include "os/cpu.h"
#include "os/linux/cpuid_topology.h"
#include "os/linux/number_list.h"
#include "os/numa.h"
#include "support/fake_root.h"

using namespace trel;

namespace {

constexpr const char* kCpu = "/sys/devices/system/cpu";
constexpr const char* kNode = "/sys/devices/system/node";

void processor(const FakeRoot& root, int number, int package, int core, int die = -1) {
    const std::string folder = kCpu + ("/cpu" + std::to_string(number)) + "/topology/";
    root.file(folder + "physical_package_id", std::to_string(package) + "\n");
    root.file(folder + "core_id", std::to_string(core) + "\n");
    if (die >= 0) root.file(folder + "die_id", std::to_string(die) + "\n");
}

std::vector<u32> counts(const FakeRoot& root) {
    const os::Topology t = os::topology(root.path());
    return {t.logical_cores, t.physical_cores, t.sockets, t.numa_nodes};
}

using Counts = std::vector<u32>;

}  // namespace

TEST(TopologyTest, OneSocketWithTwoThreadsACore) {
    FakeRoot root;
    root.file(std::string(kCpu) + "/online", "0-7\n");
    root.file(std::string(kNode) + "/online", "0\n");
    for (int i = 0; i < 8; i++) processor(root, i, 0, i % 4);
    EXPECT_EQ(counts(root), (Counts{8, 4, 1, 1}));
}

// Core numbers repeat on each socket, and on each die of one.
TEST(TopologyTest, SeveralSocketsDiesAndNodes) {
    FakeRoot root;
    root.file(std::string(kCpu) + "/online", "0-15\n");
    root.file(std::string(kNode) + "/online", "0-1,4-5\n");
    for (int i = 0; i < 16; i++) processor(root, i, i / 8, i % 2, i / 4 % 2);
    EXPECT_EQ(counts(root), (Counts{16, 8, 2, 4}));
}

TEST(TopologyTest, ProcessorsThatAreSwitchedOffDoNotCount) {
    FakeRoot root;
    root.file(std::string(kCpu) + "/online", "0,2-3\n");
    root.file(std::string(kCpu) + "/present", "0-3\n");
    for (int i = 0; i < 4; i++) processor(root, i, 0, i);
    EXPECT_EQ(counts(root), (Counts{3, 3, 1, 1}));
}

TEST(TopologyTest, APackageWithoutANumberIsOne) {
    FakeRoot root;
    root.file(std::string(kCpu) + "/online", "0-1\n");
    processor(root, 0, -1, 0);
    processor(root, 1, -1, 1);
    EXPECT_EQ(counts(root), (Counts{2, 2, 1, 1}));
}

TEST(TopologyTest, WhatIsNotToldIsUnknown) {
    FakeRoot root;
    // Without sysfs the processor tells.
    const os::Topology by_cpuid = os::topology(root.path());
    EXPECT_GE(by_cpuid.logical_cores, 1u);
    EXPECT_LE(by_cpuid.physical_cores, by_cpuid.logical_cores);
    EXPECT_LE(by_cpuid.sockets, by_cpuid.physical_cores);
    const os::CpuidRegisters first = os::cpuid(0xb, 0);
    const bool tells = (first.ecx >> 8 & 255) == 1 && (first.ebx & 0xffff) != 0;
    EXPECT_EQ(by_cpuid.physical_cores != 0, tells);
    EXPECT_EQ(by_cpuid.sockets != 0, tells);
    EXPECT_EQ(by_cpuid.numa_nodes, 1u);  // no node folder: all memory is near
    root.folder(kCpu);
    EXPECT_EQ(counts(root), (Counts{0, 0, 0, 1}));
    root.file(std::string(kCpu) + "/online", "0-1\n");
    EXPECT_EQ(counts(root), (Counts{2, 0, 0, 1}));
    processor(root, 0, 0, 0);
    EXPECT_EQ(counts(root), (Counts{2, 0, 0, 1}));  // processor 1 might be in another socket
    processor(root, 1, 0, 1);
    EXPECT_EQ(counts(root), (Counts{2, 2, 1, 1}));
    root.remove(std::string(kCpu) + "/cpu1/topology/core_id");
    EXPECT_EQ(counts(root), (Counts{2, 0, 1, 1}));
    root.file(std::string(kCpu) + "/cpu1/topology/core_id", "one\n");
    EXPECT_EQ(counts(root), (Counts{2, 0, 1, 1}));
    root.file(std::string(kCpu) + "/online", "0-x\n");
    root.file(std::string(kNode) + "/online", "many\n");
    EXPECT_EQ(counts(root), (Counts{0, 0, 0, 0}));
}

namespace {

// Logical processors of a core and of a package, as leaf 11 tells them; none where it is missing.
u32 of_core = 0, of_package = 0;

os::CpuidRegisters fake_cpuid(u32 leaf, u32 level) {
    if (leaf != 0xb || of_core == 0) return {};
    if (level == 0) return {.ebx = of_core, .ecx = 1 << 8};
    if (level == 1) return {.ebx = of_package, .ecx = 2 << 8 | 1};
    return {.ecx = level};
}

Counts by_cpuid(u32 logical, u32 core, u32 package) {
    of_core = core;
    of_package = package;
    os::Topology t;
    t.logical_cores = logical;
    os::count_by_cpuid(t, fake_cpuid);
    return {t.logical_cores, t.physical_cores, t.sockets};
}

}  // namespace

TEST(TopologyTest, ByWhatAProcessorSaysOfItself) {
    EXPECT_EQ(by_cpuid(16, 2, 16), (Counts{16, 8, 1}));
    EXPECT_EQ(by_cpuid(32, 2, 16), (Counts{32, 16, 2}));
    EXPECT_EQ(by_cpuid(16, 1, 8), (Counts{16, 16, 2}));
    // A guest has a part of a package, or not even a whole core.
    EXPECT_EQ(by_cpuid(4, 2, 16), (Counts{4, 2, 1}));
    EXPECT_EQ(by_cpuid(1, 2, 16), (Counts{1, 1, 1}));
    // Processors that do not tell, or tell what cannot be.
    EXPECT_EQ(by_cpuid(16, 0, 0), (Counts{16, 0, 0}));
    EXPECT_EQ(by_cpuid(16, 4, 2), (Counts{16, 0, 0}));
}

TEST(TopologyTest, OfThisMachine) {
    const os::Topology t = os::topology();
    EXPECT_GE(t.logical_cores, os::active_processor_count());
    EXPECT_LE(t.physical_cores, t.logical_cores);
    EXPECT_LE(t.sockets, t.physical_cores);
    u32 highest = 0;
    ASSERT_FALSE(os::highest_numa_node(highest).failed());
    EXPECT_LE(t.numa_nodes, highest + 1);
    EXPECT_GE(t.numa_nodes, 1u);
}

TEST(NumberListTest, Forms) {
    using os::parse_number_list;
    using List = std::vector<u32>;
    EXPECT_EQ(parse_number_list("0-3,8"), (List{0, 1, 2, 3, 8}));
    EXPECT_EQ(parse_number_list("5\n"), List{5});
    EXPECT_EQ(parse_number_list("7-7"), List{7});
    EXPECT_EQ(parse_number_list("4,2,2"), (List{4, 2, 2}));
    EXPECT_EQ(parse_number_list(""), List{});
    EXPECT_EQ(parse_number_list("\n"), List{});
    EXPECT_EQ(parse_number_list("0-65535")->size(), 65536u);
    for (const char* bad : {"x", ",", "1,", ",1", "1-", "-1", "3-1", "1--2", "1-2-3", "1;2", "1 2", " 1",
                            "65536", "0-4294967295", "99999999999999999999", "0-65535,0", "0x3"}) {
        EXPECT_FALSE(parse_number_list(bad).has_value()) << bad;
    }
}

TEST(NumberListTest, AnyTextIsSurvived) {
    std::mt19937_64 random(4);
    const std::string letters = "0123456789,,--\n x\xff";
    size_t lists = 0;
    for (int round = 0; round < 50000; round++) {
        std::string text(random() % 12, ' ');
        for (char& c : text) c = letters[random() % letters.size()];
        const auto numbers = os::parse_number_list(text);
        if (!numbers) continue;
        lists++;
        ASSERT_LE(numbers->size(), os::kListLimit);
        for (const u32 n : *numbers) ASSERT_LT(n, os::kListLimit) << text;
    }
    EXPECT_GT(lists, 100u);
}
