#include "os/memory_status.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cstdio>

#include "os/cpu.h"
#include "os/linux/processor_list.h"
#include "os/machine.h"
#include "support/child.h"
#include "support/fake_root.h"
#include "support/run_program.h"

using namespace trel;

namespace {

constexpr u64 kKb = 1024;

}  // namespace

TEST(MemoryStatusTest, OfThisMachine) {
    const os::MemoryStatus status = os::memory_status();
    EXPECT_GT(status.total_physical, u64(1) << 26);
    EXPECT_GT(status.available_physical, 0u);
    EXPECT_LE(status.available_physical, status.total_physical);
    EXPECT_EQ(status.address_space, u64(1) << 47);
}

TEST(MemoryStatusTest, Unlimited) {
    FakeRoot root;
    // Without files the system tells by a call.
    const os::MemoryStatus told = os::memory_status(root.path());
    EXPECT_GT(told.total_physical, u64(1) << 26);
    EXPECT_GT(told.available_physical, 0u);
    EXPECT_LE(told.available_physical, told.total_physical);
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemFree:    300 kB\nMemAvailable:  600 kB\n");
    root.file("/proc/self/cgroup", "0::/\n");
    os::MemoryStatus status = os::memory_status(root.path());
    EXPECT_EQ(status.total_physical, 1000 * kKb);
    EXPECT_EQ(status.available_physical, 600 * kKb);
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemFree:    300 kB\n");
    EXPECT_EQ(os::memory_status(root.path()).available_physical, 300 * kKb);
}

TEST(MemoryStatusTest, ControlGroupVersion2) {
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

TEST(MemoryStatusTest, SwapSpaceOfAControlGroup) {
    FakeRoot root;
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemAvailable:  900 kB\nSwapTotal:  800 kB\n");
    root.file("/proc/self/cgroup", "0::/\n");
    EXPECT_EQ(os::memory_status(root.path()).total_swap, 800 * kKb);
    // Version 2 limits swap space by itself, also where memory has no limit.
    root.file("/proc/self/cgroup", "0::/outer/inner\n");
    root.file("/sys/fs/cgroup/outer/inner/memory.swap.max", "max\n");
    root.file("/sys/fs/cgroup/outer/memory.swap.max", std::to_string(300 * kKb));
    EXPECT_EQ(os::memory_status(root.path()).total_swap, 300 * kKb);
    // Version 1 limits the sum.
    root.file("/proc/self/cgroup", "4:memory:/box\n");
    root.file("/sys/fs/cgroup/memory/box/memory.limit_in_bytes", std::to_string(500 * kKb));
    root.file("/sys/fs/cgroup/memory/box/memory.memsw.limit_in_bytes", std::to_string(600 * kKb));
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 500 * kKb);
    EXPECT_EQ(os::memory_status(root.path()).total_swap, 100 * kKb);
}

TEST(MemoryStatusTest, ControlGroupVersion1) {
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

// Beyond "high" a group is slowed down; controllers that are mounted together have a folder of all their
// names.
TEST(MemoryStatusTest, OtherFormsOfLimits) {
    FakeRoot root;
    root.file("/proc/meminfo", "MemTotal:   1000 kB\nMemAvailable:  900 kB\n");
    root.file("/proc/self/cgroup", "0::/job\n");
    root.file("/sys/fs/cgroup/job/memory.max", std::to_string(700 * kKb));
    root.file("/sys/fs/cgroup/job/memory.high", std::to_string(600 * kKb));
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 600 * kKb);
    root.file("/sys/fs/cgroup/job/memory.high", "max\n");
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 700 * kKb);
    root.file("/proc/self/cgroup", "3:hugetlb,memory:/\n");
    root.file("/sys/fs/cgroup/hugetlb,memory/memory.limit_in_bytes", std::to_string(500 * kKb));
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 500 * kKb);
}

namespace {

void print_memory_status() {
    const os::MemoryStatus status = os::memory_status();
    std::printf("<%llu %llu %llu>", status.total_physical, status.available_physical, status.address_space);
}

const kalvor_test::Child memory_child("memory status", print_memory_status);

// As under "ulimit -d".
const kalvor_test::Child limited_data_child("memory status with little data", [] {
    const rlimit limit{u64(1) << 29, u64(1) << 29};
    if (setrlimit(RLIMIT_DATA, &limit) == 0) print_memory_status();
});

}  // namespace

// The sanitizers take address space as they like.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(MemoryStatusTest, TheLimitsOfTheProcess) {
    const auto expect = [](const char* child, u64 limit, const kalvor_test::RunOptions& options) {
        const std::string out = kalvor_test::run_this_test({"--child", child}, options).out;
        const size_t begin = out.find('<');
        ASSERT_NE(begin, std::string::npos) << out;
        u64 total = 0, available = 0, space = 0;
        ASSERT_EQ(std::sscanf(out.c_str() + begin, "<%llu %llu %llu>", &total, &available, &space), 3) << out;
        EXPECT_LE(total, limit) << child;
        EXPECT_LT(available, total) << child;     // the program itself
        EXPECT_EQ(space, u64(1) << 47) << child;  // what the processor has
    };
    kalvor_test::RunOptions options;
    options.memory_limit = u64(1) << 30;
    expect("memory status", u64(1) << 30, options);
    expect("memory status with little data", u64(1) << 29, {});
}
#endif

