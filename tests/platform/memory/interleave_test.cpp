// Memory nodes: the map, the allocator that spreads pages over them, where pages are found.
#include "platform/memory/interleave_allocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

#include "base/config/parser.h"
#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "os/numa.h"
#include "os/privilege.h"
#include "platform/memory/allocate_heap.h"
#include "platform/memory/fake_machine.h"
#include "platform/memory/malloc_allocator.h"
#include "platform/memory/mmap_allocator.h"
#include "platform/memory/node_workers.h"
#include "platform/memory/placement.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

namespace {

// Two nodes of two processors, as the system numbers them: 0 and 1, 4 and 6.
void make_two_nodes(FakeMachine& machine) {
    machine.nodes = {{0, {{0, 1}}}, {1, {{4, 6}}}};
    machine.all_processors = {0, 1, 4, 6};
}

// A machine with its map, workers and configuration.
struct Rig {
    explicit Rig(FakeMachine& machine)
        : calls(machine.calls()), map(silent_map(calls)), config(calls, map, workers) {}

    static NumaMap silent_map(const MemoryCalls& calls) {
        CaptureConsole console;
        return NumaMap(calls);
    }

    MemoryCalls calls;
    NumaMap map;
    NodeWorkers workers;
    InterleaveConfig config;
};

// The instruction's definition, bit by bit: reflected polynomial 0x1EDC6F41, no inversions.
u32 slow_crc32c(u64 data) {
    u32 crc = 0;
    for (int i = 0; i < 64; i++) {
        const u32 bit = (crc ^ static_cast<u32>(data >> i)) & 1;
        crc = crc >> 1 ^ (bit ? 0x82F63B78U : 0);
    }
    return crc;
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

}  // namespace

TEST(NumaMap, LinesAndLookUp) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.nodes[12] = {{9, 10, 11, 20}};
    machine.nodes[3] = {{}};  // only memory
    machine.all_processors = {0, 1, 4, 6, 9, 10, 11};
    const MemoryCalls calls = machine.calls();
    CaptureConsole console;
    const NumaMap map(calls);
    EXPECT_EQ(console.take(),
              "Parsing NUMA -> Core Mappings...\n"
              "Warning: Skipping invalid KAFFINITY mask.\n"
              "    Node  0:  0, 1\n"
              "    Node  1:  2, 3\n"
              "    Node 12:  4, 5, 6\n");
    EXPECT_EQ(map.nodes().size(), 3U);
    EXPECT_EQ(map.core_to_node(0), 0U);
    EXPECT_EQ(map.core_to_node(3), 1U);
    EXPECT_EQ(map.core_to_node(6), 12U);
    EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)map.core_to_node(7); }),
              "core_to_node()|Invalid core id: 7");
}

TEST(NumaMap, TheWarningIsRed) {
    FakeMachine machine;
    machine.nodes = {{0, {{0, 1}}}};
    const MemoryCalls calls = machine.calls();
    CaptureConsole console(CaptureConsole::terminal, true);
    const NumaMap map(calls);
    EXPECT_EQ(console.text(),
              "Parsing NUMA -> Core Mappings...\n"
              "{R}Warning: Skipping invalid KAFFINITY mask.\n{w}    Node  0:  0\n");
}

// Cores are listed in ascending order, in whatever order a node names its processors.
TEST(NumaMap, CoresAreInOrder) {
    FakeMachine machine;
    machine.nodes = {{0, {{6, 2, 0}}}, {1, {{4}}}};
    machine.all_processors = {0, 2, 4, 6};
    const MemoryCalls calls = machine.calls();
    CaptureConsole console;
    const NumaMap map(calls);
    EXPECT_EQ(map.nodes().at(0).cores, (std::vector<u64>{0, 1, 3}));
    EXPECT_EQ(console.text(), "Parsing NUMA -> Core Mappings...\n    Node  0:  0, 1, 3\n    Node  1:  2\n");
}

TEST(NumaMap, OfThisMachine) {
    CaptureConsole console;
    const NumaMap& map = NumaMap::of_this_machine();
    ASSERT_FALSE(map.nodes().empty());
    for (u64 core = 0; core < os::active_processor_count(); core++) {
        const auto node = map.nodes().find(map.core_to_node(core));
        ASSERT_NE(node, map.nodes().end());
    }
}

TEST(NumaMapDeathTest, ASystemWithoutAnAnswer) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto ask = [] {
        Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        FakeMachine machine;
        machine.highest_error = 120;
        const MemoryCalls calls = machine.calls();
        const NumaMap map(calls);
    };
    EXPECT_EXIT(
        ask(), ::testing::ExitedWithCode(1),
        "^Parsing NUMA -> Core Mappings...\nFatal Error: GetNumaHighestNodeNumber\\(\\) failed: 120\n$");
}

