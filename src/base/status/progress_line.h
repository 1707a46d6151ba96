// The progress line of a console chain: its segments and when it was drawn.
#pragma once

#include <string_view>
#include <vector>

#include "base/console/console.h"
#include "os/types.h"

namespace trel {

// One thread, but for the drawing itself, which takes the console lock.
class ProgressLine {
  public:
    // Width in characters, interval in ticks of the time-stamp counter.
    ProgressLine(u64 width, u64 interval) : width_(width), interval_(interval) {}

    void push(Console::ColoredText segment) { segments_.push_back(std::move(segment)); }
    // Removes the last segment; a line that has none left disappears.
    void pop();
    void set_last(std::string_view text) { segments_.back().text = text; }

    // Whether an unforced draw() would be due: the interval has passed since the last one, or there was none.
    // One reading of the counter.
    bool due() const;
    // Shows the segments, as many from the first on as fit into the width.
    void draw(bool force);
    // Takes the line off the screen, if it is there, before other output.
    void erase();

    // While a line is being put together by pieces, drawing would run over it.
    void set_suspended(bool suspended) { suspended_ = suspended; }

  private:
    void write_blanks();

    const u64 width_;
    const u64 interval_;
    std::vector<Console::ColoredText> segments_;
    u64 last_drawn_ = 0;
    bool drawn_ = false;    // ever
    bool visible_ = false;  // now
    bool suspended_ = false;
};

}  // namespace trel
