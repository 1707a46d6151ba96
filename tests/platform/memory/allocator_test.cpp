#include "platform/memory/allocator.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "base/config/parser.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "os/memory.h"
#include "platform/memory/allocate_heap.h"
#include "platform/memory/mmap_allocator.h"
#include "platform/memory/page_locking.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

namespace {

u32 word_at(const void* p, u64 i) {
    u32 word;
    std::memcpy(&word, static_cast<const char*>(p) + 4 * i, 4);
    return word;
}

}  // namespace

TEST(MemoryStatsTest, Text) {
    MemoryStats stats;
    stats.total_bytes = 1000;
    EXPECT_EQ(memory_stats_text(stats), "spread: ?");
    stats.locked_bytes = 1000;
    EXPECT_EQ(memory_stats_text(stats), "locked, spread: ?");
    stats.locked_bytes = 999;
    EXPECT_EQ(memory_stats_text(stats), "99% locked, spread: ?");
    stats.locked_bytes = 0;
    stats.large_page_bytes = 1000;
    EXPECT_EQ(memory_stats_text(stats), "large pages, spread: ?");
    stats.large_page_size = 2 << 20;
    EXPECT_EQ(memory_stats_text(stats), "2.00 MiB pages, spread: ?");
    stats.large_page_bytes = 501;
    EXPECT_EQ(memory_stats_text(stats), "50% 2.00 MiB pages, spread: ?");
    stats.locked_bytes = 9;
    EXPECT_EQ(memory_stats_text(stats), "0% locked, 50% 2.00 MiB pages, spread: ?");
    stats.total_bytes = ~u64(0);
    stats.locked_bytes = stats.large_page_bytes = ~u64(0) - 1;
    EXPECT_EQ(memory_stats_text(stats), "99% locked, 99% 2.00 MiB pages, spread: ?");
}

TEST(MemoryStatsTest, NodesByWhatLiesOnThem) {
    MemoryStats stats;
    stats.total_bytes = 1000;
    EXPECT_EQ(memory_nodes_text(stats), "");
    stats.node_bytes = {{7, 1000}};
    EXPECT_EQ(memory_nodes_text(stats), "node 7 (100%)");
    stats.node_bytes = {{7, 1001}};  // whole pages can be more than what was asked for
    EXPECT_EQ(memory_nodes_text(stats), "node 7 (100%)");
    stats.node_bytes = {{0, 99}, {1, 300}, {2, 300}, {3, 301}, {12, 0}};
    EXPECT_EQ(memory_nodes_text(stats), "node 3 (30%), 1 (30%), 2 (30%)");
}

TEST(AllocatorRegistryTest, NamesAndTexts) {
    EXPECT_EQ(allocator_names(), (std::vector<std::string>{"malloc", "mmap", "interleave"}));
    EXPECT_EQ(make_default_allocator_config("malloc")->display_name(), "C malloc()");
    EXPECT_EQ(make_default_allocator_config("mmap")->display_name(), "WinAPI VirtualAlloc()");
    EXPECT_EQ(allocator_choices().find("mmap").display_name(), "WinAPI VirtualAlloc()");
    EXPECT_EQ(make_default_allocator_config("malloc")->name(), "malloc");
    EXPECT_EQ(make_default_allocator_config(kDefaultAllocator)->name(), "mmap");
    EXPECT_EQ(message_of<InvalidParametersException>([] { (void)make_default_allocator_config("calloc"); }),
              "|Invalid Memory Allocator: calloc");
    const auto config = make_default_allocator_config("mmap");
    const auto& mmap = dynamic_cast<const MmapConfig&>(*config);
    EXPECT_EQ(mmap.large_pages.word(), "attempt");
    EXPECT_EQ(mmap.locked_pages.word(), "attempt");
    EXPECT_TRUE(make_default_allocator_config("malloc")->acquire_permissions(serial_context()));
}

