#include "os/numa.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "os/cpu.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;

TEST(OsNumaTest, ReadsTheSystemsFiles) {
    TemporaryFolder scratch;
    const std::string root = scratch.file("root");
    u32 highest = 7;
    std::vector<u32> processors;
    u64 bytes = 0;
    // No folder: one node with everything.
    EXPECT_FALSE(os::highest_numa_node(highest, root).failed());
    EXPECT_EQ(highest, 0U);
    EXPECT_FALSE(os::numa_node_processors(0, processors, root).failed());
    EXPECT_EQ(processors, os::active_processors());
    EXPECT_TRUE(os::numa_node_processors(1, processors, root).failed());
    EXPECT_TRUE(os::numa_node_available_memory(1, bytes, root).failed());

    const std::string folder = "root/sys/devices/system/node/";
    std::filesystem::create_directories(scratch.file(folder + "node0"));
    std::filesystem::create_directories(scratch.file(folder + "node3"));
    std::filesystem::create_directories(scratch.file(folder + "node4"));
    scratch.write(folder + "online", "0,3-4\n");
    scratch.write(folder + "node0/cpulist", "0-2,8\n");
    scratch.write(folder + "node3/cpulist", "\n");
    scratch.write(folder + "node4/cpulist", "3-1\n");
    scratch.write(folder + "node0/meminfo",
                  "\nNode 0 MemTotal:       1000 kB\nNode 0 MemFree:         300 kB\n");
    EXPECT_FALSE(os::highest_numa_node(highest, root).failed());
    EXPECT_EQ(highest, 4U);
    EXPECT_FALSE(os::numa_node_processors(0, processors, root).failed());
    EXPECT_EQ(processors, (std::vector<u32>{0, 1, 2, 8}));
    EXPECT_FALSE(os::numa_node_processors(3, processors, root).failed());
    EXPECT_TRUE(processors.empty());
    EXPECT_TRUE(os::numa_node_processors(4, processors, root).failed());
    EXPECT_TRUE(os::numa_node_processors(1, processors, root).failed());
    EXPECT_FALSE(os::numa_node_available_memory(0, bytes, root).failed());
    EXPECT_EQ(bytes, 300U * 1024);
    EXPECT_TRUE(os::numa_node_available_memory(3, bytes, root).failed());
    scratch.write(folder + "online", "none\n");
    EXPECT_TRUE(os::highest_numa_node(highest, root).failed());
}
