// "mmap": pages straight from the system, with large pages and locking where wanted. The default.
#pragma once

#include "base/settings/optional_flag.h"
#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"

namespace trel {

class PageRegion;

class MmapConfig final : public AllocatorConfigOf<MmapConfig> {
  public:
    static constexpr const char* kName = "mmap";
    static constexpr const char* kDisplayName = "WinAPI VirtualAlloc()";

    explicit MmapConfig(const MemoryCalls& calls = MemoryCalls::of_this_machine()) : calls_(&calls) {}

    bool acquire_permissions(const ParallelContext& parallel) const override;
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& parallel, u64 alignment_log2,
                                              u64& bytes) const override;

    OptionalFlag large_pages{"LargePages", "    Large Pages:"};
    OptionalFlag locked_pages{"LockedPages", "    Lock Pages in Memory:"};

  protected:
    SettingList settings() override { return {&large_pages, &locked_pages}; }

  private:
    bool allocate_large(PageRegion& region, const ParallelContext& parallel, u64 alignment_log2,
                        u64& bytes) const;
    bool allocate_normal(PageRegion& region, const ParallelContext& parallel, u64 alignment_log2,
                         u64& bytes) const;

    const MemoryCalls* calls_;
};

}  // namespace trel
