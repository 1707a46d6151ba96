// A warning that is printed once per process however often it is raised.
#pragma once

#include <atomic>
#include <string_view>

namespace trel {

// Make one a static object beside the code that warns. Any thread.
class OneShotWarning {
  public:
    // The line that ends the one report.
    constexpr explicit OneShotWarning(
        std::string_view last_line = "Further messages for this warning will be suppressed.")
        : last_line_(last_line) {}

    // The first call prints "Warning: " and the text in yellow, then the last line, and returns true; later
    // calls do nothing.
    bool raise(std::string_view text);

  private:
    std::string_view last_line_;
    std::atomic<bool> raised_{false};
};

}  // namespace trel
