// What each framework promises beyond running every task: how many threads, in what order, and its own
// failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "platform/cilk/cilk_entries.h"
#include "platform/parallel/bisection.h"
#include "platform/parallel/cilk_framework.h"
#include "platform/parallel/cpp_async_framework.h"
#include "platform/parallel/meeting.h"
#include "platform/parallel/push_pool_framework.h"
#include "platform/parallel/task_queue_framework.h"
#include "platform/parallel/thread_control.h"
#include "platform/parallel/win_pool_framework.h"
#include "support/child.h"
#include "support/framework_cases.h"
#include "support/run_program.h"
#ifdef KALVOR_HAVE_TBB
#include <tbb/global_control.h>

#include "platform/parallel/tbb_framework.h"
#include "support/message_of.h"
#endif

using namespace trel;
using kalvor_test::Form;
using kalvor_test::Meeting;
using kalvor_test::message_of;
using kalvor_test::Recorder;

namespace {

// Whether n threads run a dispatch of n at the same time.
bool meets_at_once(BasicParallelizer& framework, u64 n) {
    struct Patient final : BasicAction {
        explicit Patient(u64 n) : missing(n) {}
        void run(u64) override {
            std::unique_lock<std::mutex> lock(mutex);
            if (--missing == 0) all_here.notify_all();
            if (!all_here.wait_for(lock, std::chrono::milliseconds(200), [&] { return missing == 0; }))
                late = true;
        }
        std::mutex mutex;
        std::condition_variable all_here;
        u64 missing;
        bool late = false;
    };
    Patient all(n);
    framework.run_in_parallel(all, 0, n);
    return !all.late;
}

// The same of a pool whose workers may not all have gone idle yet, in which case it runs tasks in the caller.
bool meets(BasicParallelizer& framework, u64 n) {
    for (int attempt = 0; attempt < 20; attempt++) {
        if (meets_at_once(framework, n)) return true;
    }
    return false;
}

// Until one of the two is there, or was.
void wait_for_one(Meeting& meeting) {
    while (true) {
        const std::lock_guard<std::mutex> lock(meeting.mutex);
        if (meeting.missing <= 1) return;
    }
}

struct Nothing final : BasicAction {
    void run(u64) override {}
};

// What the settings say, made into a framework.
template <class Framework = BasicParallelizer>
std::unique_ptr<Framework> made_from(const std::string& settings) {
    const auto node = Config::parse_acfg("{ " + settings + " }");
    auto framework = make_framework_config(node->as<Config::Object>())->make_framework();
    return std::unique_ptr<Framework>(&dynamic_cast<Framework&>(*framework.release()));
}

std::string push_pool(u64 threads, bool randomize) {
    return "Framework : \"pushpool\" WorkerThreads : " + std::to_string(threads) + " Randomization : \"" +
           (randomize ? "true" : "false") + "\" MaxSequentialDispatch : 64";
}

}  // namespace

TEST(PushPoolTest, OneWorkerMeansNoThread) {
    for (const bool randomize : {false, true}) {
        const auto framework = made_from<PushPoolFramework>(push_pool(1, randomize));
        Recorder recorder(200);
        framework->run_in_parallel(recorder, 0, 200);
        recorder.expect_once(0, 200);
        EXPECT_EQ(recorder.in_caller_.size(), 200U);
        Recorder a(1), b(1);
        framework->run_in_parallel(a, b);
        EXPECT_EQ(a.in_caller_.size(), 1U);
        EXPECT_EQ(b.in_caller_.size(), 1U);
        EXPECT_EQ(framework->pool_threads(), 0U);
    }
}

TEST(PushPoolTest, AFixedPoolStartsItsThreadsAtTheFirstDispatch) {
    for (const u64 n : {2, 3, 9, 17}) {
        PushPoolFramework framework(n, n % 2 == 0, 64);
        EXPECT_EQ(framework.pool_threads(), 0U);
        Recorder recorder(2);
        framework.run_in_parallel(recorder, 0, 2);
        recorder.expect_once(0, 2);
        EXPECT_EQ(framework.pool_threads(), n - 1);
        EXPECT_TRUE(meets(framework, n));
        EXPECT_EQ(framework.pool_threads(), n - 1);
    }
}

