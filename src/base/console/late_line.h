// A line whose text is still on its way.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "base/console/console.h"

namespace trel::Console {

// Keeps a place in the output: what is printed behind it is held back until the text comes, and then shown in
// the order that it would have had. So a program goes on where it would wait for one number of its first
// lines. What must be seen at once waits for the text: errors, questions, pauses.
//
// One at a time. Other threads that print must have ended, or the text must have come, before it is
// destroyed.
class LateLine final : public Sink {
  public:
    LateLine();
    // Without a text, if none has come.
    ~LateLine() override;
    LateLine(const LateLine&) = delete;
    LateLine& operator=(const LateLine&) = delete;

    // Calls `print`, whose output is the text, and shows what was held back. Any thread, once.
    void arrive(const std::function<void()>& print);
    // Waits for that.
    void wait();
    // Waits for the line that is open, if there is one; no thread that owes a text may call it.
    static void wait_for_open();
    // Takes the output while its text is missing; nullptr: none does.
    static LateLine* open();

    void write(std::string_view text) override;
    void set_color(ColorLetter color) override;
    void erase_line(u64 width) override;
    void flush() override;
    bool is_terminal() const override { return below_.is_terminal(); }
    u64 columns() const override { return below_.columns(); }
    os::OsError failure() const override { return below_.failure(); }
    bool wait_for_key() override { return below_.wait_for_key(); }
    bool read_line(std::string& line) override { return below_.read_line(line); }

  private:
    // Does it now or later.
    void pass(std::function<void(Sink&)> output);

    Sink& below_;
    // The text is printed by way of this object too.
    std::recursive_mutex mutex_;
    std::condition_variable_any arrived_changed_;
    bool passing_ = false;
    bool arrived_ = false;
    std::vector<std::function<void(Sink&)>> held_;
};

// Where the output of this thread goes (console.cpp).
Sink& current_sink();

}  // namespace trel::Console
