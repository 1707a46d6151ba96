// Registry, settings and thread routines.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "base/config/parser.h"
#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "os/affinity.h"
#include "os/cpu.h"
#include "platform/parallel/cilk_framework.h"
#include "platform/parallel/framework_registry.h"
#include "platform/parallel/parallelism_settings.h"
#include "platform/parallel/spawn_framework.h"
#include "platform/parallel/thread_control.h"
#include "support/capture_console.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

namespace {

ParallelismSettings parse_settings(const std::string& text) {
    return ParallelismSettings::parse(*Config::parse_acfg(text));
}

}  // namespace

TEST(FrameworkRegistryTest, NamesAndTexts) {
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
    EXPECT_EQ(framework_choices().find("none").display_name(), none->display_name());
    EXPECT_EQ(make_default_framework_config("pushpool")->summary(64),
              "Push Pool  ->  64 / ?  (randomization on)");
    EXPECT_EQ(none->summary(1), "None (No Multi-threading)  ->  1 / 1");
}

TEST(FrameworkRegistryTest, UnknownName) {
    EXPECT_EQ(message_of<InvalidParametersException>([] { (void)make_default_framework_config("openmp"); }),
              "|Invalid Parallel Framework: openmp");
}

TEST(FrameworkRegistryTest, WhatWasLeftOutIsNamedWithItsReason) {
    const LeftOutFramework left_out("handmade", "built without its library; install it and run again");
    EXPECT_EQ(message_of<InvalidParametersException>([] { (void)make_default_framework_config("handmade"); }),
              "|Invalid Parallel Framework: handmade (built without its library; install it and run again)");
    EXPECT_EQ(left_out_reason("openmp"), "");
#ifndef KALVOR_HAVE_TBB
    EXPECT_EQ(message_of<InvalidParametersException>([] { (void)make_default_framework_config("tbb"); }),
              "|Invalid Parallel Framework: tbb (built without oneTBB; install libtbb-dev and run again)");
#endif
}

TEST(FrameworkRegistryDeathTest, DuplicateNameEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto twice = [] {
        Console::set_pause_before_fatal_exit(false);
        print_to_stderr();
        register_framework("spawn", framework_choices().find("none"));
    };
    EXPECT_EXIT(twice(), ::testing::ExitedWithCode(1), "^\nDuplicate Framework Type\n$");
}

TEST(ParallelismSettingsTest, TaskDecompositionRange) {
    const std::string text = "|Task decomposition must be between 1 and 65,536.";
    const auto parse = [](const std::string& tasks) {
        return parse_settings("{ TaskDecomposition : " + tasks + " Framework : \"none\" }");
    };
    for (const char* refused : {"0", "65537", "-1", "9223372036854775807"}) {
        EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)parse(refused); }), text) << refused;
    }
    EXPECT_EQ(parse("1").task_decomposition, 1U);
    EXPECT_EQ(parse("65536").task_decomposition, 65536U);
}

TEST(ParallelismSettingsTest, SavedFormIsReadBack) {
    const char* texts[] = {
        "{\r\n    TaskDecomposition : 64\r\n    Framework : \"spawn\"\r\n    MaxSequentialDispatch : "
        "64\r\n}\r\n",
        "{\r\n    TaskDecomposition : 1\r\n    Framework : \"none\"\r\n}\r\n",
        "{\r\n    TaskDecomposition : 2\r\n    Framework : \"cppasync\"\r\n    AsyncOnly : \"false\"\r\n"
        "    MaxSequentialDispatch : 5\r\n}\r\n",
        "{\r\n    TaskDecomposition : 2\r\n    Framework : \"taskqueue\"\r\n    WorkerThreads : 12\r\n}\r\n",
        "{\r\n    TaskDecomposition : 65536\r\n    Framework : \"pushpool\"\r\n    WorkerThreads : 3\r\n"
        "    Randomization : \"false\"\r\n    MaxSequentialDispatch : 1000\r\n}\r\n",
        "{\r\n    TaskDecomposition : 3\r\n    Framework : \"winpool\"\r\n    MaxSequentialDispatch : "
        "4\r\n}\r\n",
        "{\r\n    TaskDecomposition : 4\r\n    Framework : \"cilk\"\r\n    WorkerThreads : 65536\r\n}\r\n",
#ifdef KALVOR_HAVE_TBB
        "{\r\n    TaskDecomposition : 7\r\n    Framework : \"tbb\"\r\n    ForkJoin2 : \"task_group\"\r\n"
        "    ParallelFor : \"static_partitioner\"\r\n}\r\n",
#endif
    };
    for (const std::string text : texts) {
        const ParallelismSettings settings = parse_settings(text);
        EXPECT_EQ(settings.to_config().to_acfg(), text);
        const ParallelismSettings copy = settings;
        EXPECT_EQ(copy.to_config().to_acfg(), text);
        ParallelismSettings assigned(1);
        assigned = settings;
        EXPECT_EQ(assigned.to_config().to_acfg(), text);
    }
}

