// Registry, settings and thread routines.
#include <gtest/gtest.h>

#include <thread>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "os/affinity.h"
#include "os/cpu.h"
#include "platform/parallel/framework_registry.h"
#include "platform/parallel/parallelism_settings.h"
#include "platform/parallel/spawn_framework.h"
#include "platform/parallel/thread_control.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

template <class F>
std::string message_of(F f) {
    try {
        f();
    } catch (const InvalidParametersException& e) {
        return e.function + "|" + e.message;
    }
    return "nothing thrown";
}

}  // namespace

TEST(FrameworkRegistry, NamesAndTexts) {
    std::vector<std::string> names{"none", "cppasync", "spawn", "taskqueue", "pushpool", "winpool", "cilk"};
#ifdef KALVOR_HAVE_TBB
    names.push_back("tbb");
#endif
    EXPECT_EQ(framework_names(), names);
    const auto none = make_default_framework_config("none");
    EXPECT_EQ(none->name(), "none");
    EXPECT_EQ(none->display_name(), "None (No Multi-threading)");
    const auto spawn = make_default_framework_config("spawn");
    EXPECT_EQ(spawn->name(), "spawn");
    EXPECT_EQ(spawn->display_name(), "Thread Spawn (1 Thread/Task)");
    EXPECT_EQ(spawn->summary(64), "Thread Spawn (1 Thread/Task)  ->  64 / ?");
    EXPECT_EQ(spawn->clone()->summary(2), "Thread Spawn (1 Thread/Task)  ->  2 / ?");
    EXPECT_EQ(find_framework_type("none").display_name(), none->display_name());
    CaptureConsole console(CaptureConsole::terminal, true);
    spawn->print_summary(4);
    EXPECT_EQ(console.text(), "{T}Thread Spawn (1 Thread/Task)  ->  {Y}4 / ?{w}");
}

TEST(FrameworkRegistry, UnknownName) {
    EXPECT_EQ(message_of([] { (void)make_default_framework_config("openmp"); }),
              "|Invalid Parallel Framework: openmp");
}

TEST(FrameworkRegistryDeathTest, DuplicateNameEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto twice = [] {
        Console::set_pause_before_fatal_exit(false);
        register_framework("spawn", find_framework_type("none"));
    };
    EXPECT_EXIT(twice(), ::testing::ExitedWithCode(1), "");
}

TEST(ParallelismSettings, TaskDecompositionRange) {
    ParallelismSettings settings;
    const std::string text = "|Task decomposition must be between 1 and 65,536.";
    settings.task_decomposition = 0;
    EXPECT_EQ(message_of([&] { (void)settings.make_config(); }), text);
    settings.task_decomposition = 65537;
    EXPECT_EQ(message_of([&] { (void)settings.make_config(); }), text);
    settings.task_decomposition = 65536;
    EXPECT_EQ(settings.make_config()->name(), "none");
    settings.framework = "openmp";
    EXPECT_EQ(message_of([&] { (void)settings.make_config(); }), "|Invalid Parallel Framework: openmp");
}

TEST(ParallelismSettings, MaxSequentialDispatchIsAtLeastFour) {
    EXPECT_EQ(SpawnConfig(1).max_sequential_dispatch(), 4U);
    EXPECT_EQ(SpawnConfig(4).max_sequential_dispatch(), 4U);
    EXPECT_EQ(SpawnConfig(5).max_sequential_dispatch(), 5U);
    EXPECT_EQ(SpawnConfig().max_sequential_dispatch(), 64U);
    ParallelismSettings settings;
    settings.framework = "spawn";
    settings.max_sequential_dispatch = 1;
    const auto config = settings.make_config();
    EXPECT_EQ(dynamic_cast<const SpawnConfig&>(*config).max_sequential_dispatch(), 4U);
}

TEST(ParallelismSettings, Defaults) {
    const struct {
        u64 processors, tasks;
        const char* framework;
    } rows[] = {{0, 1, "none"},         {1, 1, "none"},          {2, 4, "cilk"},          {3, 8, "cilk"},
                {4, 8, "cilk"},         {6, 16, "cilk"},         {64, 128, "cilk"},       {96, 256, "cilk"},
                {32768, 65536, "cilk"}, {100000, 65536, "cilk"}, {~u64(0), 65536, "cilk"}};
    for (const auto& row : rows) {
        const ParallelismSettings settings = ParallelismSettings::defaults(row.processors);
        EXPECT_EQ(settings.task_decomposition, row.tasks) << row.processors;
        EXPECT_EQ(settings.framework, row.framework) << row.processors;
        EXPECT_EQ(settings.max_sequential_dispatch, 64U);
    }
    EXPECT_EQ(ParallelismSettings::defaults(2).summary(),
              "Cilk Plus Work-Stealing  ->  4 / " + std::to_string(os::active_processor_count()));
}

TEST(ThreadControl, LevelsOutsideTheRangeAreItsEnds) {
    using enum os::ThreadPriority;
    const os::ThreadPriority expected[] = {idle,         lowest,  below_normal, normal,
                                           above_normal, highest, time_critical};
    for (int level = -3; level <= 3; level++) EXPECT_EQ(thread_priority_of(level), expected[level + 3]);
    EXPECT_EQ(thread_priority_of(7), time_critical);
    EXPECT_EQ(thread_priority_of(-7), idle);
}

TEST(ThreadControl, LoweringThePriorityIsSilent) {
    CaptureConsole console;
    std::thread([] { set_thread_priority(-2); }).join();
    EXPECT_EQ(console.text(), "");
}

TEST(ThreadControl, GroupIsTheWholeProcessAlsoFromAPinnedThread) {
    CaptureConsole console;
    const auto& all = os::active_processors();
    std::thread([&] {
        std::vector<u32> now;
        set_thread_affinity({all.back()});
        EXPECT_FALSE(os::get_thread_affinity(now).failed());
        EXPECT_EQ(now, std::vector<u32>{all.back()});
        set_thread_group(12345);
        EXPECT_FALSE(os::get_thread_affinity(now).failed());
        EXPECT_EQ(now, all);
        EXPECT_EQ(console.take(), "");
        set_thread_affinity({});
        EXPECT_EQ(console.take(), "\nFailed to set thread affinity.\n");
    }).join();
}
