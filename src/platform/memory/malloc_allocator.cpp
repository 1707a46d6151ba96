// "malloc": the region is one guarded block of the C heap.
#include <algorithm>
#include <new>

#include "os/memory.h"
#include "platform/memory/allocator.h"
#include "platform/memory/fill_pattern.h"
#include "platform/memory/guarded_heap.h"

namespace trel {
namespace {

class MallocAllocation final : public LargeAllocation {
  public:
    MallocAllocation(const ParallelContext& context, u64 alignment_log2, u64 bytes) {
        u64 alignment = u64(1) << alignment_log2;
        // On a boundary of large pages all of a large region can be backed by them.
        const u64 large = os::large_page_size();
        if (large != 0 && bytes >= large) alignment = std::max(alignment, large);
        try {
            block_ = GuardedBuffer(bytes, alignment);
        } catch (const std::bad_alloc&) {
            return;
        }
        os::advise_large_pages(block_.get(), bytes);
        fill_memory(context, block_.get(), bytes);
        pointer_ = block_.get();
        bytes_ = bytes;
        stats_ = std::make_unique<MemoryStats>();
        stats_->total_bytes = bytes;
    }

  private:
    GuardedBuffer block_;
};

class MallocConfig final : public AllocatorConfig {
  public:
    std::string name() const override { return "malloc"; }
    std::string display_name() const override { return "C malloc()"; }
    bool acquire_permissions() const override { return true; }
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& context, u64 alignment_log2,
                                              u64& bytes) const override {
        return std::make_unique<MallocAllocation>(context, alignment_log2, bytes);
    }
    Config::Object to_config() const override { return {}; }
    std::unique_ptr<AllocatorConfig> clone() const override { return std::make_unique<MallocConfig>(*this); }
};

class MallocType final : public AllocatorType {
  public:
    std::string display_name() const override { return "C malloc()"; }
    std::unique_ptr<AllocatorConfig> make_config(const Config::Object&) const override {
        return make_default_config();
    }
    std::unique_ptr<AllocatorConfig> make_default_config() const override {
        return std::make_unique<MallocConfig>();
    }
};

const MallocType g_type;
const AllocatorRegistration g_registration("malloc", g_type);

}  // namespace
}  // namespace trel