TEST(ParallelismSettingsTest, ValuesOutsideTheirRange) {
    const auto saved = [](const std::string& keys) {
        return parse_settings("{ TaskDecomposition : 1 " + keys + " }").to_config().to_acfg();
    };
    const auto ends_with = [](const std::string& text, const std::string& end) {
        return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
    };
    for (const char* low : {"1", "0", "-7", "4"}) {
        const std::string value = std::string("MaxSequentialDispatch : ") + low;
        EXPECT_TRUE(ends_with(saved("Framework : \"spawn\" " + value), "MaxSequentialDispatch : 4\r\n}\r\n"))
            << low;
        EXPECT_TRUE(
            ends_with(saved("Framework : \"winpool\" " + value), "MaxSequentialDispatch : 4\r\n}\r\n"))
            << low;
    }
    const struct {
        const char* given;
        u64 threads;
    } rows[] = {{"0", 1}, {"1", 1}, {"-1", 1}, {"16", 16}, {"65536", 65536}, {"100000", 65536}};
    for (const auto& row : rows) {
        const std::string keys = std::string("Framework : \"cilk\" WorkerThreads : ") + row.given;
        EXPECT_TRUE(ends_with(saved(keys), "WorkerThreads : " + std::to_string(row.threads) + "\r\n}\r\n"))
            << row.given;
        const auto settings = parse_settings("{ TaskDecomposition : 1 " + keys + " }");
        EXPECT_EQ(settings.framework->worker_threads(), row.threads);
    }
    EXPECT_TRUE(
        ends_with(saved("Framework : \"taskqueue\" WorkerThreads : -3"), "WorkerThreads : 0\r\n}\r\n"));
}

TEST(ParallelismSettingsTest, Refusals) {
    EXPECT_EQ(message_of<InvalidParametersException>(
                  [] { (void)parse_settings("{ TaskDecomposition : 1 Framework : \"openmp\" }"); }),
              "|Invalid Parallel Framework: openmp");
    // Every key must be there and of its type.
    EXPECT_THROW((void)parse_settings("{ TaskDecomposition : 1 }"), KeyNotFoundException);
    EXPECT_THROW((void)parse_settings("{ Framework : \"none\" }"), KeyNotFoundException);
    EXPECT_THROW((void)parse_settings("{ TaskDecomposition : 1 Framework : \"spawn\" }"),
                 KeyNotFoundException);
    EXPECT_THROW((void)parse_settings("{ TaskDecomposition : \"1\" Framework : \"none\" }"), ParseException);
    try {
        (void)ParallelismSettings::parse(Config::String("spawn"));
        FAIL();
    } catch (const ParseException& e) {
        EXPECT_EQ(e.message, "Parallel Framework: Expected Object, got String.");
    }
#ifdef KALVOR_HAVE_TBB
    const auto tbb = [](const std::string& join, const std::string& loop) {
        return message_of<InvalidParametersException>([&] {
            (void)parse_settings("{ TaskDecomposition : 1 Framework : \"tbb\" ForkJoin2 : \"" + join +
                                 "\" ParallelFor : \"" + loop + "\" }");
        });
    };
    EXPECT_EQ(tbb("invoke", "disabled"),
              "TBB::parse_config()|ForkJoin2 must be either \"task_group\" or \"parallel_invoke\"");
    EXPECT_EQ(tbb("parallel_invoke", "auto"), "|Invalid parallel_for() partitioner.");
    EXPECT_EQ(tbb("parallel_invoke", "auto_partitioner"), "nothing thrown");
#endif
}

