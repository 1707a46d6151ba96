// The table of framework cases.
#include "support/framework_cases.h"

#ifdef KALVOR_HAVE_TBB
#include <tbb/global_control.h>

#include "platform/parallel/tbb_framework.h"
#endif

#include <algorithm>
#include <utility>

#include "platform/parallel/cilk_framework.h"
#include "platform/parallel/cpp_async_framework.h"
#include "platform/parallel/framework_registry.h"
#include "platform/parallel/push_pool_framework.h"
#include "platform/parallel/task_queue_framework.h"
#include "platform/parallel/win_pool_framework.h"

using namespace trel;

namespace kalvor_test {
namespace {

constexpr u64 kWorkers[] = {1, 2, 3, 7, 16};
constexpr u64 kMostWorkers = 16;

FrameworkCase defaults(const char* name) {
    return {name, "", [name] {
                return FrameworkUnderTest{nullptr, make_default_framework_config(name)->make_framework()};
            }};
}

// Work of a pool of n threads: one pool for each n.
template <u64 n>
os::PoolWork* create_work(void (*run)(void*), void* argument) noexcept {
    static os::WorkPool& pool = os::make_work_pool(n);
    return os::create_pool_work(pool, run, argument);
}

template <u64... i>
WinPoolFramework::CreateWork create_work_of(u64 n, std::integer_sequence<u64, i...>) {
    constexpr WinPoolFramework::CreateWork table[] = {create_work<i + 1>...};
    return table[n - 1];
}
WinPoolFramework::CreateWork create_work_of(u64 n) {
    return create_work_of(n, std::make_integer_sequence<u64, kMostWorkers>());
}

template <class Framework, class... Args>
FrameworkCase with(const char* name, const std::string& settings, Args... args) {
    return {name, settings, [=] {
                return FrameworkUnderTest{nullptr, std::make_unique<Framework>(args...)};
            }};
}

#ifdef KALVOR_HAVE_TBB
// The library is held to n threads, and the framework forks and loops in one of eight ways.
FrameworkCase tbb_case(u64 n, u32 mode) {
    const auto fork_join = static_cast<TbbFramework::ForkJoin2>(mode % 2);
    const auto parallel_for = static_cast<TbbFramework::ParallelFor>(mode / 2);
    const TbbConfig names;
    const std::string text = std::to_string(n) + names.fork_join.words()[mode % 2].word +
                             names.parallel_for.words()[mode / 2].word;
    return {"tbb", text, [=] {
                return FrameworkUnderTest{
                    std::make_shared<tbb::global_control>(tbb::global_control::max_allowed_parallelism, n),
                    std::make_unique<TbbFramework>(fork_join, parallel_for)};
            }};
}
#endif

void add_rules(std::vector<FrameworkCase>& cases) {
    for (FrameworkCase& one : cases) {
        if (one.name == "tbb") one.caller_runs_first = false;
        if (one.name == "pushpool") one.closing_line = "PushPoolWorker: An exception was thrown from a task.";
    }
}

}  // namespace

std::vector<FrameworkCase> framework_cases() {
    std::vector<FrameworkCase> cases;
    for (const std::string& name : framework_names()) {
        static std::set<std::string> names;
        cases.push_back(defaults(names.insert(name).first->c_str()));
    }
    cases.push_back(
        with<CppAsyncFramework>("cppasync", "Either", std::launch::async | std::launch::deferred, 4));
    for (const u64 n : kWorkers) {
        const std::string text = std::to_string(n);
        cases.push_back(with<TaskQueueFramework>("taskqueue", text, n));
        cases.push_back(with<PushPoolFramework>("pushpool", text + "Random", n, true, 64));
        cases.push_back(with<PushPoolFramework>("pushpool", text + "InOrder", n, false, 4));
        cases.push_back(with<WinPoolFramework>("winpool", text, 64, create_work_of(n)));
        cases.push_back(with<CilkFramework>("cilk", text, n, CilkCalls::built_in()));
    }
#ifdef KALVOR_HAVE_TBB
    for (const u64 n : kWorkers) {
        for (u32 mode = 0; mode < 8; mode++) {
            if (n == 1 || n == 3 || mode == 0) cases.push_back(tbb_case(n, mode));
        }
    }
#endif
    add_rules(cases);
    return cases;
}

std::vector<FrameworkCase> framework_cases_of_other_counts() {
    std::vector<FrameworkCase> cases;
    for (u64 n = 1; n <= kMostWorkers; n++) {
        if (std::ranges::find(kWorkers, n) != std::end(kWorkers)) continue;
        const std::string text = std::to_string(n);
        cases.push_back(with<TaskQueueFramework>("taskqueue", text, n));
        cases.push_back(with<PushPoolFramework>("pushpool", text, n, true, 64));
        cases.push_back(with<WinPoolFramework>("winpool", text, 64, create_work_of(n)));
        cases.push_back(with<CilkFramework>("cilk", text, n, CilkCalls::built_in()));
#ifdef KALVOR_HAVE_TBB
        cases.push_back(tbb_case(n, 1));  // its defaults
#endif
    }
    add_rules(cases);
    return cases;
}

std::vector<FrameworkCase> framework_cases(bool thread_per_task) {
    std::vector<FrameworkCase> cases;
    for (const FrameworkCase& one : framework_cases()) {
        if (one.thread_per_task() == thread_per_task) cases.push_back(one);
    }
    return cases;
}

std::vector<FrameworkCase> threaded_framework_cases() {
    std::vector<FrameworkCase> cases;
    for (const std::string& name : framework_names()) {
        for (const FrameworkCase& one : framework_cases()) {
            if (name != "none" && one.name == name && one.settings.empty()) cases.push_back(one);
        }
    }
    return cases;
}

void run_tree(BasicParallelizer& framework, int depth) {
    struct Node final : BasicAction {
        Node(BasicParallelizer& framework, std::atomic<u64>& leaves, int depth)
            : framework(framework), leaves(leaves), depth(depth) {}
        void run(u64) override {
            if (depth == 0) {
                leaves++;
                return;
            }
            Node child(framework, leaves, depth - 1);
            if (depth % 2 == 0) {
                framework.run_in_parallel(child, 0, 4);
                return;
            }
            struct Pair final : BasicAction {
                explicit Pair(Node& child) : child(child) {}
                void run(u64) override { child.framework.run_in_parallel(child, child); }
                Node& child;
            } pair(child);
            framework.run_in_parallel(pair, pair);
        }
        BasicParallelizer& framework;
        std::atomic<u64>& leaves;
        int depth;
    };
    std::atomic<u64> leaves{0};
    Node(framework, leaves, depth).run(0);
    ASSERT_EQ(leaves.load(), u64(1) << (2 * depth));
}

}  // namespace kalvor_test
