// "malloc": the region is one guarded block of the C heap.
#pragma once

#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"

namespace trel {

class MallocConfig final : public AllocatorConfig {
  public:
    static constexpr const char* kDisplayName = "C malloc()";

    explicit MallocConfig(const MemoryCalls& calls = MemoryCalls::of_this_machine()) : calls_(&calls) {}
    explicit MallocConfig(const Config::Object&) : MallocConfig() {}

    std::string name() const override;
    std::string display_name() const override;
    bool acquire_permissions() const override { return true; }
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& context, u64 alignment_log2,
                                              u64& bytes) const override;
    std::unique_ptr<AllocatorConfig> clone() const override;
    Config::Object to_config() const override { return {}; }

  private:
    const MemoryCalls* calls_;
};

}  // namespace trel