TEST(AllocatorRegistryTest, SettingsAsAnObject) {
    const auto text = [](const AllocatorConfig& config) { return allocator_to_config(config).to_acfg(); };
    const auto parse = [](const std::string& acfg) {
        return make_allocator_config(*Config::parse_acfg(acfg));
    };
    const std::string defaults =
        "{\r\n    Allocator : \"mmap\"\r\n    LargePages : \"attempt\"\r\n    LockedPages : "
        "\"attempt\"\r\n}\r\n";
    EXPECT_EQ(text(*make_default_allocator_config("mmap")), defaults);
    EXPECT_EQ(text(*make_default_allocator_config("malloc")), "{\r\n    Allocator : \"malloc\"\r\n}\r\n");
    for (const char* large : {"disabled", "attempt", "forced"}) {
        for (const char* locked : {"disabled", "attempt", "forced"}) {
            const std::string acfg = std::string("{\r\n    Allocator : \"mmap\"\r\n    LargePages : \"") +
                                     large + "\"\r\n    LockedPages : \"" + locked + "\"\r\n}\r\n";
            EXPECT_EQ(text(*parse(acfg)), acfg);
            EXPECT_EQ(text(*parse(acfg)->clone()), acfg);
        }
    }
    const auto refusal = [&](const std::string& acfg) {
        try {
            parse(acfg);
        } catch (const StringException& e) {
            return std::string(e.get_typename()) + " | " + e.function + " | " + e.message;
        }
        return std::string("none");
    };
    EXPECT_EQ(refusal("{Allocator : \"calloc\"}"),
              "InvalidParametersException |  | Invalid Memory Allocator: calloc");
    EXPECT_EQ(refusal("{}"), "KeyNotFoundException |  | Allocator");
    EXPECT_EQ(refusal("[]"), "ParseException |  | Memory Allocator: Expected Object, got Array.");
    EXPECT_EQ(refusal("{Allocator : 1 }"), "ParseException |  | Expected String, got Integer.");
    EXPECT_EQ(refusal("{Allocator : \"mmap\" LargePages : \"attempt\"}"),
              "KeyNotFoundException |  | LockedPages");
    EXPECT_EQ(refusal("{Allocator : \"mmap\" LargePages : \"maybe\" LockedPages : \"attempt\"}"),
              "InvalidParametersException | LargePages | Invalid Mode: maybe");
}

TEST(AllocatorRegistryDeathTest, DuplicateNameEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto twice = [] {
        Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        register_allocator("mmap", allocator_choices().find("mmap"));
    };
    EXPECT_EXIT(twice(), ::testing::ExitedWithCode(1), "^\nDuplicate Allocator Type\n$");
}

TEST(AllocatorsTest, RegionsAreAlignedFilledAndLargeEnough) {
    const auto framework = make_default_framework_config("spawn")->make_framework();
    for (const char* name : {"malloc", "mmap"}) {
        const auto config = make_default_allocator_config(name);
        for (const u64 tds : {1, 8}) {
            for (const u64 alignment : {6, 12, 16, 22}) {
                for (const u64 bytes : {u64(1), u64(4096), u64(100000), u64(2) << 20, (u64(5) << 20) + 64}) {
                    u64 size = bytes;
                    const auto region =
                        config->allocate(ParallelContext{framework.get(), tds}, alignment, size);
                    ASSERT_NE(region->pointer(), nullptr) << name << " " << bytes;
                    ASSERT_EQ(region->size(), size);
                    ASSERT_GE(size, bytes);
                    ASSERT_LT(size, bytes + (u64(2) << 20));
                    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(region->pointer()) % (u64(1) << alignment),
                              0U);
                    ASSERT_EQ(region->stats()->total_bytes, size);
                    if (size < 8) continue;
                    EXPECT_EQ(word_at(region->pointer(), 0), 0xC857661BU);
                    EXPECT_EQ(word_at(region->pointer(), 1), 0x9082F790U);
                    // Eight tasks fill two chunks, each numbered from its own start.
                    if (tds == 8 && size % 8 == 0) {
                        EXPECT_EQ(word_at(region->pointer(), size / 8), 0xC857661BU) << name << " " << size;
                    }
                    // Zero pages would show at the end.
                    EXPECT_NE(word_at(region->pointer(), size / 4 - 1), 0U);
                    std::memset(region->pointer(), 0x55, size);
                }
            }
        }
    }
}

