#include "platform/parallel/tbb_framework.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_invoke.h>
#include <tbb/partitioner.h>
#include <tbb/task_group.h>

#include <algorithm>

#include "base/errors/exceptions.h"
#include "platform/parallel/bisection.h"
#include "platform/parallel/callers_share.h"
#include "platform/parallel/library_handover.h"
#include "base/settings/setting_lines.h"

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

TbbConfig::TbbConfig(const Config::Object& object) {
    const std::string& join = object.get_string("ForkJoin2", "Parallel Framework");
    const auto found_join = std::find(kForkJoin2.begin(), kForkJoin2.end(), join);
    if (found_join == kForkJoin2.end()) {
        throw InvalidParametersException("TBB::parse_config()",
                                         "ForkJoin2 must be either \"task_group\" or \"parallel_invoke\"");
    }
    const std::string& loop = object.get_string("ParallelFor", "Parallel Framework");
    const auto found_loop = std::find(kParallelFor.begin(), kParallelFor.end(), loop);
    if (found_loop == kParallelFor.end()) {
        throw InvalidParametersException("", "Invalid parallel_for() partitioner.");
    }
    fork_join = static_cast<TbbFramework::ForkJoin2>(found_join - kForkJoin2.begin());
    parallel_for = static_cast<TbbFramework::ParallelFor>(found_loop - kParallelFor.begin());
}

const char* TbbConfig::fork_join_text() const {
    return kForkJoin2[static_cast<u32>(fork_join)];
}

const char* TbbConfig::parallel_for_text() const {
    return kParallelFor[static_cast<u32>(parallel_for)];
}

Config::Object TbbConfig::to_config() const {
    Config::Object object;
    object.add_string("ForkJoin2", fork_join_text());
    object.add_string("ParallelFor", parallel_for_text());
    return object;
}

void TbbConfig::add_selectors(Config::Object& object) const {
    add_selector(object, "ForkJoin2", std::string(fork_join_text()), fork_join_text());
    add_selector(object, "ParallelFor", std::string(parallel_for_text()), parallel_for_text());
}

u64 TbbConfig::print(u64 first_line_number) const {
    Console::print_line("        TBB is known to have severe load-balancing issues for Kalvor's", 'Y');
    Console::print_line("        workload. As of 2019, the cause remains unknown. Use Cilk Plus for", 'Y');
    Console::print_line("        serious computations.", 'Y');
    Console::new_line();
    Console::print_line("        The options here are undocumented and are the result of a futile", 'Y');
    Console::print_line("        attempt to find settings that can make TBB behave more like Cilk Plus.",
                        'Y');
    print_setting_line(first_line_number, "    2-Way Fork-Join:", kFrameworkLabelWidth, fork_join_text(),
                       'Y');
    print_setting_line(first_line_number + 1, "    Parallel For:", kFrameworkLabelWidth, parallel_for_text(),
                       'Y');
    return first_line_number + 2;
}

void TbbConfig::edit(u64 line) {
    if (line == 0) {
        fork_join = fork_join == TbbFramework::ForkJoin2::task_group
                        ? TbbFramework::ForkJoin2::parallel_invoke
                        : TbbFramework::ForkJoin2::task_group;
    }
    if (line == 1) {
        const u64 next = (static_cast<u64>(parallel_for) + 1) % kParallelFor.size();
        parallel_for = static_cast<TbbFramework::ParallelFor>(next);
    }
}

namespace {

const FrameworkTypeOf<TbbConfig> g_type;
const FrameworkRegistration g_registration("tbb", g_type);

}  // namespace
}  // namespace trel
