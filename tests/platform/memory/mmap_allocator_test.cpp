#include "platform/memory/mmap_allocator.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "base/status/linear_console_node.h"
#include "os/privilege.h"
#include "platform/memory/interleave_rig.h"
#include "platform/memory/malloc_allocator.h"
#include "support/capture_console.h"

using namespace trel;

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
    RunMonitor monitor;
    for (int i = 0; i < 2; i++) {
        u64 size = 2 << 20;
        (void)config.allocate({serial_context().framework, 1, &monitor}, 12, size);
    }
    EXPECT_EQ(console.take(), "");
    LinearConsoleNode status(79, 1.0);
    monitor.warnings.report(status);
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

TEST(MmapAllocatorTest, LargePagesGranted) {
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
TEST(MmapAllocatorTest, LargePagesOnALargerBoundary) {
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

TEST(MmapAllocatorTest, Locks) {
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
TEST(MmapAllocatorTest, TheRightIsAskedForWhereItIsNeeded) {
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
TEST(MmapAllocatorTest, TheSystemIsToldWhichPagesMayBeLarge) {
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
    InterleaveRig rig(machine);
    (void)rig.config.allocate(serial_context(), 12, size);
    EXPECT_EQ(machine.bytes_advised_small, size);
    EXPECT_EQ(machine.bytes_advised_large, 2 * size);
}

TEST(MmapAllocatorTest, Permissions) {
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
            EXPECT_EQ(config.acquire_permissions(serial_context()), !needed);
            EXPECT_EQ(console.take(), "");
            machine.privilege = true;
            EXPECT_TRUE(config.acquire_permissions(serial_context()));
            EXPECT_EQ(console.take(), "");
        }
    }
}
