#include "base/console/late_line.h"

#include <utility>

namespace trel::Console {
namespace {

std::atomic<LateLine*> open_line{nullptr};

}  // namespace

LateLine::LateLine() : below_(current_sink()) {
    open_line.store(this, std::memory_order_release);
}

LateLine::~LateLine() {
    if (!arrived_) arrive([] {});
}

void LateLine::arrive(const std::function<void()>& print) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    passing_ = true;
    print();
    for (const auto& output : std::exchange(held_, {})) output(below_);
    LateLine* self = this;
    open_line.compare_exchange_strong(self, nullptr, std::memory_order_acq_rel);
    arrived_ = true;
    arrived_changed_.notify_all();
}

void LateLine::wait() {
    std::unique_lock<std::recursive_mutex> lock(mutex_);
    arrived_changed_.wait(lock, [this] { return arrived_; });
}

void LateLine::wait_for_open() {
    if (LateLine* const line = open()) line->wait();
}

LateLine* LateLine::open() {
    return open_line.load(std::memory_order_acquire);
}

void LateLine::pass(std::function<void(Sink&)> output) {
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (passing_) {
        output(below_);
    } else {
        held_.push_back(std::move(output));
    }
}

void LateLine::write(std::string_view text) {
    pass([text = std::string(text)](Sink& sink) { sink.write(text); });
}

void LateLine::set_color(ColorLetter color) {
    pass([color](Sink& sink) { sink.set_color(color); });
}

void LateLine::erase_line(u64 width) {
    pass([width](Sink& sink) { sink.erase_line(width); });
}

void LateLine::flush() {
    pass([](Sink& sink) { sink.flush(); });
}

}  // namespace trel::Console
