// How far a run is: its phases by name, each with the time that a model expects of it and the units of work that
// it counts. Computation code adds units as it finishes pieces, from any thread and without looking at a clock.
#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel {

struct WorkPhase {
    std::string name;    // for people: "series"
    double seconds = 0;  // expected; what weighs this phase against the others
    double units = 0;    // of work in it, in whatever the phase counts
    bool rated = true;   // whether its pace tells that of the phases behind it
};

class WorkMeter {
  public:
    explicit WorkMeter(std::vector<WorkPhase> phases);

    // The next phase of this name begins; those before it are done. Nothing for a name that does not follow. Not
    // while tasks add units.
    void enter(std::string_view phase);
    // Any thread. Units beyond those of the phase do not count.
    void add(double units) {
        if (units > 0) units_.fetch_add(static_cast<u64>(units), std::memory_order_relaxed);
    }

    // Expected seconds of what is done, of what will be done when the phase ends, and of everything.
    struct Reading {
        std::string_view phase;  // of this object
        double done = 0;
        double phase_end = 0;
        double total = 0;
        bool rated = false;
    };
    // Any thread.
    Reading read() const;

  private:
    const std::vector<WorkPhase> phases_;
    std::vector<double> ends_;  // expected seconds up to the end of each phase
    std::atomic<std::size_t> entered_{0};  // phases, the last of which runs
    std::atomic<u64> units_{0};            // of that phase
};

// A meter or none, for passing on by value.
class Work {
  public:
    Work() = default;
    explicit Work(WorkMeter* meter) : meter_(meter) {}

    explicit operator bool() const { return meter_ != nullptr; }
    void enter(std::string_view phase) const {
        if (meter_ != nullptr) meter_->enter(phase);
    }
    void add(double units) const {
        if (meter_ != nullptr) meter_->add(units);
    }
    WorkMeter* meter() const { return meter_; }

  private:
    WorkMeter* meter_ = nullptr;
};

}  // namespace trel
