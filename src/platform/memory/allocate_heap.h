// The working region of a computation, with the report of what was got.
#pragma once

#include <memory>
#include <string>

#include "base/errors/run_error.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/memory/allocator.h"

namespace trel {

struct HeapAllocation {
    std::unique_ptr<LargeAllocation> region;  // null for 0 bytes
    std::string summary;                      // kind of pages, or the size where that is unknown
    std::vector<std::string> warnings;        // what went wrong and was worked around

    AlignedBufferC buffer() const {
        return region ? AlignedBufferC(region->pointer(), region->size()) : AlignedBufferC();
    }
};

// A region was refused.
class AllocationFailed final : public RunError {
  public:
    explicit AllocationFailed(u64 bytes);
    u64 bytes() const noexcept { return bytes_; }

  private:
    u64 bytes_;
};

// bytes = 0 allocates nothing. Throws AllocationFailed, so that a computation never starts with half its
// memory. alignment_log2 >= 6 for buffer().
HeapAllocation allocate_heap(const AllocatorConfig& config, const ParallelContext& parallel,
                             u64 alignment_log2, u64 bytes);

}  // namespace trel