TEST(PushPoolTest, AnUnlimitedPoolGrowsToTwiceTheProcessors) {
    const u64 most = 2 * u64(os::usable_processor_count());
    PushPoolFramework framework(0, true, 64);
    for (u64 n = 2; n <= std::min<u64>(most, 64); n++) {
        EXPECT_TRUE(meets(framework, n));
        EXPECT_GE(framework.pool_threads(), n - 1);
        EXPECT_LT(framework.pool_threads(), most);
    }
    Recorder recorder(500);
    framework.run_in_parallel(recorder, 0, 500);
    recorder.expect_once(0, 500);
    EXPECT_LT(framework.pool_threads(), most);
}

TEST(PushPoolTest, WithoutRandomizationTheFirstIdleWorkerIsTaken) {
    const auto framework = made_from(push_pool(17, false));
    // A worker that is slow to go idle is passed over, so one quiet spell among several is enough. By chance,
    // twenty dispatches would not find the same of sixteen workers in any of them, even where the one of the
    // last dispatch is slow to fall asleep and therefore preferred.
    bool always_the_same = false;
    for (int spell = 0; spell < 10 && !always_the_same; spell++) {
        std::set<std::thread::id> threads;
        for (int round = 0; round < 20; round++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            Recorder recorder(2);
            framework->run_in_parallel(recorder, 0, 2);
            threads.insert(recorder.threads_.begin(), recorder.threads_.end());
        }
        always_the_same = threads.size() == 2;  // the caller and worker 0
    }
    EXPECT_TRUE(always_the_same);
}

TEST(PushPoolTest, WithRandomizationAnyWorkerIsTaken) {
    const auto framework = made_from(push_pool(9, true));
    std::set<std::thread::id> threads;
    for (int round = 0; round < 500 && threads.size() < 4; round++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));  // all fall asleep: none is preferred
        Recorder recorder(2);
        framework->run_in_parallel(recorder, 0, 2);
        threads.insert(recorder.threads_.begin(), recorder.threads_.end());
    }
    EXPECT_GE(threads.size(), 4U);  // the caller and three of eight workers
}

TEST(TaskQueueTest, TasksAreTakenInTheOrderInWhichTheyWerePushed) {
    Recorder recorder(100);
    os::JoinCounter join;
    join.add(100);
    {
        // The one worker is held up until all are queued.
        Meeting gate(2);
        os::JoinCounter gate_join;
        gate_join.add(1);
        TaskQueue queue(1, {});
        queue.push_back(gate, 0, gate_join);
        wait_for_one(gate);
        EXPECT_EQ(queue.push_back(recorder, 0, join), 0U);
        for (u64 i = 1; i < 100; i++) EXPECT_EQ(queue.push_back(recorder, i, join), i);
        gate.run(0);
        gate_join.wait();
        join.wait();
        EXPECT_EQ(queue.worker_count(), 1U);
    }
    for (u64 i = 0; i < 100; i++) ASSERT_EQ(recorder.order_[i], i);
}

TEST(TaskQueueTest, WorkersAreStartedWhenNoneWaitsAndNeverMoreThanAllowed) {
    std::mutex mutex;
    std::vector<u64> started;
    TaskQueue queue(3, [&](u64 worker) {
        const std::lock_guard<std::mutex> lock(mutex);
        started.push_back(worker);
    });
    EXPECT_EQ(queue.worker_count(), 0U);
    for (int round = 0; round < 3; round++) {
        Nothing nothing;
        os::JoinCounter join;
        join.add(1);
        queue.push_back(nothing, 0, join);
        join.wait();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(queue.worker_count(), 1U);  // it waits for the next task
    }
    Meeting three(3);
    os::JoinCounter join;
    join.add(3);
    queue.push_back(three, 0, 3, join);
    join.wait();
    Nothing nothing;
    join.add(50);
    queue.push_back(nothing, 0, 50, join);
    join.wait();
    EXPECT_EQ(queue.worker_count(), 3U);
    const std::lock_guard<std::mutex> lock(mutex);
    std::sort(started.begin(), started.end());
    EXPECT_EQ(started, (std::vector<u64>{0, 1, 2}));
}