TEST(ParallelismSettingsTest, Defaults) {
    const struct {
        u64 processors, tasks;
        const char* framework;
    } rows[] = {{0, 1, "none"},         {1, 1, "none"},          {2, 4, "cilk"},          {3, 8, "cilk"},
                {4, 8, "cilk"},         {6, 16, "cilk"},         {64, 128, "cilk"},       {96, 256, "cilk"},
                {32768, 65536, "cilk"}, {100000, 65536, "cilk"}, {~u64(0), 65536, "cilk"}};
    for (const auto& row : rows) {
        const ParallelismSettings settings(row.processors);
        EXPECT_EQ(settings.task_decomposition, row.tasks) << row.processors;
        EXPECT_EQ(settings.framework->name(), row.framework) << row.processors;
        EXPECT_EQ(settings.logical_cores, std::max<u64>(row.processors, 1));
    }
    EXPECT_EQ(
        ParallelismSettings(2).summary(),
        "Cilk Plus Work-Stealing  ->  4 / " + std::to_string(os::usable_processor_count()) + "  (built-in)");
    EXPECT_EQ(ParallelismSettings().logical_cores, os::usable_processor_count());
}

// The settings of a run's parallelism are a list like any other.
TEST(ParallelismSettingsTest, LinesAndEditing) {
    CaptureConsole console;
    ParallelismSettings settings(1);
    EXPECT_EQ(settings.print(2), 4U);
    EXPECT_EQ(console.take(),
              "   2    Task Decomposition:         1\n   3    Framework:                  None (No "
              "Multi-threading)\n");
    console.type({"0", "65537", "-1", "12"});
    settings.edit(0);
    EXPECT_EQ(settings.task_decomposition, 12U);
    std::string text = console.take();
    const std::string refusal = "\nPlease choose a number between 1 and 65,536.\nTask Decomposition: ";
    EXPECT_EQ(text.find("\n\nTarget Task Decomposition\n\nIn order to parallelize a task, "), 0U) << text;
    EXPECT_TRUE(text.ends_with("\n\nTask Decomposition: " + refusal + refusal + refusal)) << text;
    console.type({"2"});
    settings.edit(1);
    EXPECT_EQ(settings.framework->name(), "spawn");
    Config::Object selectors;
    settings.add_selectors(selectors);
    EXPECT_EQ(selectors.get_object("TaskDecomposition").get_integer("Value"), 12);
    EXPECT_EQ(selectors.get_string("Framework"), "spawn");
    EXPECT_TRUE(selectors.contains("MaxSequentialDispatch"));
}

namespace {

// What the remote user interface gets, on one line.
std::string selector_of(const FrameworkConfig& config) {
    std::string text = config.to_selector().to_json();
    std::string line;
    for (const char c : text) {
        if (c != '\r' && c != '\n' && c != ' ') line += c;
    }
    return line;
}

}  // namespace

