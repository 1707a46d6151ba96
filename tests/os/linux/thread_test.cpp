// Priorities of threads as nice values.
#include "os/thread.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

using namespace trel;

namespace {

int nice_of(long thread) {
    return getpriority(PRIO_PROCESS, static_cast<id_t>(thread));
}

}  // namespace

TEST(LinuxThreadPriorityTest, EveryLevelIsANiceValueOfTheThreadAlone) {
    using enum os::ThreadPriority;
    const struct {
        os::ThreadPriority priority;
        int nice;
    } rows[] = {{normal, 0},        {below_normal, 5}, {lowest, 10},        {idle, 19},
                {above_normal, -5}, {highest, -10},    {time_critical, -20}};
    const long main_thread = syscall(SYS_gettid);
    const int before = nice_of(main_thread);
    std::thread([&] {
        const long self = syscall(SYS_gettid);
        for (const auto& row : rows) {
            const int now = nice_of(self);
            const os::OsError error = os::set_current_thread_priority(row.priority);
            if (error) {
                // Not everybody may raise it.
                EXPECT_LT(row.nice, now);
                EXPECT_EQ(error.category, os::ErrorCategory::access_denied);
                EXPECT_EQ(nice_of(self), now);
            } else {
                EXPECT_EQ(nice_of(self), row.nice);
            }
        }
    }).join();
    EXPECT_EQ(nice_of(main_thread), before);
}