TEST(OsNuma, ReservedPagesAreCommittedOneByOne) {
    const u64 page = os::page_size();
    const os::MappedMemory memory = os::reserve_memory(64 * page);
    ASSERT_NE(memory.base, nullptr);
    EXPECT_EQ(memory.bytes, 64 * page);
    char* const base = static_cast<char*>(memory.base);
    u32 node = ~u32(0);
    ASSERT_FALSE(os::highest_numa_node(node).failed());
    std::vector<void*> pages;
    for (u64 i = 0; i < 64; i++) {
        char* const p = base + i * page;
        // A node that does not exist may refuse; the page is then had from anywhere.
        if (i % 2 == 0 || os::commit_on_numa_node(p, page, 0).failed()) {
            ASSERT_FALSE(os::commit_memory(p, page).failed());
        }
        std::memset(p, static_cast<int>(i), page);
        pages.push_back(p);
    }
    for (u64 i = 0; i < 64; i++) EXPECT_EQ(base[i * page + page - 1], static_cast<char>(i));
    std::vector<i32> nodes(64, -1);
    if (!os::numa_nodes_of_pages(pages.data(), 64, nodes.data())) {
        for (const i32 n : nodes) EXPECT_LE(n, static_cast<i32>(node));
    }
    EXPECT_FALSE(os::unmap_memory(memory.base, memory.bytes).failed());
}

TEST(Interleave, ChecksumOfAnAddress) {
    for (const u64 a : {u64(0), u64(1), u64(4096), u64(0x7f0000001000), ~u64(0), u64(0x123456789abcdef0)}) {
        EXPECT_EQ(crc32c_of_address(a), slow_crc32c(a)) << a;
    }
    EXPECT_EQ(crc32c_of_address(1), 0x493c7d27U);
}

TEST(Interleave, RoundRobinPagesAlternate) {
    FakeMachine machine;
    make_two_nodes(machine);
    Rig rig(machine);
    rig.config.hashed = false;
    EXPECT_EQ(rig.config.nodes.numbers, (std::vector<u32>{0, 1}));
    u64 size = 2001 * 4096 - 5;
    const auto region = rig.config.allocate(serial_context(), 12, size);
    ASSERT_NE(region->pointer(), nullptr);
    EXPECT_EQ(size, 2001U * 4096);
    char* const base = static_cast<char*>(region->pointer());
    ASSERT_EQ(machine.pages.size(), 2001U);
    for (u64 i = 0; i < 2001; i++) ASSERT_EQ(machine.pages.at(base + 4096 * i), i % 2) << i;
    // Every page is filled with the pattern, from its own start.
    for (u64 i = 0; i < 2001; i++) {
        u32 words[2];
        std::memcpy(words, base + 4096 * i, 8);
        ASSERT_EQ(words[0], 0xC857661BU);
        ASSERT_EQ(words[1], 0x9082F790U);
    }
    EXPECT_EQ(region->stats()->node_bytes.at(0), 1001U * 4096);
    EXPECT_EQ(region->stats()->node_bytes.at(1), 1000U * 4096);
    EXPECT_EQ(region->stats()->aimed_nodes, 2U);
    EXPECT_EQ(memory_stats_text(*region->stats()), "locked, spread: 99%/2");
    EXPECT_EQ(memory_nodes_text(*region->stats()), "node 0 (50%), 1 (49%)");
    EXPECT_TRUE(region->warnings().empty());
    EXPECT_EQ(machine.bound, (std::set<std::vector<u32>>{{0, 1}, {4, 6}}));
    EXPECT_EQ(machine.reservations, 1U);  // pages get their memory one by one
}

TEST(Interleave, HashedPagesGoByTheirAddress) {
    FakeMachine machine;
    make_two_nodes(machine);
    Rig rig(machine);
    rig.config.nodes.numbers = {1, 0, 1};  // node 1 twice
    rig.config.locked_pages.set("disabled");
    u64 size = 3000 * 4096;
    const auto region = rig.config.allocate(serial_context(), 16, size);
    ASSERT_NE(region->pointer(), nullptr);
    EXPECT_EQ(reinterpret_cast<u64>(region->pointer()) % 65536, 0U);
    ASSERT_EQ(machine.pages.size(), 3000U);
    for (const auto& [page, node] : machine.pages) {
        ASSERT_EQ(node, slow_crc32c(reinterpret_cast<u64>(page)) % 3 == 1 ? 0U : 1U);
    }
    EXPECT_GT(region->stats()->node_bytes.at(1), region->stats()->node_bytes.at(0));
    EXPECT_EQ(region->stats()->aimed_nodes, 3U);
    EXPECT_EQ(machine.locked, 0U);
}

