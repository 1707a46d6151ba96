// The log of a run's timed events, kept as text: date, seconds since the start, name, separated by tabs.
#pragma once

#include <string>
#include <string_view>

namespace kalvor {

class EventLog {
  public:
    // Appends the event with the current date and the seconds since the session started.
    void add(double seconds_since_start, std::string_view name);
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

}  // namespace kalvor
