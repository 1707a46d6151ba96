#include "platform/parallel/tbb_framework.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_invoke.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "platform/parallel/bisection.h"
#include "platform/parallel/callers_share.h"
#include "platform/parallel/library_handover.h"

namespace trel {

template <class A, class B>
void TbbFramework::fork(const A& a, const B& b) const {
    if (fork_join_ == ForkJoin2::task_group) {
        tbb::task_group group;
        group.run(a);
        group.run(b);
        group.wait();
    } else {
        tbb::parallel_invoke(a, b);
    }
}

void TbbFramework::run_in_parallel(BasicAction& action, u64 begin, u64 end) {
    if (end <= begin) return;
    if (end - begin == 1) {
        action.run(begin);
        return;
    }
    // The library would carry an exception to the caller and drop the tasks that have not begun.
    CallersShare share;
    LibraryHandover handover;
    const auto run = [&](u64 index) {
        handover.task_begins();
        share.run(action, index);
        handover.task_ends();
    };
    const auto run_range = [&](const tbb::blocked_range<u64>& range) {
        for (u64 i = range.begin(); i != range.end(); i++) run(begin + i);
    };
    const tbb::blocked_range<u64> all(0, end - begin, 1);
    switch (parallel_for_) {
        case ParallelFor::disabled:
            bisect([this](const auto& a, const auto& b) { fork(a, b); }, run, begin, end);
            break;
        case ParallelFor::auto_partitioner:
            tbb::parallel_for(all, run_range, tbb::auto_partitioner());
            break;
        case ParallelFor::static_partitioner:
            tbb::parallel_for(all, run_range, tbb::static_partitioner());
            break;
        case ParallelFor::simple_partitioner:
            tbb::parallel_for(all, run_range, tbb::simple_partitioner());
            break;
        default:
            throw InvalidParametersException("TBB::run_in_parallel", "Invalid parallel_for() partitioner.");
    }
    handover.all_have_ended();
    share.rethrow();
}

void TbbFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    CallersShare share;
    LibraryHandover handover;
    const auto run = [&](BasicAction& action) {
        handover.task_begins();
        share.run(action, 0);
        handover.task_ends();
    };
    fork([&] { run(a); }, [&] { run(b); });
    handover.all_have_ended();
    share.rethrow();
}

namespace {

// In the order of TbbFramework::ForkJoin2 and ParallelFor.
constexpr WordSetting::Word kForkJoin2[] = {{"task_group", "task_group", 'Y'},
                                            {"parallel_invoke", "parallel_invoke", 'Y'}};
constexpr WordSetting::Word kParallelFor[] = {{"disabled", "disabled", 'Y'},
                                              {"auto_partitioner", "auto_partitioner", 'Y'},
                                              {"static_partitioner", "static_partitioner", 'Y'},
                                              {"simple_partitioner", "simple_partitioner", 'Y'}};

}  // namespace

TbbConfig::TbbConfig()
    : fork_join("ForkJoin2", "    2-Way Fork-Join:", kForkJoin2,
                {"TBB::parse_config()", "ForkJoin2 must be either \"task_group\" or \"parallel_invoke\""}, 1),
      parallel_for("ParallelFor", "    Parallel For:", kParallelFor,
                   {"", "Invalid parallel_for() partitioner."}, 0) {}

std::unique_ptr<BasicParallelizer> TbbConfig::make_framework() const {
    return std::make_unique<TbbFramework>(TbbFramework::ForkJoin2(fork_join.mode),
                                          TbbFramework::ParallelFor(parallel_for.mode));
}

void TbbConfig::print_heading() const {
    Console::print_line(
        "        TBB is known to have severe load-balancing issues for Kalvor's\n"
        "        workload. As of 2019, the cause remains unknown. Use Cilk Plus for\n"
        "        serious computations.\n"
        "\n"
        "        The options here are undocumented and are the result of a futile\n"
        "        attempt to find settings that can make TBB behave more like Cilk Plus.",
        'Y');
}

namespace {

const FrameworkRegistration<TbbConfig> g_registration;

}  // namespace
}  // namespace trel