// Rounded up: half a processor is one.
TEST(ProcessorQuotaTest, OfControlGroups) {
    FakeRoot root;
    EXPECT_EQ(os::processor_quota(root.path()), 0u);
    root.file("/proc/self/cgroup", "0::/outer/inner\n");
    root.file("/sys/fs/cgroup/outer/inner/cpu.max", "max 100000\n");
    EXPECT_EQ(os::processor_quota(root.path()), 0u);
    root.file("/sys/fs/cgroup/outer/cpu.max", "250000 100000\n");
    EXPECT_EQ(os::processor_quota(root.path()), 3u);
    root.file("/sys/fs/cgroup/outer/inner/cpu.max", "100000 100000\n");
    EXPECT_EQ(os::processor_quota(root.path()), 1u);
    root.file("/sys/fs/cgroup/outer/inner/cpu.max", "1000 100000\n");
    EXPECT_EQ(os::processor_quota(root.path()), 1u);
    root.file("/proc/self/cgroup", "2:cpuacct,cpu:/docker/abc\n1:name=systemd:/x\n");
    EXPECT_EQ(os::processor_quota(root.path()), 0u);
    // In a container its own group is at the mount.
    root.file("/sys/fs/cgroup/cpu/cpu.cfs_quota_us", "150000\n");
    root.file("/sys/fs/cgroup/cpu/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(os::processor_quota(root.path()), 2u);
    root.file("/sys/fs/cgroup/cpu/cpu.cfs_quota_us", "-1\n");
    EXPECT_EQ(os::processor_quota(root.path()), 0u);
    root.file("/sys/fs/cgroup/cpuacct,cpu/docker/abc/cpu.cfs_quota_us", "400000\n");
    root.file("/sys/fs/cgroup/cpuacct,cpu/docker/abc/cpu.cfs_period_us", "100000\n");
    EXPECT_EQ(os::processor_quota(root.path()), 4u);
    root.file("/sys/fs/cgroup/cpuacct,cpu/docker/abc/cpu.cfs_period_us", "0\n");
    EXPECT_EQ(os::processor_quota(root.path()), 0u);
}

// What defaults go by, whatever the machine has.
TEST(ProcessorQuotaTest, LimitsWhatIsUsable) {
    EXPECT_EQ(os::processors_within_quota(8, 0), 8u);
    EXPECT_EQ(os::processors_within_quota(8, 3), 3u);
    EXPECT_EQ(os::processors_within_quota(8, 8), 8u);
    EXPECT_EQ(os::processors_within_quota(2, 3), 2u);
    FakeRoot root;
    EXPECT_EQ(os::usable_processor_count(root.path()), os::active_processor_count());
    root.file("/proc/self/cgroup", "0::/\n");
    root.file("/sys/fs/cgroup/cpu.max", "100000 100000\n");
    EXPECT_EQ(os::usable_processor_count(root.path()), 1u);
    EXPECT_EQ(os::usable_processor_count(),
              os::processors_within_quota(os::active_processor_count(), os::processor_quota()));
}

// For a process that may not ask for its affinity.
TEST(ProcessorListTest, OfTheMachine) {
    FakeRoot root;
    EXPECT_GE(os::processors_of_machine(root.path()).size(), 1u);
    root.file("/sys/devices/system/cpu/online", "0,2-4\n");
    EXPECT_EQ(os::processors_of_machine(root.path()), (std::vector<u32>{0, 2, 3, 4}));
}

TEST(ProcessorListTest, OfAProcess) {
    FakeRoot root;
    root.file("/sys/devices/system/cpu/online", "0,2-4\n");
    const auto told = [](std::vector<u32>& processors) {
        processors = {3};
        return os::OsError{};
    };
    EXPECT_EQ(os::processors_of_process(told, root.path()), std::vector<u32>{3});
    // As in a sandbox; what a refused call leaves behind is not looked at.
    const auto refused = [](std::vector<u32>& processors) {
        processors = {3};
        return os::OsError{1, os::ErrorCategory::access_denied};
    };
    EXPECT_EQ(os::processors_of_process(refused, root.path()), (std::vector<u32>{0, 2, 3, 4}));
    const auto nothing = [](std::vector<u32>&) { return os::OsError{}; };
    EXPECT_EQ(os::processors_of_process(nothing, root.path()), (std::vector<u32>{0, 2, 3, 4}));
}

// Limits of control groups do not shrink what is built in.
TEST(InstalledMemoryTest, OfTheFileAlone) {
    FakeRoot root;
    EXPECT_GT(os::installed_memory(root.path()), u64(1) << 26);  // by a call
    root.file("/proc/meminfo", "MemFree:  5 kB\nMemTotal:   1000 kB\n");
    root.file("/proc/self/cgroup", "0::/job\n");
    root.file("/sys/fs/cgroup/job/memory.max", std::to_string(500 * kKb));
    EXPECT_EQ(os::memory_status(root.path()).total_physical, 500 * kKb);
    EXPECT_EQ(os::installed_memory(root.path()), 1000 * kKb);
    root.file("/proc/meminfo", "MemTotal:   many kB\n");
    EXPECT_EQ(os::installed_memory(root.path()), 0u);
    EXPECT_GE(os::installed_memory(), os::memory_status().total_physical);
}