TEST(FrameworkSelectorsTest, EverySettingWithItsText) {
    EXPECT_EQ(selector_of(*make_default_framework_config("none")), "{\"Framework\":\"none\"}");
    EXPECT_EQ(selector_of(*make_default_framework_config("spawn")),
              "{\"Framework\":\"spawn\",\"MaxSequentialDispatch\":{\"Value\":64,\"DisplayText\":\"64\"}}");
    EXPECT_EQ(selector_of(*make_default_framework_config("cppasync")),
              "{\"Framework\":\"cppasync\",\"AsyncOnly\":{\"Value\":\"true\",\"DisplayText\":\"std::launch::"
              "async\"},"
              "\"MaxSequentialDispatch\":{\"Value\":64,\"DisplayText\":\"64\"}}");
    EXPECT_EQ(selector_of(*make_default_framework_config("taskqueue")),
              "{\"Framework\":\"taskqueue\",\"WorkerThreads\":{\"Value\":0,\"DisplayText\":\"Unlimited\"}}");
    EXPECT_EQ(selector_of(*make_default_framework_config("pushpool")),
              "{\"Framework\":\"pushpool\",\"WorkerThreads\":{\"Value\":0,\"DisplayText\":\"Unlimited\"},"
              "\"Randomization\":{\"Value\":\"true\",\"DisplayText\":\"Enabled\"},"
              "\"MaxSequentialDispatch\":{\"Value\":64,\"DisplayText\":\"64\"}}");
    EXPECT_EQ(selector_of(*make_default_framework_config("winpool")),
              "{\"Framework\":\"winpool\",\"MaxSequentialDispatch\":{\"Value\":64,\"DisplayText\":\"64\"}}");
    const std::string n = std::to_string(os::usable_processor_count());
    EXPECT_EQ(
        selector_of(*make_default_framework_config("cilk")),
        "{\"Framework\":\"cilk\",\"WorkerThreads\":{\"Value\":" + n + ",\"DisplayText\":\"" + n + "\"}}");
#ifdef KALVOR_HAVE_TBB
    EXPECT_EQ(selector_of(*make_default_framework_config("tbb")),
              "{\"Framework\":\"tbb\",\"ForkJoin2\":{\"Value\":\"parallel_invoke\",\"DisplayText\":"
              "\"parallel_invoke\"},"
              "\"ParallelFor\":{\"Value\":\"disabled\",\"DisplayText\":\"disabled\"}}");
#endif
}

namespace {

std::string menu_of(const FrameworkConfig& config, u64 first_line_number, u64 lines) {
    CaptureConsole console;
    EXPECT_EQ(config.print(first_line_number), first_line_number + lines);
    return console.take();
}

constexpr const char* kDispatchExplanation =
    "Max Sequential Dispatch\n"
    "\n"
    "    This parameter puts a limit on the maximum number of tasks that can be\n"
    "issued sequentially before a recursive fan-out is required. This controls the\n"
    "exponential fan-out of tasks onto threads.\n"
    "\n"
    "Smaller values have shorter critical paths, but require more recursive dispatch\n"
    "generations to reach full utilization.\n"
    "\n"
    "Larger values have longer critical paths in each generation, but require fewer\n"
    "recursive dispatch generations.\n"
    "\n"
    "Value = ";

}  // namespace

