// Memory, nodes, processors and the environment as this system gives them. Wine refuses some of it; what is
// tested then is that the refusal is understood.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>

#include "os/affinity.h"
#include "os/clock.h"
#include "os/cpu.h"
#include "os/environment.h"
#include "os/memory.h"
#include "os/memory_status.h"
#include "os/numa.h"
#include "os/shared_library.h"
#include "os/thread.h"

using namespace trel;

TEST(MemoryTest, IsZeroedAndGivenBack) {
    const u64 bytes = 16 * os::page_size();
    const os::MappedMemory memory = os::map_memory(bytes, false);
    ASSERT_NE(memory.base, nullptr);
    char* const p = static_cast<char*>(memory.base);
    for (u64 i = 0; i < bytes; i += 512) EXPECT_EQ(p[i], 0);
    std::memset(p, 7, bytes);
    i32 nodes[2] = {-1, -1};
    void* const pages[2] = {p, p + os::page_size()};
    EXPECT_FALSE(os::numa_nodes_of_pages(pages, 2, nodes));
    EXPECT_GE(nodes[0], 0);
    EXPECT_GE(nodes[1], 0);
    EXPECT_FALSE(os::lock_memory(p, bytes));
    EXPECT_FALSE(os::raise_lock_limit());
    EXPECT_FALSE(os::unmap_memory(memory.base, memory.bytes));
    EXPECT_TRUE(os::unmap_memory(memory.base, memory.bytes).failed());
}

TEST(MemoryTest, LargePagesAreGivenOrRefusedWithANumber) {
    ASSERT_GT(os::large_page_size(), os::page_size());
    const os::MappedMemory memory = os::map_memory(os::large_page_size(), true);
    if (memory.base) {
        EXPECT_FALSE(os::unmap_memory(memory.base, memory.bytes));
    } else {
        EXPECT_NE(memory.error.code, 0u);
        EXPECT_TRUE(memory.error.failed());
    }
    const os::MappedMemory too_much = os::map_memory(u64(1) << 60, false);
    EXPECT_EQ(too_much.base, nullptr);
    EXPECT_TRUE(too_much.error.failed());
}

TEST(MemoryStatusTest, IsPlausible) {
    const os::MemoryStatus status = os::memory_status();
    EXPECT_GT(status.available_physical, u64(1) << 20);
    EXPECT_GE(status.total_physical, status.available_physical);
    EXPECT_GE(status.address_space, u64(1) << 46);
}

TEST(ProcessorsTest, AreNumberedThroughTheGroups) {
    const std::vector<u32>& all = os::active_processors();
    ASSERT_FALSE(all.empty());
    u64 n = 0;
    for (u32 group = 0; group < os::processor_group_count(); group++) {
        const std::vector<u32> some = os::active_processors(group);
        ASSERT_EQ(some.size(), os::active_processor_count(group));
        for (u64 i = 0; i < some.size(); i++, n++) {
            EXPECT_EQ(some[i], 64 * group + i);
            EXPECT_EQ(all.at(n), some[i]);
        }
    }
    EXPECT_EQ(n, all.size());
    EXPECT_EQ(os::active_processor_count(), all.size());
    EXPECT_TRUE(os::active_processors(os::processor_group_count()).empty());
}