TEST(Interleave, Warnings) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.unbindable = {{4, 6}};
    machine.full_nodes = {1};
    Rig rig(machine);
    rig.config.hashed = false;
    rig.config.nodes.numbers = {1, 7};  // node 7 does not exist
    machine.moved = {{7, 3}};
    u64 size = 10 * 4096;
    const auto region = rig.config.allocate(serial_context(), 12, size);
    ASSERT_NE(region->pointer(), nullptr);
    std::vector<std::string> warnings = region->warnings();
    std::sort(warnings.begin(), warnings.end());
    EXPECT_EQ(joined(warnings),
              "5 pages intended for node 1 landed on node 0 instead.\n"
              "5 pages intended for node 7 landed on node 3 instead.\n"
              "Thread 0 VirtualAllocExNuma() error 12, count = 5.\n"
              "Thread 0 failed to bind to node 1.\n"
              "Thread 1 failed to bind to node 7.\n");
    machine.query_error = 38;
    const auto other = rig.config.allocate(serial_context(), 12, size);
    ASSERT_NE(other->pointer(), nullptr);
    warnings = other->warnings();
    std::sort(warnings.begin(), warnings.end());
    EXPECT_EQ(joined(warnings),
              "Thread 0 QueryWorkingSetEx() error 38, count = 5.\n"
              "Thread 0 VirtualAllocExNuma() error 12, count = 5.\n"
              "Thread 0 failed to bind to node 1.\n"
              "Thread 1 QueryWorkingSetEx() error 38, count = 5.\n"
              "Thread 1 failed to bind to node 7.\n");
    EXPECT_EQ(memory_stats_text(*other->stats()), "locked, spread: 0%/2");
}

