#include "base/status/progress_line.h"

#include <algorithm>
#include <string>

#include "base/clock/tsc_frequency.h"
#include "base/console/console.h"
#include "os/cpu.h"

namespace trel {
namespace {

constexpr double kPlainLineSeconds = 60;

}  // namespace

const ProgressCalls& ProgressCalls::of_this_machine() {
    static const ProgressCalls& calls = *new ProgressCalls{
        os::read_tsc,
        [] {
            const TscRates* const rates = SharedTscRates::of_this_machine().look();
            return rates == nullptr ? 0.0 : static_cast<double>(rates->by_performance_counter);
        },
        [] { return std::make_shared<SharedTscRates::Measuring>(); }};
    return calls;
}

ProgressLine::ProgressLine(u64 width, double interval, const ProgressCalls& calls)
    : width_(width), calls_(calls), interval_(interval), measuring_(calls.begin ? calls.begin() : nullptr) {}

double ProgressLine::frequency() {
    double known = frequency_.load(std::memory_order_relaxed);
    if (known == 0) {
        known = calls_.frequency();
        frequency_.store(known, std::memory_order_relaxed);
    }
    return known;
}

double ProgressLine::elapsed(u64 now) {
    const double known = frequency();
    return known == 0 ? 0 : static_cast<double>(now - started_) / known;
}

// Without a frequency the line is younger than the measurement takes, and every interval is longer.
bool ProgressLine::is_due(u64 now) {
    if (interval_ == 0 || !drawn_.load(std::memory_order_relaxed)) return true;
    const double known = frequency();
    return known != 0 &&
           now - last_drawn_.load(std::memory_order_relaxed) >= static_cast<u64>(interval_ * known);
}

void ProgressLine::push(Console::ColoredText segment) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        segments_.push_back(std::move(segment));
    }
    draw(false);
}

void ProgressLine::pop() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        segments_.pop_back();
    }
    shrink();
}

void ProgressLine::push_count(Status::IterationMode mode, u64 total) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        count_ = Count{mode, total};
        set_completed(0);
    }
    draw(false);
}

void ProgressLine::pop_count() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        count_.reset();
    }
    shrink();
}

void ProgressLine::set_meter(WorkMeter* meter) {
    const std::lock_guard<std::mutex> lock(mutex_);
    meter_ = meter;
    estimate_ = {};
    started_ = calls_.ticks();
    next_plain_line_ = kPlainLineSeconds;
}

void ProgressLine::set_suspended(bool suspended) {
    const std::lock_guard<std::mutex> lock(mutex_);
    suspended_ = suspended;
}

void ProgressLine::shrink() {
    if (empty()) {
        const Hidden hidden(*this);
    } else {
        draw(false);
    }
}

void ProgressLine::draw(bool force) {
    const u64 now = calls_.ticks();
    if (!force && !is_due(now)) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    draw_now(now);
}

void ProgressLine::tick() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!empty()) draw_now(calls_.ticks());
}

bool ProgressLine::try_dismiss() {
    const std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
    if (!lock) return false;
    const std::unique_lock<std::recursive_mutex> console(Console::console_lock(), std::try_to_lock);
    if (!console) return false;
    erase();
    suspended_ = true;
    return true;
}

void ProgressLine::draw_now(u64 now) {
    if (suspended_) return;
    last_drawn_.store(now, std::memory_order_relaxed);
    drawn_.store(true, std::memory_order_relaxed);
    if (Console::is_terminal()) {
        draw_on_terminal(now);
    } else {
        print_plain_line(now);
    }
}

void ProgressLine::draw_on_terminal(u64 now) {
    // A full line would make some terminals go on to the next one.
    const u64 columns = Console::columns();
    const u64 width = columns == 0 ? width_ : std::min(width_, columns - 1);
    std::string end;
    if (const WorkMeter* meter = meter_) {
        const ProgressView view = estimate_.look(meter->read(), elapsed(now));
        end = progress_text(view);
        const std::string time = duration_text(view.elapsed) + ", ";
        if (time.size() + end.size() <= width) end = time + end;
        if (end.size() > width) end.clear();
    }
    const u64 room = width - (end.empty() ? 0 : std::min<u64>(width, end.size() + 2));

    std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
    Console::erase_line(width_);
    u64 length = 0, shown = 0;
    const auto print = [&](std::string_view text, Console::ColorLetter color) {
        length += text.size();
        if (length > room) return;
        Console::print(text, color);
        shown = length;
    };
    for (const Console::ColoredText& segment : segments_) print(segment.text, segment.color);
    if (count_)
        print(iteration_text(count_->mode, completed_.load(std::memory_order_relaxed), count_->total), 'w');
    if (!end.empty()) Console::print((shown == 0 ? "" : "  ") + end, 'w');
    Console::set_color('w');
    Console::flush();
    visible_ = true;
}

void ProgressLine::print_plain_line(u64 now) {
    const WorkMeter* const meter = meter_;
    if (meter == nullptr) return;
    const double seconds = elapsed(now);
    // Looked at each time, so that the estimate knows when work was done.
    const ProgressView view = estimate_.look(meter->read(), seconds);
    if (seconds < next_plain_line_) return;
    while (next_plain_line_ <= seconds) next_plain_line_ += kPlainLineSeconds;
    std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
    Console::print_line("After " + duration_text(seconds) + ": " + progress_text(view));
    Console::flush();
}

void ProgressLine::erase() {
    if (!visible_) return;
    std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
    Console::erase_line(width_);
    visible_ = false;
}

}  // namespace trel