TEST(TaskQueueTest, AClosedQueueTakesNothingAndServesTheRest) {
    Recorder recorder(20);
    os::JoinCounter join;
    join.add(20);
    TaskQueue queue(1, {});
    queue.push_back(recorder, 0, 20, join);
    queue.close();
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { queue.push_back(recorder, 0, join); }),
              "InvalidParametersException|TaskQueue::push_back()|Queue is closed.");
    join.wait();
    recorder.expect_once(0, 20);
}

TEST(TaskQueueTest, NumbersEndAt63Bits) {
    TaskQueue queue(1, {});
    Meeting gate(2);
    os::JoinCounter gate_join, join;
    gate_join.add(1);
    join.add(2);
    queue.push_back(gate, 0, gate_join);
    while (queue.worker_count() == 0) std::this_thread::yield();
    Recorder recorder(3);
    // Wait until the gate is no longer queued, so that the numbering starts anew.
    queue.set_first_id(TaskQueue::kLastId - 1);
    wait_for_one(gate);
    EXPECT_EQ(queue.push_back(recorder, 0, join), TaskQueue::kLastId - 1);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { queue.push_back(recorder, 1, 3, join); }),
              "LimitExceededException|TaskQueue::dispatch()|ID limit exceeded.");
    EXPECT_EQ(queue.push_back(recorder, 1, join), TaskQueue::kLastId);
    try {
        queue.push_back(recorder, 2, join);
        FAIL();
    } catch (const LimitExceededException& e) {
        EXPECT_EQ(e.message, "ID limit exceeded.");
        EXPECT_EQ(e.limit, (u64(1) << 63) - 1);
        EXPECT_EQ(e.attempted, (u64(1) << 63) - 1);
    }
    gate.run(0);
    gate_join.wait();
    join.wait();
    recorder.expect_once(0, 2);
}

TEST(TaskQueueTest, TakeBackGivesOnlyOnesOwn) {
    TaskQueue queue(1, {});
    Meeting gate(2);
    os::JoinCounter gate_join, join, other;
    gate_join.add(1);
    join.add(1);
    queue.push_back(gate, 0, gate_join);
    wait_for_one(gate);
    Recorder recorder(8);
    const u64 id = queue.push_back(recorder, 7, join);
    u64 index = 0;
    EXPECT_FALSE(queue.take_back(id, other, index));
    EXPECT_FALSE(queue.take_back(id + 1, join, index));
    EXPECT_TRUE(queue.take_back(id, join, index));
    EXPECT_EQ(index, 7U);
    EXPECT_FALSE(queue.take_back(id, join, index));
    gate.run(0);
    gate_join.wait();
}

TEST(TaskQueueFrameworkTest, NestedDispatchFinishesWhenAllWorkersAreBusy) {
    TaskQueueFramework framework(1);
    Meeting gate(2);
    struct Busy final : BasicAction {
        explicit Busy(Meeting& gate) : gate(gate) {}
        void run(u64) override { gate.run(0); }
        Meeting& gate;
    } busy(gate);
    std::thread holder([&] {
        struct Wait final : BasicAction {
            explicit Wait(Meeting& gate) : gate(gate) {}
            // Keeps this thread from taking the other task back.
            void run(u64) override { wait_for_one(gate); }
            Meeting& gate;
        } wait(gate);
        framework.run_in_parallel(wait, busy);
    });
    wait_for_one(gate);
    // The only worker is inside of `busy` now.
    std::atomic<u64> sum{0};
    const ParallelContext parallel{&framework, 8};
    parallel_for(parallel, 8, [&](u64 i) {
        fork_join(
            parallel, [&] { sum += i; }, [&] { sum += 100; });
    });
    EXPECT_EQ(sum.load(), 828U);
    gate.run(0);
    holder.join();
}

