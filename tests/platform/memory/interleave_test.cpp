// The allocator that spreads pages over the memory nodes.
#include "platform/memory/interleave_allocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>
#include <system_error>
#include <thread>

#include "base/config/parser.h"
#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "platform/memory/allocate_heap.h"
#include "platform/memory/interleave_rig.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

namespace {

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

TEST(InterleaveTest, ChecksumOfAnAddress) {
    for (const u64 a : {u64(0), u64(1), u64(4096), u64(0x7f0000001000), ~u64(0), u64(0x123456789abcdef0)}) {
        EXPECT_EQ(crc32c_of_address(a), slow_crc32c(a)) << a;
    }
    EXPECT_EQ(crc32c_of_address(1), 0x493c7d27U);
}

TEST(InterleaveTest, RoundRobinPagesAlternate) {
    FakeMachine machine;
    make_two_nodes(machine);
    InterleaveRig rig(machine);
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

TEST(InterleaveTest, HashedPagesGoByTheirAddress) {
    FakeMachine machine;
    make_two_nodes(machine);
    InterleaveRig rig(machine);
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

TEST(InterleaveTest, Warnings) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.unbindable = {{4, 6}};
    machine.full_nodes = {1};
    InterleaveRig rig(machine);
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

TEST(InterleaveTest, Failures) {
    FakeMachine machine;
    make_two_nodes(machine);
    InterleaveRig rig(machine);
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

TEST(InterleaveTest, OnThisMachine) {
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

TEST(InterleaveTest, DefaultNodes) {
    FakeMachine machine;
    machine.nodes = {{0, {{0}, 0}}, {2, {{1}, 5}}, {5, {{2}, 4096}}};
    machine.all_processors = {0, 1, 2};
    EXPECT_EQ(InterleaveRig(machine).config.nodes.numbers, (std::vector<u32>{2, 5}));
    for (auto& [number, node] : machine.nodes) node.available = 0;
    const MemoryCalls calls = machine.calls();
    const NumaMap map(calls);
    NodeWorkers workers;
    CaptureConsole console;
    const InterleaveConfig config(calls, map, workers);
    EXPECT_EQ(config.nodes.numbers, (std::vector<u32>{0, 2, 5}));
    EXPECT_EQ(console.text(), "Unable to find any usable NUMA nodes. Will attempt to use all of them...\n");
}

TEST(InterleaveTest, MenuAndSelector) {
    FakeMachine machine;
    make_two_nodes(machine);
    InterleaveRig rig(machine);
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
              "Node #: Node #: Node #: Node #: ");
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
    InterleaveRig one(machine);
    one.config.print(1);
    EXPECT_EQ(console.take().substr(0, 80),
              "        (This allocator is useful only when there are multiple NUMA nodes.)\n   1");
    const auto clone = config.clone();
    EXPECT_EQ(allocator_to_config(*clone).to_acfg(), allocator_to_config(config).to_acfg());
}

TEST(InterleaveTest, ColorsOfTheMenu) {
    FakeMachine machine;
    InterleaveRig rig(machine);
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

TEST(InterleaveTest, Permissions) {
    FakeMachine machine;
    machine.privilege = false;
    InterleaveRig rig(machine);
    CaptureConsole console;
    rig.config.locked_pages.set("disabled");
    EXPECT_TRUE(rig.config.acquire_permissions(serial_context()));
    EXPECT_EQ(console.take(), "");
    rig.config.locked_pages.set("attempt");
    EXPECT_FALSE(rig.config.acquire_permissions(serial_context()));
    EXPECT_EQ(console.take(), "");
}

// Threads that cannot be started: what has begun ends before the frame that it uses, the caller does the
// rest.
TEST(InterleaveTest, WithoutEnoughThreads) {
    for (const u32 threads : {0, 1, 2}) {
        FakeMachine machine;
        machine.nodes = {{0, {{0}}}, {1, {{1}}}, {2, {{2}}}};
        machine.all_processors = {0, 1, 2};
        InterleaveRig rig(machine);
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

TEST(InterleaveTest, ANodeThatDoesNotExistGetsNoThread) {
    FakeMachine machine;
    make_two_nodes(machine);
    InterleaveRig rig(machine);
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

// What the user learns of a working region that is not as it was wanted.
TEST(InterleaveTest, TheHeapPassesWarningsAndSummaryOn) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.moved = {{1, 0}};
    InterleaveRig rig(machine);
    rig.config.hashed = false;
    const HeapAllocation heap = allocate_heap(rig.config, serial_context(), 12, 10 * 4096);
    EXPECT_EQ(joined(heap.warnings), "5 pages intended for node 1 landed on node 0 instead.\n");
    EXPECT_EQ(heap.summary, "locked, spread: 29%/2");
}
