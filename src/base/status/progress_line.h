// The progress line of a console chain: its segments and when it was drawn.
#pragma once

#include <optional>
#include <vector>

#include "base/console/console.h"
#include "base/status/status.h"
#include "os/types.h"

namespace trel {

// One thread, but for the drawing itself, which takes the console lock.
class ProgressLine {
  public:
    // Width in characters, interval in ticks of the time-stamp counter.
    ProgressLine(u64 width, u64 interval) : width_(width), interval_(interval) {}

    void push(Console::ColoredText segment) { segments_.push_back(std::move(segment)); }
    // Removes the last segment; a line that has nothing left disappears.
    void pop();

    // A count behind the last segment. It becomes text only when the line is drawn.
    void push_count(Status::IterationMode mode, u64 total) { count_ = Count{mode, total, 0}; }
    void set_completed(u64 completed) { count_->completed = completed; }
    void pop_count();

    // Shows the segments and the count, as many from the first on as fit into the width. Unless forced, only
    // when the interval has passed since the last time; otherwise it costs one reading of the counter.
    void draw(bool force);
    // Takes the line off the screen, if it is there, before other output.
    void erase();

    // While a line is being put together by pieces, drawing would run over it.
    void set_suspended(bool suspended) { suspended_ = suspended; }

  private:
    struct Count {
        Status::IterationMode mode;
        u64 total;
        u64 completed;
    };

    // After something was removed.
    void shrink();
    void write_blanks();

    const u64 width_;
    const u64 interval_;
    std::vector<Console::ColoredText> segments_;
    std::optional<Count> count_;
    u64 last_drawn_ = 0;
    bool drawn_ = false;    // ever
    bool visible_ = false;  // now
    bool suspended_ = false;
};

}  // namespace trel
