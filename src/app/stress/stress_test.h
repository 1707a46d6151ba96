// The tests of the stress tester: each loads a core with one kernel of the program on data whose result is
// known beforehand.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "base/names/names.h"
#include "os/types.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/parallel/run_monitor.h"

namespace kalvor {

// Sees, and may change, the result of a kernel before it is checked: how tests of the tester bring in faults.
// Called on the worker's thread.
struct StressFault {
    std::function<void(u32 core, std::string_view tag, u64 iteration, void* product, u64 bytes)> at;
};

// Where a worker works, and for whom. Outlives it.
struct WorkerPlace {
    AlignedBufferC memory;  // its own
    u32 core;
    u64 seed;
    RunMonitor& monitor;  // of this worker alone: it counts the products that mended themselves
    const StressFault& fault;
};

// One core's share of a test. One thread.
class StressWorker {
  public:
    virtual ~StressWorker();
    // New operands, the kernel, the check. Throws AlgorithmFailedException "Checksum Mismatch" for a wrong
    // result, also for one that the kernel itself has found wrong and has put right. Iterations count from 0.
    // RunStopped when the monitor asks for it.
    virtual void iterate(u64 iteration) = 0;
};

class StressTest {
  public:
    struct Texts {
        const char *tag, *name;
        const char* unit;       // of the size
        const char* component;  // of the processor, that it loads
        u32 memory_bound;       // 0: the core limits it ... 11: the memory does; an estimate for the menu
    };

    virtual ~StressTest();

    const Texts& texts() const { return texts_; }
    // Whether it stays in the core's own caches, however much memory there is.
    bool is_small() const { return small_; }

    // The size that fits into so much memory, in the unit; 0: none does.
    virtual u64 size_for(u64 bytes) const = 0;
    // size_for(place.memory.size()) is not 0.
    virtual std::unique_ptr<StressWorker> make_worker(const WorkerPlace& place) const = 0;

  protected:
    StressTest(const Texts& texts, bool small) : texts_(texts), small_(small) {}

  private:
    Texts texts_;
    bool small_;
};

// In the order of the menu.
using StressTests = std::span<const StressTest* const>;
StressTests stress_tests();
// nullptr: there is none of this tag.
const StressTest* find_stress_test(std::string_view tag);

}  // namespace kalvor
