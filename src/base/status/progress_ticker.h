// Redraws a progress line while the computation is busy with a long piece.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace trel {

// Calls `tick` from a thread of its own, at this interval in seconds, until it is destroyed. Where no
// thread can be started nothing is called: the line is then drawn when the computation reports.
class ProgressTicker {
  public:
    ProgressTicker(double seconds, std::function<void()> tick);
    ~ProgressTicker();
    ProgressTicker(const ProgressTicker&) = delete;
    ProgressTicker& operator=(const ProgressTicker&) = delete;

  private:
    void run();

    const double seconds_;
    const std::function<void()> tick_;
    std::mutex mutex_;
    std::condition_variable stop_changed_;
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace trel