TEST(AffinityTest, IsSetAndReadBack) {
    std::vector<u32> before, now;
    ASSERT_FALSE(os::get_thread_affinity(before));
    ASSERT_FALSE(before.empty());
    const std::vector<u32> one = {before.back()};
    EXPECT_FALSE(os::set_thread_affinity(one));
    EXPECT_FALSE(os::get_thread_affinity(now));
    EXPECT_EQ(now, one);
    EXPECT_FALSE(os::set_thread_affinity(before));
    EXPECT_EQ(os::set_thread_affinity({}).code, static_cast<u32>(ERROR_INVALID_PARAMETER));
    // A thread cannot be in two groups.
    EXPECT_EQ(os::set_thread_affinity({0, 64}).code, static_cast<u32>(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(os::current_processor_group(), before.front() / 64);
}

// Wine tells neither processors nor memory of a node.
TEST(NumaTest, AnswersForTheFirstNodeAlways) {
    u32 highest = 99;
    ASSERT_FALSE(os::highest_numa_node(highest));
    std::vector<u32> processors;
    ASSERT_FALSE(os::numa_node_processors(0, processors));
    EXPECT_FALSE(processors.empty());
    u64 bytes = 0;
    ASSERT_FALSE(os::numa_node_available_memory(0, bytes));
    EXPECT_GT(bytes, 0u);
    EXPECT_TRUE(os::numa_node_processors(highest + 1, processors).failed());
    EXPECT_TRUE(processors.empty());
}

TEST(NumaTest, PagesAreCommittedOneByOne) {
    const u64 page = os::page_size();
    const os::MappedMemory memory = os::reserve_memory(8 * page);
    ASSERT_NE(memory.base, nullptr);
    char* const p = static_cast<char*>(memory.base);
    ASSERT_FALSE(os::commit_on_numa_node(p, page, 0));
    ASSERT_FALSE(os::commit_memory(p + page, page));
    p[0] = p[2 * page - 1] = 1;
    void* const pages[3] = {p, p + page, p + 2 * page};
    i32 nodes[3];
    ASSERT_FALSE(os::numa_nodes_of_pages(pages, 3, nodes));
    EXPECT_GE(nodes[0], 0);
    EXPECT_GE(nodes[1], 0);
    EXPECT_LT(nodes[2], 0);  // nothing there
    EXPECT_FALSE(os::unmap_memory(memory.base, memory.bytes));
}

TEST(EnvironmentTest, ValuesAreUtf8) {
    SetEnvironmentVariableW(L"KALVOR_TEST_VALUE", L"\u03c0 = 3");
    EXPECT_EQ(os::environment_variable("KALVOR_TEST_VALUE"), "\xcf\x80 = 3");
    SetEnvironmentVariableW(L"KALVOR_TEST_VALUE", std::wstring(3000, L'x').c_str());
    EXPECT_EQ(os::environment_variable("KALVOR_TEST_VALUE"), std::string(3000, 'x'));
    SetEnvironmentVariableW(L"KALVOR_TEST_VALUE", nullptr);
    EXPECT_FALSE(os::environment_variable("KALVOR_TEST_VALUE").has_value());
}

TEST(SharedLibraryTest, SymbolsAreFound) {
    EXPECT_EQ(os::open_shared_library("no-such-library.dll"), nullptr);
    void* const library = os::open_shared_library("kernel32.dll");
    ASSERT_NE(library, nullptr);
    EXPECT_NE(os::find_symbol(library, "GetTickCount64"), nullptr);
    EXPECT_EQ(os::find_symbol(library, "no_such_symbol"), nullptr);
}

TEST(ClockTest, TicksAndLocalTime) {
    const u64 first = os::performance_counter();
    EXPECT_GE(os::performance_counter(), first);
    EXPECT_GE(os::performance_frequency(), 1000000u);
    const os::LocalTime t = os::local_time(1000000000);  // 2001-09-09 01:46:40 UTC, whatever the zone
    EXPECT_EQ(t.year, 2001);
    EXPECT_EQ(t.month, 9);
    EXPECT_GE(t.day, 8);
    EXPECT_LE(t.day, 9);
}

TEST(ThreadPriorityTest, EveryLevelIsTaken) {
    using enum os::ThreadPriority;
    const struct {
        os::ThreadPriority priority;
        int value;
    } rows[] = {{idle, -15},  {lowest, -2},        {below_normal, -1}, {above_normal, 1},
                {highest, 2}, {time_critical, 15}, {normal, 0}};
    for (const auto& row : rows) {
        EXPECT_FALSE(os::set_current_thread_priority(row.priority)) << row.value;
        EXPECT_EQ(GetThreadPriority(GetCurrentThread()), row.value);
    }
}