TEST(FrameworkMenusTest, LinesAndEditing) {
    CaptureConsole console;
    const auto none = make_default_framework_config("none");
    EXPECT_EQ(menu_of(*none, 4, 0), "");
    none->edit(0);

    const auto spawn = make_default_framework_config("spawn");
    EXPECT_EQ(menu_of(*spawn, 4, 1), "   4    Max Sequential Dispatch:    64\n");
    console.type({"3", "-1", "100"});
    spawn->edit(0);
    EXPECT_EQ(console.take(), std::string(kDispatchExplanation) + "Value = Value = ");
    EXPECT_EQ(menu_of(*spawn, 12, 1), "  12    Max Sequential Dispatch:    100\n");
    spawn->edit(1);
    EXPECT_EQ(console.take(), "");

    const auto async = make_default_framework_config("cppasync");
    EXPECT_EQ(async->summary(2), "C++ std::async()  ->  2 / ?  (async only)");
    EXPECT_EQ(menu_of(*async, 4, 2),
              "   4    Launch Policy: std::launch::async\n   5    Max Sequential Dispatch:    64\n");
    async->edit(0);
    console.type({"4"});
    async->edit(1);
    EXPECT_EQ(console.take(), kDispatchExplanation);
    EXPECT_EQ(async->summary(2), "C++ std::async()  ->  2 / ?  (async | deferred)");
    EXPECT_EQ(menu_of(*async, 4, 2),
              "   4    Launch Policy: std::launch::async | std::launch::deferred\n"
              "   5    Max Sequential Dispatch:    4\n");
    EXPECT_EQ(selector_of(*async),
              "{\"Framework\":\"cppasync\",\"AsyncOnly\":{\"Value\":\"false\",\"DisplayText\":\"std::launch::"
              "async|std::launch::deferred\"},"
              "\"MaxSequentialDispatch\":{\"Value\":4,\"DisplayText\":\"4\"}}");
    async->edit(0);
    EXPECT_EQ(async->mode_text(), "  (async only)");

    const auto queue = make_default_framework_config("taskqueue");
    EXPECT_EQ(queue->summary(8), "Central Dispatch Queue  ->  8 / ?");
    EXPECT_EQ(menu_of(*queue, 4, 1), "   4    Worker Threads:             Unlimited\n");
    console.type({"-1", "12"});
    queue->edit(0);
    EXPECT_EQ(console.take(), "Threads (0 for unlimited threads): Threads (0 for unlimited threads): ");
    EXPECT_EQ(menu_of(*queue, 4, 1), "   4    Worker Threads:             12\n");
    EXPECT_EQ(queue->summary(8), "Central Dispatch Queue  ->  8 / 12");

    const auto push = make_default_framework_config("pushpool");
    EXPECT_EQ(push->summary(8), "Push Pool  ->  8 / ?  (randomization on)");
    EXPECT_EQ(menu_of(*push, 4, 3),
              "   4    Worker Threads:             Unlimited\n"
              "   5    Thread Randomization:       Enabled\n"
              "   6    Max Sequential Dispatch:    64\n");
    console.type({"3", "9"});
    push->edit(0);
    push->edit(1);
    push->edit(2);
    EXPECT_EQ(console.take(), "Threads (0 for unlimited threads): " + std::string(kDispatchExplanation));
    EXPECT_EQ(push->clone()->summary(8), "Push Pool  ->  8 / 3  (randomization off)");
    EXPECT_EQ(menu_of(*push, 4, 3),
              "   4    Worker Threads:             3\n"
              "   5    Thread Randomization:       Disabled\n"
              "   6    Max Sequential Dispatch:    9\n");

    const auto win = make_default_framework_config("winpool");
    EXPECT_EQ(win->summary(8), "Windows Thread Pool  ->  8 / ?");
    EXPECT_EQ(menu_of(*win, 4, 1), "   4    Max Sequential Dispatch:    64\n");
    console.type({"65"});
    win->edit(0);
    EXPECT_EQ(console.take(), kDispatchExplanation);
    EXPECT_EQ(menu_of(*win, 4, 1), "   4    Max Sequential Dispatch:    65\n");

    const auto cilk = make_default_framework_config("cilk");
    console.type({"0", "65537", "7"});
    cilk->edit(0);
    EXPECT_EQ(console.take(), "Threads: Threads: Threads: ");
    EXPECT_EQ(cilk->summary(8), "Cilk Plus Work-Stealing  ->  8 / 7  (built-in)");
    EXPECT_EQ(menu_of(*cilk, 4, 1), "   4    Cilk Threads:               7\n");
}

TEST(FrameworkMenusTest, ColorsOfTheExplanation) {
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"5"});
    make_default_framework_config("spawn")->edit(0);
    EXPECT_EQ(
        console.text().substr(0, 95),
        "{P}Max Sequential Dispatch\n\n{w}    This parameter puts a limit on the maximum number of tasks t");
    EXPECT_NE(console.text().find("that can be\nissued"), std::string::npos);
}