TEST(WinPoolTest, WorkThatCannotBeCreated) {
    static int left;
    const WinPoolFramework::CreateWork create = [](void (*run)(void*),
                                                   void* argument) noexcept -> os::PoolWork* {
        return left-- > 0 ? os::create_pool_work(run, argument) : nullptr;
    };
    WinPoolFramework framework(64, create);
    const std::string text =
        "ResourceAcquisitionFailedException|CreateThreadpoolWork()|Unable to create thread pool work.";
    Recorder recorder(10);
    left = 3;
    EXPECT_EQ(
        message_of<StringException>(Form::with_type, [&] { framework.run_in_parallel(recorder, 0, 10); }),
        text);
    recorder.expect_once(0, 3);  // what was started has finished
    left = 0;
    EXPECT_EQ(
        message_of<StringException>(Form::with_type, [&] { framework.run_in_parallel(recorder, recorder); }),
        text);
    left = 100;
    Recorder again(10);
    framework.run_in_parallel(again, 0, 10);
    again.expect_once(0, 10);
}

TEST(CppAsyncTest, DeferredTasksRunInTheCallersThread) {
    CppAsyncFramework framework(std::launch::deferred, 64);
    Recorder recorder(20);
    framework.run_in_parallel(recorder, 0, 20);
    recorder.expect_once(0, 20);
    EXPECT_EQ(recorder.in_caller_.size(), 20U);
    EXPECT_EQ(recorder.order_.front(), 19U);  // the caller's share, then from the last to the first
    EXPECT_EQ(recorder.order_[1], 18U);
    EXPECT_EQ(recorder.order_.back(), 0U);
    struct Thrower final : BasicAction {
        void run(u64 index) override {
            if (index == 3) throw InvalidParametersException("", "three");
        }
    } thrower;
    EXPECT_EQ(
        message_of<StringException>(Form::with_type, [&] { framework.run_in_parallel(thrower, 0, 10); }),
        "InvalidParametersException||three");
}

TEST(CppAsyncTest, ThePolicyIsThatOfTheSettings) {
    const std::string settings = "Framework : \"cppasync\" MaxSequentialDispatch : 64 AsyncOnly : ";
    EXPECT_EQ(made_from<CppAsyncFramework>(settings + "\"true\"")->policy(), std::launch::async);
    EXPECT_EQ(made_from<CppAsyncFramework>(settings + "\"false\"")->policy(),
              std::launch::async | std::launch::deferred);
    EXPECT_EQ(CppAsyncConfig().policy(), std::launch::async);
}

// Of several exceptions of tasks that ran in the caller, the one that came first goes on.
TEST(CallersShareTest, TheFirstExceptionArrives) {
    struct Thrower final : BasicAction {
        void run(u64 index) override { throw InvalidParametersException("", std::to_string(index)); }
    } thrower;
    CppAsyncFramework deferred(std::launch::deferred, 64);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { deferred.run_in_parallel(thrower, 0, 20); }),
              "InvalidParametersException||19");
    PushPoolFramework alone(1, true, 64);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { alone.run_in_parallel(thrower, 0, 20); }),
              "InvalidParametersException||0");
}

TEST(CilkTest, NumberOfThreadsIsTheRuntimesToGrant) {
    static std::string given;
    static int status;
    const CilkCalls refusing{[](const char* name, const char* value) {
                                 given = std::string(name) + "=" + value;
                                 return status;
                             },
                             nullptr, [] {}};
    const std::string text =
        "ResourceAcquisitionFailedException||__cilkrts_set_param() returned a failure. "
        "Unable to set # of Cilk threads.";
    for (status = 1; status < 5; status++) {
        EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { CilkFramework(12, refusing); }), text);
        EXPECT_EQ(given, "nworkers=12");
    }
    status = 0;
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { CilkFramework(65536, refusing); }),
              "nothing thrown");
    EXPECT_EQ(given, "nworkers=65536");
    // One process, one run-time.
    const CilkCalls own = CilkCalls::load({});
    const CilkFramework two(2, own);
    Recorder recorder(10);
    CilkFramework(2, own).run_in_parallel(recorder, 0, 10);
    recorder.expect_once(0, 10);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { CilkFramework(3, own); }), text);
}

