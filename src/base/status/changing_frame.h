// A text of the progress line that changes as work goes on.
#pragma once

#include <optional>

#include "base/clock/timer.h"
#include "base/status/status_scope.h"

namespace trel {

// A frame for each text would leave the line empty between two of them, which is nearly all of the time.
class ChangingFrame {
  public:
    explicit ChangingFrame(Status& parent) : parent_(parent) {}

    // Shows text(): the first one, and one that comes when the last has stood for a tenth of a second.
    template <class Text>
    void show(Text text) {
        constexpr double kSeconds = 0.1;
        if (frame_ && shown_.seconds() < kSeconds) return;
        frame_.reset();
        frame_.emplace(parent_, text());
        frame_->node().refresh(true);
        shown_ = WallTimer();
    }

  private:
    Status& parent_;
    std::optional<StatusFrame> frame_;
    WallTimer shown_;
};

}  // namespace trel
