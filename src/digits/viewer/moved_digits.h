// How far an action is, for its last line when it is interrupted.
#pragma once

#include <array>
#include <atomic>
#include <string>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::DigitViewer2 {

// One thread counts, any thread reads.
class MovedDigits {
  public:
    // A part of the action begins, two at the most: the digits are to be "moved", or "read back".
    void begin(const char* done, u64 digits);
    void add(u64 digits);

    // "12.34 % of the digits were moved, 0.00 % were read back."; nothing before the first part.
    std::string text() const;

  private:
    struct Part {
        std::atomic<const char*> done{nullptr};
        std::atomic<u64> digits{0}, n_done{0};
    };
    std::array<Part, 2> parts_;
    std::atomic<std::size_t> begun_{0};  // parts
};

}  // namespace kalvor::DigitViewer2
