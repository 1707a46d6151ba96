// "mmap": pages straight from the system, with large pages and locking where wanted. The default.
#pragma once

#include "platform/memory/allocator.h"
#include "platform/memory/optional_flag.h"

namespace trel {

class MmapConfig final : public AllocatorConfig {
  public:
    std::string name() const override;
    std::string display_name() const override;
    bool acquire_permissions() const override;
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& context, u64 alignment_log2,
                                              u64& bytes) const override;
    Config::Object to_config() const override;
    std::unique_ptr<AllocatorConfig> clone() const override;

    OptionalFlag large_pages{"LargePages"};
    OptionalFlag locked_pages{"LockedPages"};
};

}  // namespace trel
