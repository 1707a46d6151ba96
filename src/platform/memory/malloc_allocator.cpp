#include "platform/memory/malloc_allocator.h"

#include <algorithm>
#include <new>

#include "platform/memory/fill_pattern.h"
#include "platform/memory/guarded_heap.h"
#include "platform/memory/placement.h"

namespace trel {
namespace {

class MallocAllocation final : public LargeAllocation {
  public:
    MallocAllocation(const MemoryCalls& calls, const ParallelContext& context, u64 alignment_log2,
                     u64 bytes) {
        u64 alignment = u64(1) << alignment_log2;
        // On a boundary of large pages all of a large region can be backed by them.
        const u64 large = calls.large_page_size();
        if (large != 0 && bytes >= large) alignment = std::max(alignment, large);
        try {
            block_ = GuardedBuffer(bytes, alignment);
        } catch (const std::bad_alloc&) {
            return;
        }
        calls.advise_large_pages(block_.get(), bytes);
        fill_memory(context, block_.get(), bytes);
        pointer_ = block_.get();
        bytes_ = bytes;
        stats_ = std::make_unique<MemoryStats>();
        stats_->total_bytes = bytes;
        measure_placement(calls, context, pointer_, bytes, *stats_);
    }

  private:
    GuardedBuffer block_;
};

}  // namespace

std::unique_ptr<LargeAllocation> MallocConfig::allocate(const ParallelContext& context, u64 alignment_log2,
                                                        u64& bytes) const {
    return std::make_unique<MallocAllocation>(*calls_, context, alignment_log2, bytes);
}

namespace {

const AllocatorRegistration<MallocConfig> g_registration;

}  // namespace
}  // namespace trel
