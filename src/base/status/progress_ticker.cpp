#include "base/status/progress_ticker.h"

#include <chrono>
#include <system_error>

namespace trel {

ProgressTicker::ProgressTicker(double seconds, std::function<void()> tick)
    : seconds_(seconds), tick_(std::move(tick)) {
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
    }
}

ProgressTicker::~ProgressTicker() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = true;
    }
    stop_changed_.notify_one();
    if (thread_.joinable()) thread_.join();
}

void ProgressTicker::run() {
    const std::chrono::duration<double> interval(seconds_);
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stop_changed_.wait_for(lock, interval, [this] { return stop_; })) {
        lock.unlock();
        tick_();
        lock.lock();
    }
}

}  // namespace trel
