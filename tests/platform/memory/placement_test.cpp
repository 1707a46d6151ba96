#include "platform/memory/placement.h"

#include <gtest/gtest.h>

#include <cmath>

#include "platform/memory/fake_machine.h"
#include "platform/memory/malloc_allocator.h"
#include "platform/memory/mmap_allocator.h"
#include "platform/parallel/framework_registry.h"

using namespace trel;

TEST(PlacementTest, PagesAreCountedByNode) {
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

TEST(PlacementTest, MallocAndMmapTellTheirs) {
    FakeMachine machine;
    make_two_nodes(machine);
    const MemoryCalls calls = machine.calls();
    machine.query_error = 38;
    u64 size = 1 << 20;
    EXPECT_TRUE(MallocConfig(calls).allocate(serial_context(), 12, size)->stats()->node_bytes.empty());
    EXPECT_TRUE(MmapConfig(calls).allocate(serial_context(), 12, size)->stats()->node_bytes.empty());
    EXPECT_EQ(machine.queries, 2U);
}

TEST(PlacementTest, Evenness) {
    EXPECT_EQ(placement_evenness({{0, 5}}, 1), 1);
    EXPECT_EQ(placement_evenness({}, 0), 1);
    EXPECT_NEAR(placement_evenness({{0, 100}, {1, 100}}, 2), 1, 1e-12);
    // One of two: m = 50, Q = 2500 (the empty node adds nothing), 1 - sqrt(2 * 2500) / 100.
    EXPECT_NEAR(placement_evenness({{0, 100}}, 2), 1 - std::sqrt(5000.0) / 100, 1e-12);
    EXPECT_NEAR(placement_evenness({{0, 60}, {3, 40}}, 2), 1 - std::sqrt(400.0) / 100, 1e-12);
    EXPECT_EQ(placement_evenness({{0, 100}, {1, 0}}, 2), 0);
    EXPECT_NEAR(placement_evenness({{0, 1}, {1, 1}, {2, 2}}, 3), 1 - std::sqrt(3 * (2.0 / 3) / 2) / 4, 1e-12);
}