TEST(Interleave, Failures) {
    FakeMachine machine;
    make_two_nodes(machine);
    Rig rig(machine);
    u64 size = 100 * 4096;
    machine.full_nodes = {0, 1};
    machine.refuses_commits = true;
    auto region = rig.config.allocate(serial_context(), 12, size);
    EXPECT_EQ(region->pointer(), nullptr);
    EXPECT_FALSE(region->warnings().empty());
    EXPECT_EQ(machine.mappings, 0U);
    machine.full_nodes.clear();
    machine.lockable = 4096;
    rig.config.locked_pages.set("forced");
    EXPECT_EQ(rig.config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    EXPECT_EQ(machine.mappings, 0U);
    rig.config.locked_pages.set("attempt");
    EXPECT_NE(rig.config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    machine.refuses_mappings = true;
    EXPECT_EQ(rig.config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    size = ~u64(0) - 100;
    EXPECT_EQ(rig.config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    EXPECT_EQ(size, ~u64(0) - 100);
}

TEST(Interleave, OnThisMachine) {
    CaptureConsole console;
    InterleaveConfig config;
    for (const bool hashed : {false, true}) {
        config.hashed = hashed;
        u64 size = 3 << 20;
        const auto region = config.allocate(serial_context(), 12, size);
        ASSERT_NE(region->pointer(), nullptr) << joined(region->warnings());
        for (u64 i = 0; i < size; i += 4096) {
            u32 word;
            std::memcpy(&word, static_cast<char*>(region->pointer()) + i, 4);
            ASSERT_EQ(word, 0xC857661BU);
        }
        std::memset(region->pointer(), 0, size);
    }
}

TEST(Interleave, DefaultNodes) {
    FakeMachine machine;
    machine.nodes = {{0, {{0}, 0}}, {2, {{1}, 5}}, {5, {{2}, 4096}}};
    machine.all_processors = {0, 1, 2};
    EXPECT_EQ(Rig(machine).config.nodes.numbers, (std::vector<u32>{2, 5}));
    for (auto& [number, node] : machine.nodes) node.available = 0;
    const MemoryCalls calls = machine.calls();
    const NumaMap map = Rig::silent_map(calls);
    NodeWorkers workers;
    CaptureConsole console;
    const InterleaveConfig config(calls, map, workers);
    EXPECT_EQ(config.nodes.numbers, (std::vector<u32>{0, 2, 5}));
    EXPECT_EQ(console.text(), "Unable to find any usable NUMA nodes. Will attempt to use all of them...\n");
}

TEST(Interleave, MenuAndSelector) {
    FakeMachine machine;
    make_two_nodes(machine);
    Rig rig(machine);
    InterleaveConfig& config = rig.config;
    CaptureConsole console;
    EXPECT_EQ(config.print(4), 7U);
    EXPECT_EQ(console.take(),
              "   4    NUMA nodes:             0, 1\n"
              "   5    Page Mapping:           Hashed\n"
              "   6    Lock Pages in Memory:   Attempt\n");
    console.type({"1", "12abc", "1", "x"});
    config.edit(0);
    config.edit(1);
    config.edit(2);
    EXPECT_EQ(console.take(),
              "\n\nEnter NUMA node #'s one-by-one. Enter nothing to stop.\n"
              "    - Duplicating nodes allow for imbalanced interleaving.\n"
              "    - Non-existant nodes simply won't bind.\n"
              "Node #Node #Node #Node #");
    EXPECT_EQ(config.print(1), 4U);
    EXPECT_EQ(console.take(),
              "   1    NUMA nodes:             1, 12, 1\n"
              "   2    Page Mapping:           Round-Robin\n"
              "   3    Lock Pages in Memory:   Forced\n");
    EXPECT_EQ(
        allocator_to_config(config).to_acfg(),
        "{\r\n    Allocator : \"interleave\"\r\n    Hashed : \"false\"\r\n    LockedPages : \"forced\"\r\n"
        "    Nodes : [1 12 1]\r\n}\r\n");
    std::string selector;
    for (const char c : config.to_selector().to_json()) {
        if (c != '\r' && c != '\n' && c != ' ') selector += c;
    }
    EXPECT_EQ(selector,
              "{\"Allocator\":{\"Value\":\"interleave\",\"DisplayText\":\"NodeInterleaving\"},"
              "\"Hashed\":{\"Value\":\"false\",\"DisplayText\":\"Round-Robin\"},"
              "\"LockedPages\":{\"Value\":\"forced\",\"DisplayText\":\"Forced\"},"
              "\"Nodes\":{\"Value\":[1,12,1],\"DisplayText\":\"1,12,1\"}}");
    EXPECT_THROW(config.edit(0), EndOfStreamException);  // nobody there to ask
    EXPECT_EQ(config.nodes.numbers, (std::vector<u32>{1, 12, 1}));
    console.type({"4294967296", "99999999999999999999999", "-1"});
    config.edit(0);
    EXPECT_EQ(config.nodes.numbers, (std::vector<u32>{~u32(0), ~u32(0)}));
    console.type({""});
    config.edit(0);
    EXPECT_EQ(config.nodes.numbers, (std::vector<u32>{0, 1}));
    console.take();
    machine.nodes.erase(1);
    Rig one(machine);
    one.config.print(1);
    EXPECT_EQ(console.take().substr(0, 80),
              "        (This allocator is useful only when there are multiple NUMA nodes.)\n   1");
    const auto clone = config.clone();
    EXPECT_EQ(allocator_to_config(*clone).to_acfg(), allocator_to_config(config).to_acfg());
}

TEST(Interleave, ColorsOfTheMenu) {
    FakeMachine machine;
    Rig rig(machine);
    CaptureConsole console(CaptureConsole::terminal, true);
    rig.config.print(4);
    EXPECT_EQ(console.take(),
              "{Y}        (This allocator is useful only when there are multiple NUMA nodes.)\n"
              "{w}   4    NUMA nodes:             {T}0{w}\n"
              "{w}   5    Page Mapping:           {G}Hashed{w}\n"
              "{w}   6    Lock Pages in Memory:   {Y}Attempt{w}\n");
    rig.config.hashed = false;
    rig.config.print(4);
    EXPECT_NE(console.take().find("{G}Round-Robin{w}"), std::string::npos);
}

TEST(Interleave, Permissions) {
    FakeMachine machine;
    machine.privilege = false;
    Rig rig(machine);
    CaptureConsole console;
    rig.config.locked_pages.set("disabled");
    EXPECT_TRUE(rig.config.acquire_permissions());
    EXPECT_EQ(console.take(), "");
    rig.config.locked_pages.set("attempt");
    EXPECT_FALSE(rig.config.acquire_permissions());
    EXPECT_EQ(console.take(), "");
}

// Threads that cannot be started: what has begun ends before the frame that it uses, the caller does the
// rest.
TEST(Interleave, WithoutEnoughThreads) {
    for (const u32 threads : {0, 1, 2}) {
        FakeMachine machine;
        machine.nodes = {{0, {{0}}}, {1, {{1}}}, {2, {{2}}}};
        machine.all_processors = {0, 1, 2};
        Rig rig(machine);
        u32 left = threads;
        NodeWorkers few([&left]() -> std::unique_ptr<NodeWorker> {
            if (left == 0)
                throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
            left--;
            return std::make_unique<NodeWorker>();
        });
        InterleaveConfig config(rig.calls, rig.map, few);
        config.hashed = false;
        config.locked_pages.set("disabled");
        u64 size = 3000 * 4096;
        const auto region = config.allocate(serial_context(), 12, size);
        ASSERT_NE(region->pointer(), nullptr);
        char* const base = static_cast<char*>(region->pointer());
        for (u64 i = 0; i < 3000; i++) ASSERT_EQ(machine.pages.at(base + 4096 * i), i % 3) << threads;
        // The caller is not bound to a node that it would stay on.
        EXPECT_EQ(machine.bound.size(), threads);
        EXPECT_EQ(region->warnings().size(), 3 - threads);
    }
}

TEST(Interleave, ANodeThatDoesNotExistGetsNoThread) {
    FakeMachine machine;
    make_two_nodes(machine);
    Rig rig(machine);
    int started = 0;
    NodeWorkers counted([&started] {
        started++;
        return std::make_unique<NodeWorker>();
    });
    InterleaveConfig config(rig.calls, rig.map, counted);
    config.nodes.numbers = {1, 7, 9, 1};
    u64 size = 100 * 4096;
    EXPECT_NE(config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    EXPECT_EQ(started, 1);
}

namespace {

// What an allocation of a machine prints whose user may lock hardly anything.
std::string said_without_the_right(const char* locked, bool privilege) {
    FakeMachine machine;
    machine.privilege = privilege;
    machine.lockable = 4096;
    const MemoryCalls calls = machine.calls();
    MmapConfig config(calls);
    config.large_pages.mode = OptionalFlag::kDisabled;
    if (locked) config.locked_pages.set(locked);
    CaptureConsole console;
    for (int i = 0; i < 2; i++) {
        u64 size = 2 << 20;
        (void)config.allocate(serial_context(), 12, size);
    }
    return console.take();
}

}  // namespace

// Only where it was asked for and did not succeed, once, and with what to do.
TEST(PageLockingDeathTest, AMissingRightIsToldOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EQ(said_without_the_right(nullptr, false), "");
    EXPECT_EQ(said_without_the_right("attempt", true), "");
    EXPECT_EQ(said_without_the_right("disabled", false), "");
    for (const char* locked : {"attempt", "forced"}) {
        EXPECT_EXIT(
            {
                const std::string said = said_without_the_right(locked, false);
                const std::string advice = os::lock_privilege_advice();
                const bool right = said ==
                                   "\nUnable to acquire the permission, \"SeLockMemoryPrivilege\".\n"
                                   "Large pages and page locking may not be possible.\n\n"
                                   "Expect larger performance penalties from Meltdown mitigation.\n\n" +
                                       advice + "\n";
                std::exit(right && !advice.empty() ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "");
    }
}

// What the user is told of a working region that came out otherwise than wanted.
TEST(Interleave, TheHeapPassesWarningsAndSummaryOn) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.moved = {{1, 0}};
    Rig rig(machine);
    rig.config.hashed = false;
    const HeapAllocation heap = allocate_heap(rig.config, serial_context(), 12, 10 * 4096);
    EXPECT_EQ(joined(heap.warnings), "5 pages intended for node 1 landed on node 0 instead.\n");
    EXPECT_EQ(heap.summary, "locked, spread: 29%/2");
}

TEST(Placement, PagesAreCountedByNode) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.nodes[4] = {{7}};
    const MemoryCalls calls = machine.calls();
    const auto framework = make_default_framework_config("spawn")->make_framework();
    alignas(4096) static char memory[40 * 4096];
    for (u64 i = 0; i < 40; i++) {
        if (i != 7) machine.pages[memory + 4096 * i] = i < 30 ? 1 : 4;
    }
    for (const u64 tds : {1, 7, 8, 64, 1000}) {
        MemoryStats stats;
        stats.total_bytes = 39 * 4096 + 100;
        measure_placement(calls, ParallelContext{framework.get(), tds}, memory, stats.total_bytes, stats);
        EXPECT_EQ(stats.node_bytes.size(), 2U);
        EXPECT_EQ(stats.node_bytes[1], 29U * 4096) << tds;
        EXPECT_EQ(stats.node_bytes[4], 9U * 4096 + 100) << tds;
        EXPECT_EQ(memory_stats_text(stats), "spread: ?");
        EXPECT_EQ(memory_nodes_text(stats), "node 1 (74%), 4 (23%)");
    }
    // With one node there is nothing to ask.
    machine.nodes = {{0, {{0}}}};
    machine.queries = 0;
    MemoryStats stats;
    measure_placement(calls, serial_context(), memory, sizeof memory, stats);
    EXPECT_EQ(stats.node_bytes[0], sizeof memory);
    EXPECT_EQ(machine.queries, 0U);
}

TEST(Placement, MallocAndMmapTellTheirs) {
    FakeMachine machine;
    make_two_nodes(machine);
    const MemoryCalls calls = machine.calls();
    machine.query_error = 38;
    u64 size = 1 << 20;
    EXPECT_TRUE(MallocConfig(calls).allocate(serial_context(), 12, size)->stats()->node_bytes.empty());
    EXPECT_TRUE(MmapConfig(calls).allocate(serial_context(), 12, size)->stats()->node_bytes.empty());
    EXPECT_EQ(machine.queries, 2U);
}

TEST(Placement, Evenness) {
    EXPECT_EQ(placement_evenness({{0, 5}}, 1), 1);
    EXPECT_EQ(placement_evenness({}, 0), 1);
    EXPECT_NEAR(placement_evenness({{0, 100}, {1, 100}}, 2), 1, 1e-12);
    // One of two: m = 50, Q = 2500 (the empty node adds nothing), 1 - sqrt(2 * 2500) / 100.
    EXPECT_NEAR(placement_evenness({{0, 100}}, 2), 1 - std::sqrt(5000.0) / 100, 1e-12);
    EXPECT_NEAR(placement_evenness({{0, 60}, {3, 40}}, 2), 1 - std::sqrt(400.0) / 100, 1e-12);
    EXPECT_EQ(placement_evenness({{0, 100}, {1, 0}}, 2), 0);
    EXPECT_NEAR(placement_evenness({{0, 1}, {1, 1}, {2, 2}}, 3), 1 - std::sqrt(3 * (2.0 / 3) / 2) / 4, 1e-12);
}

TEST(MmapAllocator, LargePagesGranted) {
    FakeMachine machine;
    machine.grants_large_pages = true;
    const MemoryCalls calls = machine.calls();
    MmapConfig config(calls);
    for (const char* mode : {"attempt", "forced"}) {
        config.large_pages.set(mode);
        u64 size = 5 << 20;
        const auto region = config.allocate(serial_context(), 12, size);
        ASSERT_NE(region->pointer(), nullptr);
        EXPECT_EQ(size, u64(6) << 20);
        EXPECT_EQ(reinterpret_cast<u64>(region->pointer()) % (u64(2) << 20), 0U);
        EXPECT_EQ(memory_stats_text(*region->stats()), "2.00 MiB pages, spread: ?");
        EXPECT_EQ(machine.locked, 0U);  // large pages are never locked
        // Filled like all others, to the end.
        u32 first[2], last;
        std::memcpy(first, region->pointer(), 8);
        EXPECT_EQ(first[0], 0xC857661BU);
        EXPECT_EQ(first[1], 0x9082F790U);
        std::memcpy(&last, static_cast<char*>(region->pointer()) + size - 4, 4);
        const u32 n = static_cast<u32>(size / 4 - 1);
        EXPECT_EQ(last, 0xC82B9175U * n * n + 0xC857661BU);
    }
    machine.grants_large_pages = false;
    u64 size = 5 << 20;
    EXPECT_EQ(config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    EXPECT_EQ(size, u64(5) << 20);
    config.large_pages.set("attempt");
    EXPECT_EQ(memory_stats_text(*config.allocate(serial_context(), 12, size)->stats()), "locked, spread: ?");
}

// A boundary beyond that of the large pages.
TEST(MmapAllocator, LargePagesOnALargerBoundary) {
    FakeMachine machine;
    machine.grants_large_pages = true;
    const MemoryCalls calls = machine.calls();
    MmapConfig config(calls);
    config.large_pages.set("forced");
    u64 size = 3 << 20;
    const auto region = config.allocate(serial_context(), 24, size);
    ASSERT_NE(region->pointer(), nullptr);
    EXPECT_EQ(size, u64(4) << 20);
    EXPECT_EQ(region->size(), size);
    EXPECT_EQ(reinterpret_cast<u64>(region->pointer()) % (u64(1) << 24), 0U);
    std::memset(region->pointer(), 1, size);
    EXPECT_EQ(region->stats()->large_page_bytes, size);
}

TEST(MmapAllocator, Locks) {
    FakeMachine machine;
    const MemoryCalls calls = machine.calls();
    MmapConfig config(calls);
    u64 size = 8 << 20;
    machine.lockable = 6 << 20;
    EXPECT_EQ(memory_stats_text(*config.allocate(serial_context(), 12, size)->stats()),
              "75% locked, spread: ?");
    config.locked_pages.set("forced");
    machine.locked = 0;
    EXPECT_EQ(config.allocate(serial_context(), 12, size)->pointer(), nullptr);
    machine.lockable = 8 << 20;
    machine.locked = 0;
    EXPECT_EQ(memory_stats_text(*config.allocate(serial_context(), 12, size)->stats()), "locked, spread: ?");
    config.locked_pages.set("disabled");
    machine.locked = 0;
    EXPECT_EQ(memory_stats_text(*config.allocate(serial_context(), 12, size)->stats()), "spread: ?");
    EXPECT_EQ(machine.locked, 0U);
    EXPECT_EQ(machine.mappings, 0U);
}

// The right is asked for before large pages are, and before anything is locked; without either, never.
TEST(MmapAllocator, TheRightIsAskedForWhereItIsNeeded) {
    const auto requests = [](const char* large, const char* locked) {
        FakeMachine machine;
        const MemoryCalls calls = machine.calls();
        MmapConfig config(calls);
        config.large_pages.set(large);
        config.locked_pages.set(locked);
        u64 size = 3 << 20;
        (void)config.allocate(serial_context(), 12, size);
        return machine.privilege_requests;
    };
    EXPECT_EQ(requests("disabled", "disabled"), 0U);
    EXPECT_EQ(requests("forced", "disabled"), 1U);
    EXPECT_EQ(requests("disabled", "forced"), 1U);
    EXPECT_EQ(requests("attempt", "attempt"), 2U);
}

// Normal pages that the system may back with large ones of its own accord; spread pages stay small.
TEST(MmapAllocator, TheSystemIsToldWhichPagesMayBeLarge) {
    FakeMachine machine;
    const MemoryCalls calls = machine.calls();
    u64 size = 5 << 20;
    const auto region = MmapConfig(calls).allocate(serial_context(), 12, size);
    EXPECT_EQ(machine.bytes_advised_large, size);
    EXPECT_EQ(reinterpret_cast<u64>(region->pointer()) % (u64(2) << 20), 0U);
    const auto block = MallocConfig(calls).allocate(serial_context(), 12, size);
    EXPECT_EQ(machine.bytes_advised_large, 2 * size);
    EXPECT_EQ(reinterpret_cast<u64>(block->pointer()) % (u64(2) << 20), 0U);
    EXPECT_EQ(machine.bytes_advised_small, 0U);
    make_two_nodes(machine);
    Rig rig(machine);
    (void)rig.config.allocate(serial_context(), 12, size);
    EXPECT_EQ(machine.bytes_advised_small, size);
    EXPECT_EQ(machine.bytes_advised_large, 2 * size);
}

TEST(MmapAllocator, Permissions) {
    FakeMachine machine;
    machine.privilege = false;
    const MemoryCalls calls = machine.calls();
    MmapConfig config(calls);
    CaptureConsole console;
    for (const char* large : {"disabled", "attempt", "forced"}) {
        for (const char* locked : {"disabled", "attempt", "forced"}) {
            config.large_pages.set(large);
            config.locked_pages.set(locked);
            const bool needed = config.large_pages.mode != 0 || config.locked_pages.mode != 0;
            machine.privilege = false;
            EXPECT_EQ(config.acquire_permissions(), !needed);
            EXPECT_EQ(console.take(), "");
            machine.privilege = true;
            EXPECT_TRUE(config.acquire_permissions());
            EXPECT_EQ(console.take(), "");
        }
    }
}

TEST(AllocatorSettings, SavedFormIsReadBack) {
    CaptureConsole console;
    const char* texts[] = {
        "{\r\n    Allocator : \"malloc\"\r\n}\r\n",
        "{\r\n    Allocator : \"mmap\"\r\n    LargePages : \"attempt\"\r\n    LockedPages : "
        "\"attempt\"\r\n}\r\n",
        "{\r\n    Allocator : \"mmap\"\r\n    LargePages : \"forced\"\r\n    LockedPages : "
        "\"disabled\"\r\n}\r\n",
        "{\r\n    Allocator : \"interleave\"\r\n    Hashed : \"true\"\r\n    LockedPages : \"disabled\"\r\n"
        "    Nodes : [0 0 1]\r\n}\r\n",
        "{\r\n    Allocator : \"interleave\"\r\n    Hashed : \"false\"\r\n    LockedPages : \"attempt\"\r\n"
        "    Nodes : [0 1]\r\n}\r\n",
    };
    for (const std::string text : texts) {
        EXPECT_EQ(allocator_to_config(*make_allocator_config(*Config::parse_acfg(text))).to_acfg(), text);
    }
    EXPECT_EQ(allocator_to_config(*make_default_allocator_config("mmap")).to_acfg(), texts[1]);
}

TEST(AllocatorSettings, Refusals) {
    CaptureConsole console;
    const auto parse = [](const std::string& text) {
        return message_of<InvalidParametersException>(
            [&] { (void)make_allocator_config(*Config::parse_acfg(text)); });
    };
    EXPECT_EQ(parse("{ Allocator : \"calloc\" }"), "|Invalid Memory Allocator: calloc");
    EXPECT_EQ(parse("{ Allocator : \"mmap\" LargePages : \"sometimes\" LockedPages : \"attempt\" }"),
              "LargePages|Invalid Mode: sometimes");
    EXPECT_EQ(parse("{ Allocator : \"mmap\" LargePages : \"attempt\" LockedPages : \"\" }"),
              "LockedPages|Invalid Mode: ");
    const std::string interleave = "{ Allocator : \"interleave\" Hashed : \"true\" LockedPages : ";
    EXPECT_EQ(parse(interleave + "\"forced\" Nodes : [] }"), "|Node list cannot be empty.");
    EXPECT_EQ(parse(interleave + "\"never\" Nodes : [0] }"), "LockedPages|Invalid Mode: never");
    // A number that belongs to none of the nodes does not become the number of one.
    EXPECT_EQ(allocator_to_config(*make_allocator_config(*Config::parse_acfg(
                                      interleave + "\"forced\" Nodes : [4294967296 -1 7] }")))
                  .get_array("Nodes")
                  .to_acfg(),
              "[4294967295 4294967295 7]");
    EXPECT_THROW((void)parse("{ Allocator : \"mmap\" LargePages : \"attempt\" }"), KeyNotFoundException);
    EXPECT_THROW((void)parse("{ }"), KeyNotFoundException);
    try {
        (void)make_allocator_config(Config::Integer(1));
        FAIL();
    } catch (const ParseException& e) {
        EXPECT_EQ(e.message, "Memory Allocator: Expected Object, got Integer.");
    }
}

TEST(AllocatorMenus, MmapLinesAndSelection) {
    CaptureConsole console(CaptureConsole::terminal, true);
    MmapConfig config;
    EXPECT_EQ(config.print(4), 6U);
    EXPECT_EQ(console.take(),
              "{w}   4    Large Pages:            {Y}Attempt{w}\n{w}   5    Lock Pages in Memory:   "
              "{Y}Attempt{w}\n");
    config.edit(0);
    config.edit(1);
    config.edit(1);
    EXPECT_EQ(config.print(4), 6U);
    EXPECT_EQ(console.take(),
              "{w}   4    Large Pages:            {G}Forced{w}\n{w}   5    Lock Pages in Memory:   "
              "{R}Disabled{w}\n");
    std::string selector;
    for (const char c : config.to_selector().to_json()) {
        if (c != '\r' && c != '\n' && c != ' ') selector += c;
    }
    EXPECT_EQ(selector,
              "{\"Allocator\":{\"Value\":\"mmap\",\"DisplayText\":\"WinAPIVirtualAlloc()\"},"
              "\"LargePages\":{\"Value\":\"forced\",\"DisplayText\":\"Forced\"},"
              "\"LockedPages\":{\"Value\":\"disabled\",\"DisplayText\":\"Disabled\"}}");
    console.type({"3", "1"});
    EXPECT_EQ(select_allocator_menu()->name(), "mmap");
    EXPECT_EQ(console.text(),
              "{P}Select a Memory Allocator:\n{w}   0    {T}C malloc()\n{w}   1    {T}WinAPI VirtualAlloc()\n"
              "{w}   2    {T}Node Interleaving\n\n{w}option: {T}{w}option: {T}");
}

TEST(NodeWorkers, OneThreadANodeAndItsTasksInTurn) {
    NodeWorkers workers;
    std::set<std::thread::id> threads;
    std::vector<int> order;
    os::JoinCounter join;
    join.add(20);
    for (int i = 0; i < 20; i++) {
        workers.worker(5).push(
            [&, i] {
                threads.insert(std::this_thread::get_id());
                order.push_back(i);
            },
            join);
    }
    join.wait();
    EXPECT_EQ(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
    for (int i = 0; i < 20; i++) EXPECT_EQ(order[static_cast<size_t>(i)], i);
    EXPECT_EQ(&workers.worker(5), &workers.worker(5));
    EXPECT_NE(&workers.worker(5), &workers.worker(6));
}

TEST(SpinLock, LetsOneInAtATime) {
    SpinLock lock;
    u64 count = 0;  // not atomic
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; i++) {
                const std::lock_guard<SpinLock> guard(lock);
                count++;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 80000U);
}

TEST(NodeWorkersDeathTest, ExceptionsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto run = [] {
        Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        NodeWorkers workers;
        os::JoinCounter join;
        join.add(1);
        workers.worker(3).push([] { throw InvalidParametersException("", "of the task"); }, join);
        join.wait();
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(1),
                "^" + report_pattern(InvalidParametersException("", "of the task")) +
                    "\nNodeAllocator: An exception was thrown from a task.\n$");
}