TEST(CilkTest, TheNumberCanChangeFromFrameworkToFramework) {
    for (const u64 n : {4, 2, 9}) {
        CilkFramework framework(n, CilkCalls::load({}));
        Meeting all(n);
        framework.run_in_parallel(all, 0, n);
        EXPECT_EQ(all.missing, 0U);
    }
}

TEST(CilkTest, AGenuineLibraryIsPreferred) {
    const char* const names[] = {"no-such-library.so", KALVOR_FAKE_CILK};
    const CilkCalls genuine = CilkCalls::load(names);
    ASSERT_STREQ(genuine.library, KALVOR_FAKE_CILK);
    CilkFramework framework(5, genuine);
    Recorder recorder(10);
    framework.run_in_parallel(recorder, 3, 10);
    recorder.expect_once(3, 10);
    // The fake runs its loops from the end, grain by grain: single indices.
    EXPECT_EQ(recorder.order_, (std::vector<u64>{9, 8, 7, 6, 5, 4, 3}));
    Recorder a(1), b(1);
    framework.run_in_parallel(a, b);
    a.expect_once(0, 1);
    b.expect_once(0, 1);
    EXPECT_EQ(CilkCalls::load(std::span(names, 1)).library, nullptr);
}

namespace {

// The exit code is 1 when the library that lies in the current folder was taken.
const kalvor_test::Child planted_child("planted library", [] {
    const char* const names[] = {"planted-cilk.so", "./planted-cilk.so"};
    std::_Exit(CilkCalls::load(names).library == nullptr ? 0 : 1);
});

}  // namespace

// A folder that a program is started in may hold anybody's files.
TEST(CilkTest, APlantedLibraryIsNotTaken) {
    const kalvor_test::TemporaryFolder folder;
    std::filesystem::copy_file(KALVOR_FAKE_CILK, folder / "planted-cilk.so");
    const std::string path = folder / "planted-cilk.so";
    const char* const full_path = path.c_str();
    EXPECT_STREQ(CilkCalls::load(std::span(&full_path, 1)).library, full_path);
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    for (const char* list : {"", "LD_LIBRARY_PATH=", "LD_LIBRARY_PATH=:/nowhere",
                             "LD_LIBRARY_PATH=/nowhere:", "LD_LIBRARY_PATH=."}) {
        if (*list != '\0') options.environment = {list};
        EXPECT_EQ(kalvor_test::run_this_test({"--child", "planted library"}, options).exit_code, 0) << list;
    }
}

TEST(PushPoolTest, ThreadsHaveACap) {
    PushPoolFramework framework(65536, false, 64);
    Recorder recorder(64);
    framework.run_in_parallel(recorder, 0, 64);
    recorder.expect_once(0, 64);
    EXPECT_LT(framework.pool_threads(), most_pool_threads());
}

TEST(CilkTest, TheNumberIsThatOfTheSettings) {
    const struct {
        const char* given;
        int threads;
    } rows[] = {{"0", 1}, {"1", 1}, {"5", 5}, {"65536", 65536}, {"100000", 65536}};
    for (const auto& row : rows) {
        const auto framework = made_from(std::string("Framework : \"cilk\" WorkerThreads : ") + row.given);
        EXPECT_EQ(__cilkrts_get_nworkers(), row.threads) << row.given;
        if (row.threads != 1) continue;
        Recorder recorder(20);
        framework->run_in_parallel(recorder, 0, 20);
        EXPECT_EQ(recorder.in_caller_.size(), 20U);
    }
}

TEST(ConfiguredFrameworksTest, RunAsManyTasksAtOnceAsTheSettingsSay) {
    const struct {
        std::string settings;
        u64 at_once;
    } rows[] = {{"Framework : \"taskqueue\" WorkerThreads : 3", 4},  // and the caller
                {push_pool(3, true), 3},
                {"Framework : \"cilk\" WorkerThreads : 3", 3}};
    for (const auto& row : rows) {
        const auto framework = made_from(row.settings);
        EXPECT_TRUE(meets(*framework, row.at_once)) << row.settings;
        EXPECT_FALSE(meets_at_once(*framework, row.at_once + 1)) << row.settings;
    }
}

