// A system that has no memory for one allocation of a dispatch, whichever it is: every allocation of the
// dispatching thread fails once.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>

#include "base/errors/exceptions.h"
#include "support/framework_cases.h"

using namespace trel;

// The sanitizers bring an allocator of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
namespace {

thread_local int allocations_left = -1;  // until the one that fails; below 0: none does
thread_local bool failed = false;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t bytes) {
    if (allocations_left == 0) failed = true;
    if (allocations_left-- == 0) throw std::bad_alloc();
    if (allocations_left < -1) allocations_left = -1;
    if (void* const memory = std::malloc(bytes)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

constexpr u64 kTasks = 40;

// Takes no memory. Long enough that a dispatch which does not wait is gone before its tasks.
struct Counted final : BasicAction {
    void run(u64 index) override {
        std::this_thread::yield();
        times[index]++;
    }
    std::array<std::atomic<int>, kTasks> times{};
};

class MemoryShortageTest : public ::testing::TestWithParam<kalvor_test::FrameworkCase> {};

std::vector<kalvor_test::FrameworkCase> cases() {
    std::vector<kalvor_test::FrameworkCase> some;
    for (const kalvor_test::FrameworkCase& one : kalvor_test::framework_cases()) {
        if (one.name == "tbb") continue;  // what a library does is its own affair
        if (one.name == "winpool" && !one.settings.empty()) continue;  // pools that the tests make
        some.push_back(one);
    }
    return some;
}

// How often each task ran: once, or the dispatch told the caller and nothing runs any more.
void check(Counted& counted, u64 tasks, bool told) {
    for (u64 i = 0; i < tasks; i++) {
        if (told) {
            EXPECT_LE(counted.times[i].load(), 1);
        } else {
            EXPECT_EQ(counted.times[i].load(), 1);
        }
    }
}

}  // namespace

TEST_P(MemoryShortageTest, EveryTaskRunsOrTheCallerIsTold) {
    for (const bool fork_join : {false, true}) {
        int told_at = 0;
        for (int n = 0;; n++) {
            const auto framework = GetParam().make();
            Counted counted;
            bool told = false;
            allocations_left = n;
            failed = false;
            try {
                if (fork_join) {
                    framework->run_in_parallel(counted, counted);
                } else {
                    framework->run_in_parallel(counted, 0, kTasks);
                }
            } catch (const std::bad_alloc&) {
                told = true;
            } catch (const ResourceAcquisitionFailedException&) {
                told = true;
            }
            allocations_left = -1;
            told_at += told ? 1 : 0;
            if (fork_join) {
                EXPECT_TRUE(told || counted.times[0].load() == 2) << n;
            } else {
                check(counted, kTasks, told);
            }
            if (!failed) break;  // there were fewer allocations
            ASSERT_LT(n, 2000);
        }
        // Those with workers do without.
        const std::string& name = GetParam().name;
        const bool does_without = name == "taskqueue" || name == "pushpool" || name == "cilk";
        EXPECT_TRUE(told_at == 0 || !does_without) << told_at;
    }
}

INSTANTIATE_TEST_SUITE_P(All, MemoryShortageTest, ::testing::ValuesIn(cases()),
                         [](const auto& info) { return info.param.label(); });
#endif
