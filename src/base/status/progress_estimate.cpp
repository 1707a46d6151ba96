#include "base/status/progress_estimate.h"

#include <algorithm>
#include <cmath>

namespace trel {
namespace {

// Below this part of a run its speed is not known well enough to say what is left.
constexpr double kLeastKnown = 0.005;

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
        return view;
    }
    if (done_ <= start_ || done_at_ <= start_at_) return view;
    const double speed = (done_ - start_) / (done_at_ - start_at_);
    const double now = std::min(done_ + (elapsed - done_at_) * speed, std::max(done_, reading.phase_end));
    view.fraction = now / reading.total;
    if (done_ - start_ >= kLeastKnown * (reading.total - start_)) view.left = (reading.total - now) / speed;
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
    if (view.left >= 0) text += ", about " + duration_text(view.left) + " left";
    return text;
}

}  // namespace trel
