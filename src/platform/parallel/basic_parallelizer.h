// The interface through which all multi-threading of the arithmetic goes: a task object, a framework that
// runs it, and the context that is handed down from caller to callee.
#pragma once

#include <type_traits>
#include <utility>
#include <vector>

#include "os/types.h"
#include "platform/parallel/run_monitor.h"

namespace trel {

// A task. run(i) must be safe to run concurrently for different indices; results go to disjoint memory chosen
// by the index. The caller owns the action; it outlives the dispatch.
class BasicAction {
  public:
    virtual ~BasicAction();
    virtual void run(u64 index) = 0;
};

// A framework. Shared by all tasks; run_in_parallel may be called from inside tasks.
class BasicParallelizer {
  public:
    virtual ~BasicParallelizer();

    // Warnings of its threads. These belong to no dispatch, so the maker of the framework reports them.
    Warnings& warnings() { return warnings_; }

    // Runs action.run(i) once for every i in [begin, end); returns when all have finished. The calling thread
    // does one share.
    virtual void run_in_parallel(BasicAction& action, u64 begin, u64 end) = 0;
    // Runs a.run(0) and b.run(0); returns when both have finished.
    virtual void run_in_parallel(BasicAction& a, BasicAction& b) = 0;

  private:
    Warnings warnings_;
};

// A framework, the number of tasks that a caller may split its work into (tds >= 1), and the monitor of the
// run (nullptr: there is none, so nothing asks the work to stop). Passed by reference.
struct ParallelContext {
    BasicParallelizer* framework;
    u64 tds;
    RunMonitor* run = nullptr;
    // Inside an operation that checks its own results, short products are not checked one by one.
    bool inner_unchecked = false;

    ParallelContext with_tds(u64 n) const { return {framework, n < 1 ? 1 : n, run, inner_unchecked}; }
    // Throws RunStopped when the run was asked to stop. Costs a load; any thread.
    void poll() const {
        if (run != nullptr && run->stop.requested()) throw RunStopped();
    }
    // Where one stage of an operation ends and the next begins; for tests.
    void stage(const char* name, const void* memory, u64 bytes) const {
        if (run == nullptr || run->stages == nullptr) return;
        run->stages->at(name, const_cast<void*>(memory), bytes);
    }
    // Hands lines to the thread that reports. Any thread.
    void warn(std::vector<Warnings::Line> lines) const {
        if (run != nullptr) run->warnings.add(std::move(lines));
    }
};

// One task on the calling thread; for code that has no framework at hand. Stateless.
const ParallelContext& serial_context();

// Runs the body of a task. Exceptions do not cross threads; the one that asks to stop ends here, and the
// thread that dispatched throws it again.
template <class Body>
void run_unless_stopped(Body&& body) {
    try {
        body();
    } catch (const RunStopped&) {
    }
}

// Runs f(i) for i in [0, n) as tasks of the context's framework, or one after the other where there is one
// task. Throws RunStopped when the run was asked to stop: then not every f(i) has run.
template <class F>
void parallel_for(const ParallelContext& parallel, u64 n, F&& f) {
    if (n == 0) return;
    if (n == 1 || parallel.tds < 2) {
        for (u64 i = 0; i < n; i++) {
            parallel.poll();
            f(i);
        }
        return parallel.poll();
    }
    struct Action final : BasicAction {
        Action(const ParallelContext& parallel, std::remove_reference_t<F>& f) : parallel(parallel), f(f) {}
        void run(u64 index) override {
            run_unless_stopped([&] {
                parallel.poll();
                f(index);
            });
        }
        const ParallelContext& parallel;
        std::remove_reference_t<F>& f;
    } action(parallel, f);
    parallel.framework->run_in_parallel(action, 0, n);
    parallel.poll();
}

// A task that runs f(), unless the run was asked to stop before it began.
template <class F>
class StoppableAction final : public BasicAction {
  public:
    StoppableAction(const ParallelContext& parallel, F& f) : parallel_(parallel), f_(f) {}
    void run(u64) override {
        run_unless_stopped([&] {
            parallel_.poll();
            f_();
        });
    }

  private:
    const ParallelContext& parallel_;
    F& f_;
};

// Runs a() and b() as a two-way fork-join. Throws RunStopped as above.
template <class A, class B>
void fork_join(const ParallelContext& parallel, A&& a, B&& b) {
    StoppableAction<std::remove_reference_t<A>> action_a(parallel, a);
    StoppableAction<std::remove_reference_t<B>> action_b(parallel, b);
    parallel.framework->run_in_parallel(action_a, action_b);
    parallel.poll();
}

}  // namespace trel
