// The rate of the time-stamp counter.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "os/error.h"
#include "os/types.h"

namespace trel {

// The system calls behind a measurement; tests put their own in place. Clocks answer 0 when they cannot be
// read.
struct FrequencyCalls {
    os::OsError (*get_affinity)(std::vector<u32>& processors);
    os::OsError (*set_affinity)(const std::vector<u32>& processors);
    u64 (*tsc)();
    u64 (*clock)();
    u64 (*clock_frequency)();
    u64 (*system_clock)();  // nanoseconds
    // Lets at least so much time pass without using the processor, or returns false because the measurement
    // is not wanted any more; empty: the clock is read all the time.
    std::function<bool(double seconds)> pass;

    static const FrequencyCalls& of_this_machine();
};

// Ticks a second of the time-stamp counter, by two clocks over the same sixteenth of a second. Nothing is
// printed while it is measured, since that may go on beside the program.
struct TscRates {
    u64 by_performance_counter = 0;
    u64 by_system_clock = 0;
    bool affinity_known = true;
    const char* failure = nullptr;  // what the machine refused; the rates are then 0
    bool abandoned = false;         // `pass` returned false

    // Prints what there is to say; a failure ends the process.
    void require() const;
};

// One measurement, with the calling thread pinned to one processor.
TscRates measure_tsc(const FrequencyCalls& calls);

// One measurement that all callers share. Any thread.
class SharedTscRates {
  public:
    explicit SharedTscRates(FrequencyCalls calls);
    // No Measuring may be left.
    ~SharedTscRates();
    SharedTscRates(const SharedTscRates&) = delete;
    SharedTscRates& operator=(const SharedTscRates&) = delete;
    static SharedTscRates& of_this_machine();

    // Waits for a measurement under way; where none is, measures.
    const TscRates& wait();
    // The same without waiting: nullptr while there is nothing.
    const TscRates* look() const;
    // Calls `action` when the rates are there: on the thread that measures them, or on this one if they are
    // there already or are not being measured. With nullptr when the measurement was abandoned.
    void when_there(std::function<void(const TscRates*)> action);

    // While one lives, the rates are measured on a thread of its own; at once, unless they are there or
    // another one has begun. The end of the last one abandons a measurement that is not done.
    class Measuring {
      public:
        explicit Measuring(SharedTscRates& rates = of_this_machine()) : rates_(rates) { rates_.begin(); }
        ~Measuring() { rates_.end(); }
        Measuring(const Measuring&) = delete;
        Measuring& operator=(const Measuring&) = delete;

      private:
        SharedTscRates& rates_;
    };

  private:
    void begin();
    void end();
    void measured();

    struct State;
    const std::unique_ptr<State> state_;
};

// The rate on this machine by the performance counter; measured once a process. Ends the process when the
// machine refuses.
u64 measure_tsc_frequency();
// The same by the system's wall clock.
u64 measure_tsc_frequency_by_system_clock();

}  // namespace trel