TEST(MmapAllocatorTest, LargePagesForcedGivesThemOrNothing) {
    MmapConfig config;
    config.large_pages.set("forced");
    u64 size = 3 << 20;
    const auto region = config.allocate(serial_context(), 6, size);
    if (region->pointer()) {
        EXPECT_EQ(size % os::large_page_size(), 0U);
        EXPECT_EQ(region->stats()->large_page_bytes, size);
        EXPECT_NE(memory_stats_text(*region->stats()).find(" pages"), std::string::npos);
    } else {
        EXPECT_EQ(size, u64(3) << 20);
        EXPECT_EQ(region->size(), 0U);
        EXPECT_EQ(region->stats(), nullptr);
    }
}

TEST(MmapAllocatorTest, DisabledFlagsLockNothing) {
    MmapConfig config;
    config.large_pages.set("disabled");
    config.locked_pages.set("disabled");
    EXPECT_TRUE(config.acquire_permissions(serial_context()));
    u64 size = 100000;
    const auto region = config.allocate(serial_context(), 6, size);
    ASSERT_NE(region->pointer(), nullptr);
    EXPECT_EQ(size % os::page_size(), 0U);
    EXPECT_EQ(region->stats()->locked_bytes, 0U);
    EXPECT_EQ(memory_stats_text(*region->stats()), "spread: ?");
}

TEST(MmapAllocatorTest, ImpossibleSizesFail) {
    for (const u64 bytes : {~u64(0), ~u64(0) - 5000, u64(1) << 60}) {
        u64 size = bytes;
        const auto region = MmapConfig().allocate(serial_context(), 12, size);
        EXPECT_EQ(region->pointer(), nullptr);
        EXPECT_EQ(size, bytes);
    }
}

namespace {

// A system that locks at most g_lockable bytes in all.
u64 g_lockable, g_locked, g_smallest_call;
bool g_may_raise;
os::ErrorCategory g_refusal;

os::OsError fake_lock(void*, u64 bytes) {
    g_smallest_call = std::min(g_smallest_call, bytes);
    if (g_locked + bytes > g_lockable) return {12, g_refusal};
    g_locked += bytes;
    return {};
}
os::OsError fake_raise() {
    if (g_may_raise) return {};
    return {1, os::ErrorCategory::access_denied};
}

u64 lock_with(u64 bytes, u64 lockable, bool may_raise = true,
              os::ErrorCategory refusal = os::ErrorCategory::quota) {
    g_lockable = lockable;
    g_locked = 0;
    g_smallest_call = ~u64(0);
    g_may_raise = may_raise;
    g_refusal = refusal;
    return lock_region(nullptr, bytes, LockingCalls{fake_lock, fake_raise});
}

}  // namespace

TEST(PageLockingTest, HalvesDownToAMebibyte) {
    constexpr u64 kMiB = u64(1) << 20;
    EXPECT_EQ(lock_with(64 * kMiB, 64 * kMiB), 64 * kMiB);
    EXPECT_EQ(lock_with(64 * kMiB, 8 * kMiB), 8 * kMiB);
    EXPECT_EQ(lock_with(64 * kMiB, 9 * kMiB), 9 * kMiB);
    EXPECT_EQ(g_smallest_call, kMiB / 2);  // a refused MiB is halved once more, its halves are not
    EXPECT_EQ(lock_with(kMiB - 1, 100), 0U);
    EXPECT_EQ(g_smallest_call, kMiB - 1);
    EXPECT_EQ(lock_with(64 * kMiB, 8 * kMiB, false), 0U);
    EXPECT_EQ(lock_with(64 * kMiB, 8 * kMiB, true, os::ErrorCategory::access_denied), 0U);
}

// Two computations that lock at once: one region after the other.
TEST(PageLockingTest, OneRegionAtATime) {
    static std::atomic<int> inside{0}, most{0};
    const LockingCalls calls{[](void*, u64) -> os::OsError {
                                 const int now = ++inside;
                                 if (now > most) most = now;
                                 for (int i = 0; i < 50; i++) std::this_thread::yield();
                                 inside--;
                                 return {};
                             },
                             [] { return os::OsError{}; }};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20; i++) EXPECT_EQ(lock_region(nullptr, 100, calls), 100U);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(most, 1);
}

