// The tasks of a dispatch that may run in the dispatching thread or elsewhere.
#pragma once

#include <exception>
#include <thread>

#include "platform/parallel/basic_parallelizer.h"
#include "platform/parallel/task_guard.h"

namespace trel {

// One per dispatch, in the dispatching thread's frame. An exception of a task that ran in that thread is kept
// until all tasks have finished and then goes on to the caller; an exception on another thread ends the
// process.
class CallersShare {
  public:
    CallersShare() = default;
    CallersShare(const CallersShare&) = delete;
    CallersShare& operator=(const CallersShare&) = delete;

    // In the dispatching thread.
    void run_here(BasicAction& action, u64 index) noexcept {
        try {
            action.run(index);
        } catch (...) {
            if (!first_) first_ = std::current_exception();
        }
    }
    // On any thread.
    void run(BasicAction& action, u64 index) noexcept {
        if (std::this_thread::get_id() == caller_) {
            run_here(action, index);
        } else {
            run_guarded(action, index);
        }
    }
    // After all tasks have finished.
    void rethrow() {
        if (first_) std::rethrow_exception(first_);
    }

  private:
    const std::thread::id caller_ = std::this_thread::get_id();
    std::exception_ptr first_;
};

}  // namespace trel
