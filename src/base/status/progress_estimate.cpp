#include "base/status/progress_estimate.h"

#include <algorithm>
#include <cmath>

namespace trel {
namespace {

// Below this part of a run its speed is not known well enough to say what is left.
constexpr double kLeastKnown = 0.005;

// The part of the rated work that warms the machine up, and the part behind it that must have been seen to do
// without.
constexpr double kWarmUp = 0.03, kSeenWarm = 0.01;

// In seconds: shorter runs need no estimate.
constexpr double kLeastElapsed = 2;

std::string two(u64 large, const char* large_unit, u64 small, const char* small_unit) {
    return std::to_string(large) + large_unit + std::to_string(small) + small_unit;
}

}  // namespace

ProgressView ProgressEstimate::look(const WorkMeter::Reading& reading, double elapsed) {
    ProgressView view;
    view.phase = reading.phase;
    view.elapsed = elapsed;
    if (reading.total <= 0) return view;
    if (reading.done > done_) {
        done_ = reading.done;
        done_at_ = elapsed;
    }
    view.fraction = done_ / reading.total;
    if (!reading.rated) {
        start_ = reading.phase_end;
        start_at_ = elapsed;
        warm_ = 0;
        return view;
    }
    if (done_ <= start_ || done_at_ <= start_at_) return view;
    const double rated = reading.total - start_;
    if (warm_ == 0 && done_ - start_ >= kWarmUp * rated) {
        warm_ = done_;
        warm_at_ = done_at_;
    }
    const bool warm = warm_ != 0 && done_ - warm_ >= kSeenWarm * rated && done_at_ > warm_at_;
    const double speed =
        warm ? (done_ - warm_) / (done_at_ - warm_at_) : (done_ - start_) / (done_at_ - start_at_);
    const double now = std::min(done_ + (elapsed - done_at_) * speed, std::max(done_, reading.phase_end));
    view.fraction = now / reading.total;
    if (done_ - start_ >= kLeastKnown * rated) view.left = (reading.total - now) / speed;
    return view;
}

std::string duration_text(double seconds) {
    constexpr u64 kMinute = 60, kHour = 60 * kMinute, kDay = 24 * kHour;
    const u64 n = static_cast<u64>(std::llround(std::max(seconds, 0.0)));
    if (n < 100) return std::to_string(n) + " s";
    if (n < 100 * kMinute) return two(n / kMinute, " min ", n % kMinute, " s");
    if (n < 2 * kDay) return two(n / kHour, " h ", n % kHour / kMinute, " min");
    return two(n / kDay, " d ", n % kDay / kHour, " h");
}

std::string progress_text(const ProgressView& view) {
    // Named, because the labels before it have percentages of their own.
    std::string text =
        "run " + std::to_string(static_cast<u64>(std::clamp(view.fraction, 0.0, 1.0) * 100)) + " %";
    if (!view.phase.empty()) text = view.phase + ", " + text;
    if (view.left >= 0 && view.elapsed >= kLeastElapsed)
        text += ", about " + duration_text(view.left) + " left";
    return text;
}

}  // namespace trel
