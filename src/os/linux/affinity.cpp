#include "os/affinity.h"

#include <sched.h>

#include <algorithm>
#include <cstddef>

namespace trel::os {
namespace {

// A processor set of the system's own size.
class CpuSet {
  public:
    explicit CpuSet(size_t bits) : set_(CPU_ALLOC(bits)), bits_(bits), bytes_(CPU_ALLOC_SIZE(bits)) {
        if (set_) CPU_ZERO_S(bytes_, set_);
    }
    ~CpuSet() {
        if (set_) CPU_FREE(set_);
    }
    CpuSet(const CpuSet&) = delete;
    CpuSet& operator=(const CpuSet&) = delete;

    cpu_set_t* set() { return set_; }
    size_t bits() const { return bits_; }
    size_t bytes() const { return bytes_; }

  private:
    cpu_set_t* set_;
    size_t bits_;
    size_t bytes_;
};

}  // namespace

bool get_thread_affinity(std::vector<u32>& processors) {
    // The system refuses a set that is too small for its processor numbers, so grow until it fits.
    for (size_t bits = 1024; bits <= (size_t(1) << 20); bits *= 2) {
        CpuSet set(bits);
        if (!set.set()) return false;
        if (sched_getaffinity(0, set.bytes(), set.set()) != 0) continue;
        processors.clear();
        for (size_t i = 0; i < bits; i++) {
            if (CPU_ISSET_S(i, set.bytes(), set.set())) processors.push_back(static_cast<u32>(i));
        }
        return true;
    }
    return false;
}

bool set_thread_affinity(const std::vector<u32>& processors) {
    if (processors.empty()) return false;
    const size_t highest = *std::max_element(processors.begin(), processors.end());
    CpuSet set(highest + 1);
    if (!set.set()) return false;
    for (const u32 p : processors) CPU_SET_S(p, set.bytes(), set.set());
    return sched_setaffinity(0, set.bytes(), set.set()) == 0;
}

}  // namespace trel::os
