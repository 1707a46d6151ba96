// Scoped use of a status chain.
#pragma once

#include <string>
#include <string_view>

#include "base/status/status.h"

namespace trel {

// A frame of the progress line for the life of the object: " 0M ", "Iterating: ", ...
class StatusFrame {
  public:
    StatusFrame(Status& parent, std::string text, Status::ColorLetter color = 'w');
    // The text followed by a number of digits in comma form: " 0M 1,234".
    StatusFrame(Status& parent, const std::string& text, u64 digits);
    ~StatusFrame();
    StatusFrame(const StatusFrame&) = delete;
    StatusFrame& operator=(const StatusFrame&) = delete;
    Status& node() { return node_; }

  private:
    Status& parent_;
    Status& node_;
};

// A timed sub-step: "Large Division..." and its "Time:    ". The time is printed only when the scope is left
// normally.
class StatusSection {
  public:
    StatusSection(Status& parent, std::string_view name);
    ~StatusSection();
    StatusSection(const StatusSection&) = delete;
    StatusSection& operator=(const StatusSection&) = delete;
    Status& node() { return node_; }

  private:
    Status& parent_;
    Status& node_;
    int exceptions_;
};

class StatusIteration {
  public:
    StatusIteration(Status& parent, Status::IterationMode mode, u64 total);
    ~StatusIteration();
    StatusIteration(const StatusIteration&) = delete;
    StatusIteration& operator=(const StatusIteration&) = delete;
    void update(u64 completed) { node_.update(completed); }

  private:
    Status& parent_;
    StatusIterationNode& node_;
};

// The meter of a run, for the life of the object.
class StatusWork {
  public:
    StatusWork(Status& status, WorkMeter* meter) : status_(status) { status_.set_work(meter); }
    ~StatusWork() { status_.set_work(nullptr); }
    StatusWork(const StatusWork&) = delete;
    StatusWork& operator=(const StatusWork&) = delete;

  private:
    Status& status_;
};

// Words as decimal digits for status lines: words x 64 log10 2.
u64 status_digits(u64 words);

}  // namespace trel