#ifdef KALVOR_HAVE_TBB
TEST(FrameworkMenusTest, Tbb) {
    const auto tbb = make_default_framework_config("tbb");
    EXPECT_EQ(tbb->summary(8), "Thread Building Blocks (TBB)  ->  8 / ?");
    const std::string warning =
        "        TBB is known to have severe load-balancing issues for Kalvor's\n"
        "        workload. As of 2019, the cause remains unknown. Use Cilk Plus for\n"
        "        serious computations.\n"
        "\n"
        "        The options here are undocumented and are the result of a futile\n"
        "        attempt to find settings that can make TBB behave more like Cilk Plus.\n";
    EXPECT_EQ(menu_of(*tbb, 4, 2), warning +
                                       "   4    2-Way Fork-Join:            parallel_invoke\n"
                                       "   5    Parallel For:               disabled\n");
    tbb->edit(0);
    const char* const loops[] = {"auto_partitioner", "static_partitioner", "simple_partitioner", "disabled"};
    for (const char* loop : loops) {
        tbb->edit(1);
        EXPECT_EQ(menu_of(*tbb, 4, 2), warning + "   4    2-Way Fork-Join:            task_group\n" +
                                           "   5    Parallel For:               " + loop + "\n");
    }
    tbb->edit(0);
    EXPECT_EQ(tbb->to_config().get_string("ForkJoin2"), "parallel_invoke");
    // The warning is yellow.
    CaptureConsole console(CaptureConsole::terminal, true);
    tbb->print(4);
    const std::string lines = console.take();
    EXPECT_TRUE(lines.starts_with("{Y}        TBB is known")) << lines;
    EXPECT_LT(lines.find("attempt to find"), lines.find("{w}")) << lines;
}
#endif

TEST(FrameworkMenusTest, Selection) {
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"8", "-1", "4"});
    EXPECT_EQ(select_framework_menu()->name(), "pushpool");
    std::string lines = "{P}Select a Parallel Framework:\n";
    u64 i = 0;
    for (const std::string& name : framework_names()) {
        lines +=
            "{w}   " + std::to_string(i++) + "    {T}" + framework_choices().find(name).display_name() + "\n";
    }
    EXPECT_EQ(console.text().substr(0, lines.size()), lines);
    EXPECT_EQ(console.text().substr(lines.size(), 14), "\n{w}option: {T");
    console.type({"0"});
    EXPECT_EQ(select_framework_menu()->name(), "none");
}

TEST(ThreadControlTest, LevelsOutsideTheRangeAreItsEnds) {
    using enum os::ThreadPriority;
    const os::ThreadPriority expected[] = {idle,         lowest,  below_normal, normal,
                                           above_normal, highest, time_critical};
    for (int level = -3; level <= 3; level++) EXPECT_EQ(thread_priority_of(level), expected[level + 3]);
    EXPECT_EQ(thread_priority_of(7), time_critical);
    EXPECT_EQ(thread_priority_of(-7), idle);
}

namespace {

// The lines as a run's status shows them.
void report(const std::vector<Warnings::Line>& lines) {
    LinearConsoleNode status(79, 1.0);
    Warnings warnings;
    warnings.add(lines);
    warnings.report(status);
}
std::string reported(const std::vector<Warnings::Line>& lines) {
    CaptureConsole console;
    report(lines);
    return console.take();
}

}  // namespace

TEST(ThreadControlTest, RefusedPriority) {
    CaptureConsole console;
    constexpr ThreadPriorityCalls kRefusing{[](os::ThreadPriority priority) {
        EXPECT_EQ(priority, os::ThreadPriority::time_critical);
        return os::OsError{1, os::ErrorCategory::access_denied};
    }};
    const auto lines = set_thread_priority(7, kRefusing);
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(reported(lines), "\nWarning: Unable to set thread priority.\n");
}

namespace {

// Prints what two failing calls warn of, and ends.
void fail_twice(const ThreadGroupCalls& calls, bool colors = false) {
    print_to_stderr(colors);
    const auto first = set_thread_group(5, calls);
    const auto second = set_thread_group(6, calls);
    report(first);
    report(second);
    std::exit(0);
}

u64 three_groups() {
    return 3;
}
std::vector<u32> two_processors(u64 group) {
    const u32 first = static_cast<u32>(10 * group);
    return {first, first + 1};
}
os::OsError list_two_processors(u64 group, std::vector<u32>& processors) {
    processors = two_processors(group);
    return {};
}
os::OsError list_none(u64, std::vector<u32>&) {
    return {87, os::ErrorCategory::invalid_parameter};
}
u64 group_one() {
    return 1;
}
u64 group_two() {
    return 2;
}
os::OsError read_others(std::vector<u32>& processors) {
    processors = {3, 4, 5};
    return {};
}

}  // namespace

