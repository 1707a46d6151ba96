// "malloc": the region is one guarded block of the C heap.
#pragma once

#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"

namespace trel {

class MallocConfig final : public AllocatorConfigOf<MallocConfig> {
  public:
    static constexpr const char* kName = "malloc";
    static constexpr const char* kDisplayName = "C malloc()";

    explicit MallocConfig(const MemoryCalls& calls = MemoryCalls::of_this_machine()) : calls_(&calls) {}

    bool acquire_permissions(const ParallelContext&) const override { return true; }
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& parallel, u64 alignment_log2,
                                              u64& bytes) const override;

  private:
    const MemoryCalls* calls_;
};

}  // namespace trel
