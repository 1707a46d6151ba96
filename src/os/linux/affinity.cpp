#include "os/affinity.h"

#include <sched.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include "os/cpu.h"
#include "os/linux/errno_error.h"

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

OsError get_thread_affinity(std::vector<u32>& processors) {
    // The system refuses a set that is too small for its processor numbers, so grow until it fits.
    for (size_t bits = 1024; bits <= (size_t(1) << 20); bits *= 2) {
        CpuSet set(bits);
        if (!set.set()) return error_of(ENOMEM);
        if (sched_getaffinity(0, set.bytes(), set.set()) != 0) {
            if (errno != EINVAL) return error_of(errno);
            continue;
        }
        processors.clear();
        for (size_t i = 0; i < bits; i++) {
            if (CPU_ISSET_S(i, set.bytes(), set.set())) processors.push_back(static_cast<u32>(i));
        }
        return {};
    }
    return error_of(EINVAL);
}

OsError set_thread_affinity(const std::vector<u32>& processors) {
    if (processors.empty()) return error_of(EINVAL);
    const size_t highest = *std::max_element(processors.begin(), processors.end());
    CpuSet set(highest + 1);
    if (!set.set()) return error_of(ENOMEM);
    for (const u32 p : processors) CPU_SET_S(p, set.bytes(), set.set());
    if (sched_setaffinity(0, set.bytes(), set.set()) != 0) return error_of(errno);
    return {};
}

u32 current_processor_group() {
    return 0;  // there is one
}

OsError get_group_processors(u32 group, std::vector<u32>& processors) {
    processors = active_processors(group);
    return processors.empty() ? error_of(EINVAL) : OsError{};
}

}  // namespace trel::os
