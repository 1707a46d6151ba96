// From the work that is done and the time that it took to the time that is left.
#pragma once

#include <string>

#include "base/status/work_meter.h"

namespace trel {

struct ProgressView {
    std::string phase;
    double elapsed = 0;   // seconds
    double fraction = 0;  // of the whole run
    double left = -1;     // seconds; negative: nothing can be said yet
};

// The model weighs the phases against each other; how fast this machine is shows the time that the work so
// far has taken in phases that are rated. Between two pieces of work the run is taken to go on at that speed,
// up to the end of its phase. A machine computes slower at first, with cold caches and sleeping processors:
// that part of the rated work is left out as soon as enough else has been seen.
class ProgressEstimate {
  public:
    // elapsed: seconds since the work began, never less than before.
    ProgressView look(const WorkMeter::Reading& reading, double elapsed);

  private:
    // Work in expected seconds and when it was first seen: the last, and where rated phases began.
    double done_ = 0, done_at_ = 0;
    double start_ = 0, start_at_ = 0;
    // Where the warm-up ends: 0 until then.
    double warm_ = 0, warm_at_ = 0;
};

// "24 s", "3 min 20 s", "5 h 12 min", "3 d 4 h"
std::string duration_text(double seconds);
// "series, run 35 %, about 24 s left"; the time left from two seconds on.
std::string progress_text(const ProgressView& view);

}  // namespace trel
