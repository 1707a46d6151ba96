// What the thread sanitizer has to be told about a library that it does not see into.
#pragma once

#include <atomic>

namespace trel {

// The hand-over of the tasks of one dispatch to a library that is not instrumented, and back. Does nothing
// except in builds for the thread sanitizer, where the file that calls the library is not instrumented
// either: these functions, which are, stand for the ordering that the library provides.
class LibraryHandover {
  public:
#ifdef TREL_THREAD_SANITIZER
    LibraryHandover();   // by the dispatching thread, before it calls the library
    void task_begins();  // on the thread of a task
    void task_ends();
    void all_have_ended();  // by the dispatching thread, when the library has returned

  private:
    std::atomic<unsigned> edge_;
#else
    void task_begins() {}
    void task_ends() {}
    void all_have_ended() {}
#endif
};

}  // namespace trel
