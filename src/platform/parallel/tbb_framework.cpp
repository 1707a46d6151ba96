#include "platform/parallel/tbb_framework.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_invoke.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include "base/errors/exceptions.h"
#include "platform/parallel/callers_share.h"

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

template <class Run>
void TbbFramework::bisect(const Run& run, u64 begin, u64 end) const {
    if (end - begin == 1) {
        run(begin);
        return;
    }
    const u64 middle = begin + (end - begin) / 2;
    fork([&] { bisect(run, begin, middle); }, [&] { bisect(run, middle, end); });
}

void TbbFramework::run_in_parallel(BasicAction& action, u64 begin, u64 end) {
    if (end <= begin) return;
    if (end - begin == 1) {
        action.run(begin);
        return;
    }
    // The library would carry an exception to the caller and drop the tasks that have not begun.
    CallersShare share;
    const auto run = [&](u64 index) { share.run(action, index); };
    const auto run_range = [&](const tbb::blocked_range<u64>& range) {
        for (u64 i = range.begin(); i != range.end(); i++) run(begin + i);
    };
    const tbb::blocked_range<u64> all(0, end - begin, 1);
    switch (parallel_for_) {
        case ParallelFor::disabled:
            bisect(run, begin, end);
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
    share.rethrow();
}

void TbbFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    CallersShare share;
    fork([&] { share.run(a, 0); }, [&] { share.run(b, 0); });
    share.rethrow();
}

std::string TbbConfig::name() const {
    return "tbb";
}
std::string TbbConfig::display_name() const {
    return "Thread Building Blocks (TBB)";
}
std::unique_ptr<BasicParallelizer> TbbConfig::make_framework() const {
    return std::make_unique<TbbFramework>(fork_join, parallel_for);
}
std::unique_ptr<FrameworkConfig> TbbConfig::clone() const {
    return std::make_unique<TbbConfig>(*this);
}

namespace {

const FrameworkTypeOf<TbbConfig> g_type;
const FrameworkRegistration g_registration("tbb", g_type);

}  // namespace
}  // namespace trel