TEST(ThreadControlDeathTest, FailuresAreReportedOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto success = [](const std::vector<u32>&) { return os::OsError{}; };
    const auto refusal = [](const std::vector<u32>&) {
        return os::OsError{22, os::ErrorCategory::invalid_parameter};
    };
    const std::string last = "Further messages of this message will be suppressed.\n$";
    EXPECT_EXIT(fail_twice({three_groups, list_two_processors, refusal, read_others, group_one}),
                ::testing::ExitedWithCode(0),
                "^\nWarning: Unable to set processor group affinity: 22\n" + last);
    EXPECT_EXIT(fail_twice({three_groups, list_two_processors, success, read_others, group_one}),
                ::testing::ExitedWithCode(0),
                "^\nWarning: Unable to set processor group affinity: 0\n"
                "Expected Group: 2\nExpected Mask : 20-21\nActual Group  : 1\nActual Mask   : 3-5\n" +
                    last);
    EXPECT_EXIT(fail_twice({three_groups, list_none, success, read_others, group_one}),
                ::testing::ExitedWithCode(0),
                "^\nGetActiveProcessorCount\\(\\) returned zero.\nError Code: 87\n" + last);
}

// All of a report is red, and what follows is not.
TEST(ThreadControlDeathTest, FailuresAreRed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto success = [](const std::vector<u32>&) { return os::OsError{}; };
    EXPECT_EXIT(fail_twice({three_groups, list_two_processors, success, read_others, group_one}, true),
                ::testing::ExitedWithCode(0),
                "^\n\\{R\\}Warning: Unable to set processor group affinity: 0\n\\{w\\}"
                "\\{R\\}Expected Group: 2\\{w\\}\n\\{R\\}Expected Mask : 20-21\\{w\\}\n"
                "\\{R\\}Actual Group  : 1\\{w\\}\n\\{R\\}Actual Mask   : 3-5\\{w\\}\n"
                "\\{R\\}Further messages of this message will be suppressed.\\{w\\}\n$");
}

// The right processors in the wrong group are wrong.
TEST(ThreadControlDeathTest, TheGroupIsCheckedToo) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto success = [](const std::vector<u32>&) { return os::OsError{}; };
    const auto as_wanted = [](std::vector<u32>& processors) {
        processors = two_processors(2);
        return os::OsError{};
    };
    EXPECT_EXIT(fail_twice({three_groups, list_two_processors, success, as_wanted, group_one}),
                ::testing::ExitedWithCode(0),
                "Expected Group: 2\nExpected Mask : 20-21\nActual Group  : 1\nActual Mask   : 20-21\n");
    CaptureConsole console;
    EXPECT_TRUE(
        set_thread_group(5, {three_groups, list_two_processors, success, as_wanted, group_two}).empty());
    EXPECT_EQ(console.text(), "");
}

TEST(ThreadControlTest, SuccessiveIndicesFillSuccessiveGroups) {
    CaptureConsole console;
    static std::vector<u32> now;
    const ThreadGroupCalls calls{three_groups, list_two_processors,
                                 [](const std::vector<u32>& processors) {
                                     now = processors;
                                     return os::OsError{};
                                 },
                                 [](std::vector<u32>& processors) {
                                     processors = now;
                                     return os::OsError{};
                                 },
                                 [] { return u64(now.empty() ? 0 : now.front() / 10); }};
    for (u64 i = 0; i < 7; i++) {
        EXPECT_TRUE(set_thread_group(i, calls).empty());
        EXPECT_EQ(now, two_processors(i % 3));
    }
    EXPECT_EQ(console.text(), "");
}

