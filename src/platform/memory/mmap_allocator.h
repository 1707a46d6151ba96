// "mmap": pages straight from the system, with large pages and locking where wanted. The default.
#pragma once

#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"
#include "base/settings/optional_flag.h"

namespace trel {

class PageRegion;

class MmapConfig final : public AllocatorConfig {
  public:
    static constexpr const char* kDisplayName = "WinAPI VirtualAlloc()";

    explicit MmapConfig(const MemoryCalls& calls = MemoryCalls::of_this_machine()) : calls_(&calls) {}
    // Throws InvalidParametersException(key, "Invalid Mode: ...").
    explicit MmapConfig(const Config::Object& object);

    std::string name() const override;
    std::string display_name() const override;
    bool acquire_permissions() const override;
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& context, u64 alignment_log2,
                                              u64& bytes) const override;
    std::unique_ptr<AllocatorConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;

    OptionalFlag large_pages{"LargePages"};
    OptionalFlag locked_pages{"LockedPages"};

  protected:
    void add_selectors(Config::Object& object) const override;

  private:
    bool allocate_large(PageRegion& region, const ParallelContext& context, u64 alignment_log2,
                        u64& bytes) const;
    bool allocate_normal(PageRegion& region, const ParallelContext& context, u64 alignment_log2,
                         u64& bytes) const;

    const MemoryCalls* calls_;
};

}  // namespace trel