// What a limit does not take is tried again after the limit was raised.
TEST(PageLockingTest, TheLimitIsRaisedBeforeTheSecondTry) {
    std::string calls;
    bool raised = false;
    const LockingCalls system{[&](void*, u64) -> os::OsError {
                                  calls += "lock ";
                                  return raised ? os::OsError{} : os::OsError{12, os::ErrorCategory::quota};
                              },
                              [&] {
                                  calls += "raise ";
                                  raised = true;
                                  return os::OsError{};
                              }};
    EXPECT_EQ(lock_region(nullptr, 4096, system), 4096U);
    EXPECT_EQ(calls, "lock raise lock ");
    calls.clear();
    EXPECT_EQ(lock_region(nullptr, 4096, system), 4096U);
    EXPECT_EQ(calls, "lock ");
}

TEST(AllocateHeapTest, SummaryAndBuffer) {
    const auto nothing = allocate_heap(MmapConfig(), serial_context(), 12, 0);
    EXPECT_EQ(nothing.region, nullptr);
    EXPECT_EQ(nothing.summary, Console::format_bytes(0));
    EXPECT_EQ(nothing.buffer().size(), 0U);
    const auto malloced =
        allocate_heap(*make_default_allocator_config("malloc"), serial_context(), 12, 1 << 20);
    EXPECT_EQ(malloced.summary, "spread: ?");
    EXPECT_EQ(malloced.buffer().size(), u64(1) << 20);
    const auto mapped = allocate_heap(MmapConfig(), serial_context(), 12, 1000);
    EXPECT_EQ(mapped.summary, memory_stats_text(*mapped.region->stats()));
    EXPECT_GE(mapped.buffer().size(), 1000U);
}

// An allocator that knows nothing about the region it gives.
TEST(AllocateHeapTest, WithoutStatisticsTheSummaryIsTheSize) {
    struct Plain final : LargeAllocation {
        explicit Plain(u64 bytes) {
            pointer_ = memory;
            bytes_ = bytes;
        }
        alignas(64) char memory[4096];
    };
    struct PlainConfig final : AllocatorConfig {
        std::string name() const override { return "plain"; }
        std::string display_name() const override { return "Plain"; }
        bool acquire_permissions(const ParallelContext&) const override { return true; }
        std::unique_ptr<LargeAllocation> allocate(const ParallelContext&, u64, u64& bytes) const override {
            return std::make_unique<Plain>(bytes);
        }
        std::unique_ptr<AllocatorConfig> clone() const override { return std::make_unique<PlainConfig>(); }
    };
    const auto heap = allocate_heap(PlainConfig(), serial_context(), 6, 1536);
    EXPECT_EQ(heap.summary, Console::format_bytes(1536));
    EXPECT_EQ(heap.summary, "1.50 KiB");
    EXPECT_EQ(heap.buffer().size(), 1536U);
}

TEST(AllocateHeapTest, AFailureEndsTheRunWithItsReport) {
    for (int run = 0; run < 2; run++) {
        CaptureConsole console(CaptureConsole::terminal, true);
        try {
            (void)allocate_heap(MmapConfig(), serial_context(), 12, u64(1) << 60);
            ADD_FAILURE() << "1 EiB was given";
        } catch (const AllocationFailed& e) {
            EXPECT_EQ(e.bytes(), u64(1) << 60);
            EXPECT_EQ(console.take(), "");
            e.print();
        }
        EXPECT_EQ(console.take(),
                  "\n{R}The system did not give 1.00 EiB of memory. Compute fewer digits, close other "
                  "programs, or raise the memory limit of this process. Where large or locked pages are "
                  "\"forced\", choose \"attempt\".\nSee \"kalvor help\".\n{w}"
                  "\n\n{R}Large heap allocation failed.\n{w}\n{w}Failed Allocation: {Y}1.00 EiB{w}\n");
    }
    // Memory that is there can still be allocated.
    EXPECT_NE(allocate_heap(MmapConfig(), serial_context(), 12, 4096).buffer().get(), nullptr);
}