TEST(ThreadControlTest, GroupsHoldAllProcessors) {
    std::vector<u32> all;
    for (u32 group = 0; group < os::processor_group_count(); group++) {
        const std::vector<u32> processors = os::active_processors(group);
        EXPECT_EQ(processors.size(), os::active_processor_count(group));
        std::vector<u32> asked;
        EXPECT_FALSE(os::get_group_processors(group, asked).failed());
        EXPECT_EQ(asked, processors);
        all.insert(all.end(), processors.begin(), processors.end());
    }
    EXPECT_EQ(all, os::active_processors());
    EXPECT_TRUE(os::active_processors(os::processor_group_count()).empty());
    EXPECT_TRUE(os::get_group_processors(os::processor_group_count(), all).failed());
    EXPECT_TRUE(all.empty());
}

TEST(ThreadControlTest, LoweringThePriorityIsSilent) {
    CaptureConsole console;
    std::thread([] { EXPECT_TRUE(set_thread_priority(-2).empty()); }).join();
    EXPECT_EQ(console.text(), "");
}

// With one group there is nothing to choose, and a pinned thread stays where it is.
TEST(ThreadControlTest, WithOneGroupNothingIsPlaced) {
    CaptureConsole console;
    static int calls_made;
    calls_made = 0;
    const ThreadGroupCalls calls{[] { return u64(1); },
                                 [](u64, std::vector<u32>&) {
                                     calls_made++;
                                     return os::OsError{};
                                 },
                                 [](const std::vector<u32>&) {
                                     calls_made++;
                                     return os::OsError{};
                                 },
                                 [](std::vector<u32>&) {
                                     calls_made++;
                                     return os::OsError{};
                                 },
                                 [] { return u64(0); }};
    EXPECT_TRUE(set_thread_group(3, calls).empty());
    EXPECT_EQ(calls_made, 0);
    EXPECT_EQ(console.text(), "");
}

TEST(ThreadControlTest, APinnedThread) {
    CaptureConsole console;
    const auto& all = os::active_processors();
    const auto& group = os::active_processors(12345 % os::processor_group_count());
    std::thread([&] {
        std::vector<u32> now;
        const std::vector<u32> pinned{all.back()};
        EXPECT_TRUE(set_thread_affinity(pinned).empty());
        EXPECT_FALSE(os::get_thread_affinity(now).failed());
        EXPECT_EQ(now, pinned);
        EXPECT_TRUE(set_thread_group(12345).empty());
        EXPECT_FALSE(os::get_thread_affinity(now).failed());
        EXPECT_EQ(now, os::processor_group_count() == 1 ? pinned : group);
        EXPECT_EQ(reported(set_thread_affinity({})), "\nFailed to set thread affinity.\n");
        EXPECT_EQ(console.take(), "");
    }).join();
}

// Somebody else's library comes in only by a word of the settings.
TEST(CilkSettingsTest, TheRuntimeIsChosen) {
    const auto config_of = [](const std::string& more) {
        const auto node = Config::parse_acfg("{ Framework : \"cilk\" WorkerThreads : 2 " + more + " }");
        return make_framework_config(node->as<Config::Object>());
    };
    const std::string built_in = "Cilk Plus Work-Stealing  ->  4 / 2  (built-in)";
    EXPECT_EQ(config_of("")->summary(4), built_in);
    EXPECT_EQ(config_of("Runtime : \"built-in\"")->summary(4), built_in);
    EXPECT_FALSE(config_of("Runtime : \"built-in\"")->to_config().contains("Runtime"));
    const auto library = config_of("Runtime : \"library\"");
    EXPECT_EQ(library->to_config().get_string("Runtime", ""), "library");
    EXPECT_EQ(library->clone()->summary(4), library->summary(4));
    if (const char* const name = CilkCalls::of_this_machine().library) {
        EXPECT_EQ(library->mode_text(), "  (" + std::string(name) + ")");
    } else {
        EXPECT_EQ(library->mode_text(), "  (library not found)");
        EXPECT_THROW(library->make_framework(), ResourceAcquisitionFailedException);
    }
    EXPECT_THROW(config_of("Runtime : \"other\""), InvalidParametersException);
}
