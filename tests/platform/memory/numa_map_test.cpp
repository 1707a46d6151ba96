// What the system says of its memory nodes: the map, when it is shown, and pages that are committed on one.
#include "platform/memory/numa_map.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "os/memory.h"
#include "os/numa.h"
#include "platform/memory/fake_machine.h"
#include "platform/memory/interleave_allocator.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

namespace {

std::string lines_of(const NumaMap& map) {
    std::string text;
    for (const Warnings::Line& line : map.lines()) text += line.text + "\n";
    return text;
}

}  // namespace

TEST(NumaMapTest, LinesAndLookUp) {
    FakeMachine machine;
    make_two_nodes(machine);
    machine.nodes[12] = {{9, 10, 11, 20}};
    machine.nodes[3] = {{}};  // only memory
    machine.all_processors = {0, 1, 4, 6, 9, 10, 11};
    const MemoryCalls calls = machine.calls();
    CaptureConsole console;
    const NumaMap map(calls);
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(lines_of(map),
              "Parsing NUMA -> Core Mappings...\n"
              "Warning: Skipping invalid KAFFINITY mask.\n"
              "    Node  0:  0-1\n"
              "    Node  1:  2-3\n"
              "    Node 12:  4-6\n");
    EXPECT_EQ(map.nodes().size(), 3U);
    EXPECT_EQ(map.core_to_node(0), 0U);
    EXPECT_EQ(map.core_to_node(3), 1U);
    EXPECT_EQ(map.core_to_node(6), 12U);
    EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)map.core_to_node(7); }),
              "core_to_node()|Invalid core id: 7");
}

TEST(NumaMapTest, TheWarningIsRed) {
    FakeMachine machine;
    machine.nodes = {{0, {{0, 1}}}};
    const MemoryCalls calls = machine.calls();
    const NumaMap map(calls);
    std::string colors;
    for (const Warnings::Line& line : map.lines()) colors += line.color;
    EXPECT_EQ(lines_of(map),
              "Parsing NUMA -> Core Mappings...\nWarning: Skipping invalid KAFFINITY mask.\n    Node  0:  "
              "0\n");
    EXPECT_EQ(colors, " R ");
}

// Cores are listed in ascending order, in whatever order a node names its processors.
TEST(NumaMapTest, CoresAreInOrder) {
    FakeMachine machine;
    machine.nodes = {{0, {{8, 4, 0}}}, {1, {{2, 6}}}};
    machine.all_processors = {0, 2, 4, 6, 8};
    const MemoryCalls calls = machine.calls();
    const NumaMap map(calls);
    EXPECT_EQ(map.nodes().at(0).cores, (std::vector<u32>{0, 2, 4}));
    EXPECT_EQ(lines_of(map), "Parsing NUMA -> Core Mappings...\n    Node  0:  0, 2, 4\n    Node  1:  1, 3\n");
}

TEST(NumaMapTest, OfThisMachine) {
    CaptureConsole console;
    const NumaMap& map = NumaMap::of_this_machine();
    ASSERT_FALSE(map.nodes().empty());
    for (u64 core = 0; core < os::active_processor_count(); core++) {
        const auto node = map.nodes().find(map.core_to_node(core));
        ASSERT_NE(node, map.nodes().end());
    }
}

// The process goes on: only what needs the nodes cannot run.
TEST(NumaMapTest, ASystemWithoutAnAnswer) {
    FakeMachine machine;
    machine.highest_error = 120;
    const MemoryCalls calls = machine.calls();
    CaptureConsole console(CaptureConsole::terminal, true);
    try {
        const NumaMap map(calls);
        ADD_FAILURE() << "not refused";
    } catch (const RunError& e) {
        EXPECT_STREQ(e.what(), "Fatal Error: GetNumaHighestNodeNumber() failed: 120");
        EXPECT_EQ(console.take(), "");
        e.print();
        EXPECT_EQ(console.text(),
                  "Parsing NUMA -> Core Mappings...\n"
                  "{R}Fatal Error: GetNumaHighestNodeNumber() failed: 120\n{w}");
    }
}

TEST(NumaMapDeathTest, ASystemWithoutAnAnswerIsAnError) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            NumaUnknown(120).print();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "Fatal Error: GetNumaHighestNodeNumber.. failed: 120");
}

// Once a process, when the first setting is made of it.
TEST(NumaMapDeathTest, TheUserSeesItOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            CaptureConsole console;
            const InterleaveConfig first;
            const std::string shown = console.take();
            const InterleaveConfig second;
            const bool once =
                shown.starts_with(lines_of(NumaMap::of_this_machine())) && console.text().empty();
            std::exit(once ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(OsNumaTest, ReservedPagesAreCommittedOneByOne) {
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
