#include "fault/lock_step.h"

#include <condition_variable>
#include <mutex>
#include <thread>

#include "base/console/console.h"
#include "fault/faulty_file.h"

namespace kalvor_test {
namespace {

class Steps {
  public:
    Steps(int threads, const std::vector<int>& schedule) : schedule_(schedule), ended_(threads, false) {
        choose();
    }
    // Gives the turn away and waits until it comes back.
    void next_call(int thread) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (holder_ == thread && began_[thread]) pass_on();
        began_[thread] = true;
        turn_.wait(lock, [&] { return holder_ == thread; });
    }
    void begin(int thread) {
        std::unique_lock<std::mutex> lock(mutex_);
        turn_.wait(lock, [&] { return holder_ == thread; });
    }
    void end(int thread) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ended_[thread] = true;
        pass_on();
    }

  private:
    void pass_on() {
        position_++;
        choose();
        turn_.notify_all();
    }
    void choose() {
        holder_ = position_ < schedule_.size() ? schedule_[position_] : 0;
        for (std::size_t i = 0; i < ended_.size() && ended_[static_cast<std::size_t>(holder_)]; i++) {
            holder_ = static_cast<int>(i);
        }
    }

    std::mutex mutex_;
    std::condition_variable turn_;
    const std::vector<int>& schedule_;
    std::vector<bool> ended_;
    std::vector<bool> began_ = std::vector<bool>(ended_.size(), false);
    std::size_t position_ = 0;
    int holder_ = 0;
};

thread_local int t_thread = -1;

class Silence final : public trel::Console::Sink {
  public:
    Silence() : before_(trel::Console::set_sink(this)) {}
    ~Silence() override { trel::Console::set_sink(before_); }
    void write(std::string_view) override {}
    void set_color(trel::Console::ColorLetter) override {}
    bool is_terminal() const override { return false; }
    bool wait_for_key() override { return false; }

  private:
    Sink* before_;
};

}  // namespace

void run_in_lock_step(const std::vector<std::function<void(const trel::FileIO::FileCalls&)>>& threads,
                      const std::vector<int>& schedule) {
    const Silence silence;
    Steps steps(static_cast<int>(threads.size()), schedule);
    FaultyFile disk;
    disk.on_call([&](FaultyFile::Call) { steps.next_call(t_thread); });
    std::vector<std::thread> running;
    for (std::size_t i = 0; i < threads.size(); i++) {
        running.emplace_back([&, i] {
            t_thread = static_cast<int>(i);
            steps.begin(t_thread);
            threads[i](disk.file_calls());
            steps.end(t_thread);
        });
    }
    for (std::thread& thread : running) thread.join();
}

}  // namespace kalvor_test
