// The progress line of a console chain: its segments, what is left of the run, and when it was drawn.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "base/console/colors.h"
#include "base/status/progress_estimate.h"
#include "base/status/status.h"
#include "os/types.h"

namespace trel {

// What a progress line takes the time from. Outlives it.
struct ProgressCalls {
    std::function<u64()> ticks;
    std::function<double()> frequency;  // ticks a second; 0 = not known yet
    // What has to live while the frequency is asked for; may be empty.
    std::function<std::shared_ptr<void>()> begin = {};

    // The time-stamp counter, whose rate is measured beside the work.
    static const ProgressCalls& of_this_machine();
};

// One thread changes the line, any thread may draw it. Drawing also takes the console lock.
//
// On a terminal the line is redrawn over itself; with a meter it ends with the time so far, the part of the
// run that is done and the time that is left. Elsewhere only that is shown, as a line of its own every
// minute.
class ProgressLine {
  public:
    // Width in characters, at most; a narrower terminal gets less. Interval in seconds.
    ProgressLine(u64 width, double interval, const ProgressCalls& calls);

    void push(Console::ColoredText segment);
    // Removes the last segment; a line that has nothing left disappears.
    void pop();

    // A count behind the last segment. It becomes text only when the line is drawn.
    void push_count(Status::IterationMode mode, u64 total);
    void set_completed(u64 completed) { completed_.store(completed, std::memory_order_relaxed); }
    void pop_count();

    // The meter of the run that begins now, or none.
    void set_meter(WorkMeter* meter);
    WorkMeter* meter() const { return meter_; }

    // Shows the segments and the count, as many from the first on as fit. Unless forced, only when the
    // interval has passed since the last time; otherwise it costs one reading of the counter.
    void draw(bool force);
    // The same from a thread that does nothing else: always, but only when there is something to show.
    void tick();

    // For a thread that must not wait: takes the line off the screen, for good. False, and nothing is done,
    // while another thread holds the line.
    bool try_dismiss();

    // The line is off the screen and is not drawn while this lives: for other output.
    class Hidden {
      public:
        explicit Hidden(ProgressLine& line) : lock_(line.mutex_) { line.erase(); }

      private:
        std::lock_guard<std::mutex> lock_;
    };
    // While a line is being put together by pieces, drawing would run over it.
    void set_suspended(bool suspended);

  private:
    struct Count {
        Status::IterationMode mode;
        u64 total;
    };

    // With the mutex held.
    void draw_now(u64 now);
    void draw_on_terminal(u64 now);
    void print_plain_line(u64 now);
    void erase();
    // Ticks a second; 0 in the first sixteenth of a second, while they are measured.
    double frequency();
    bool is_due(u64 now);
    // Seconds of the meter's run.
    double elapsed(u64 now);
    bool empty() const { return segments_.empty() && !count_; }
    // After something was removed.
    void shrink();

    const u64 width_;
    const ProgressCalls& calls_;
    const double interval_;  // seconds
    const std::shared_ptr<void> measuring_;
    std::atomic<double> frequency_{0};
    std::mutex mutex_;
    std::vector<Console::ColoredText> segments_;
    std::optional<Count> count_;
    std::atomic<u64> completed_{0};
    std::atomic<WorkMeter*> meter_{nullptr};
    ProgressEstimate estimate_;
    u64 started_ = 0;             // ticks; of the meter's run
    double next_plain_line_ = 0;  // seconds of elapsed time
    std::atomic<u64> last_drawn_{0};
    std::atomic<bool> drawn_{false};  // ever
    bool visible_ = false;            // now
    bool suspended_ = false;
};

}  // namespace trel