TEST(ConfiguredFrameworksTest, StartAsManyTasksInARowAsTheSettingsSay) {
    for (const std::string framework : {"\"spawn\"", "\"cppasync\" AsyncOnly : \"true\"", "\"winpool\"",
                                        "\"pushpool\" WorkerThreads : 3 Randomization : \"true\""}) {
        const auto limit_of = [&](const std::string& given) {
            const std::string settings = "Framework : " + framework + " MaxSequentialDispatch : " + given;
            return made_from<BoundedParallelizer>(settings)->max_sequential_dispatch();
        };
        EXPECT_EQ(limit_of("1"), 4U) << framework;
        EXPECT_EQ(limit_of("5"), 5U) << framework;
        EXPECT_EQ(limit_of("1000"), 1000U) << framework;
    }
}

TEST(BisectionTest, HalvesDownToSingleIndices) {
    std::string text;
    const auto fork = [&](const auto& a, const auto& b) {
        text += '(';
        a();
        text += ' ';
        b();
        text += ')';
    };
    const auto tree = [&](u64 begin, u64 end) {
        text.clear();
        bisect(
            fork, [&](u64 index) { text += std::to_string(index); }, begin, end);
        return text;
    };
    EXPECT_EQ(tree(0, 5), "((0 1) (2 (3 4)))");
    EXPECT_EQ(tree(10, 13), "(10 (11 12))");
    EXPECT_EQ(tree(7, 8), "7");
    EXPECT_EQ(tree(0, 8), "(((0 1) (2 3)) ((4 5) (6 7)))");
    EXPECT_EQ(tree(~u64(0) - 2, ~u64(0)), "(18446744073709551613 18446744073709551614)");
}

#ifdef KALVOR_HAVE_TBB
// One thread runs the halves one after the other, the one that the library put on top first: the second one
// as a rule, while loops begin with the first index.
TEST(TbbTest, WithoutALoopARangeIsBisected) {
    const tbb::global_control one_thread(tbb::global_control::max_allowed_parallelism, 1);
    using enum TbbFramework::ForkJoin2;
    for (const auto fork_join : {task_group, parallel_invoke}) {
        TbbFramework framework(fork_join, TbbFramework::ParallelFor::disabled);
        struct Mark final : BasicAction {
            Mark(std::string& text, char c) : text(text), c(c) {}
            void run(u64) override { text += c; }
            std::string& text;
            const char c;
        };
        std::string halves;
        Mark first(halves, '1'), second(halves, '2');
        framework.run_in_parallel(first, second);
        ASSERT_TRUE(halves == "12" || halves == "21") << halves;
        std::vector<u64> order{10, 11, 12, 13, 14};
        if (halves == "21") std::ranges::reverse(order);
        Recorder recorder(15);
        framework.run_in_parallel(recorder, 10, 15);
        recorder.expect_once(10, 15);
        EXPECT_EQ(recorder.order_, order);
    }
}

TEST(TbbTest, TheModesAreThoseOfTheSettings) {
    const char* const joins[] = {"task_group", "parallel_invoke"};
    const char* const loops[] = {"disabled", "auto_partitioner", "static_partitioner", "simple_partitioner"};
    for (u32 mode = 0; mode < 8; mode++) {
        const auto framework =
            made_from<TbbFramework>(std::string("Framework : \"tbb\" ForkJoin2 : \"") + joins[mode % 2] +
                                    "\" ParallelFor : \"" + loops[mode / 2] + "\"");
        EXPECT_EQ(static_cast<u32>(framework->fork_join()), mode % 2);
        EXPECT_EQ(static_cast<u32>(framework->parallel_for()), mode / 2);
    }
}

TEST(TbbTest, AModeThatIsNone) {
    TbbFramework framework(TbbFramework::ForkJoin2::task_group, static_cast<TbbFramework::ParallelFor>(4));
    Nothing nothing;
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { framework.run_in_parallel(nothing, 0, 5); }),
              "InvalidParametersException|TBB::run_in_parallel|Invalid parallel_for() partitioner.");
}
#endif
