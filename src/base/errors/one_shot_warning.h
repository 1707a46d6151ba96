// Remembers that a warning was printed, so that it is printed once per process however often it is due.
#pragma once

#include <atomic>

namespace trel {

// Make one a static object beside the code that warns. Any thread.
class OneShotWarning {
  public:
    // True at the first call, in one thread only: print the warning now.
    bool first_time() {
        bool shown = false;
        return shown_.compare_exchange_strong(shown, true);
    }
    // The next call is the first again. For tests.
    void reset() { shown_ = false; }

  private:
    std::atomic<bool> shown_{false};
};

}  // namespace trel
