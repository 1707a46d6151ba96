#include "os/memory_status.h"

#include <gtest/gtest.h>

#include "os/machine.h"
#include "support/fake_root.h"

using namespace trel;

namespace {

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

// Limits of control groups do not shrink what is built in.
TEST(InstalledMemory, OfTheFileAlone) {
    FakeRoot root;
    EXPECT_EQ(os::installed_memory(root.path()), 0u);
    root.file("/proc/meminfo", "MemFree:  5 kB\nMemTotal:   1000 kB\n");
    root.file("/proc/self/cgroup", "0::/job\n");
    root.file("/sys/fs/cgroup/job/memory.max", std::to_string(500 * kKb));
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 500 * kKb);
    EXPECT_EQ(os::installed_memory(root.path()), 1000 * kKb);
    root.file("/proc/meminfo", "MemTotal:   many kB\n");
    EXPECT_EQ(os::installed_memory(root.path()), 0u);
    EXPECT_GE(os::installed_memory(), os::memory_status().total_physical);
}
