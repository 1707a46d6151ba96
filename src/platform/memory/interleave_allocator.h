// "interleave": spreads the pages of one region over memory nodes, so that every processor sees the same
// mixture of near and far memory and all memory channels work.
#pragma once

#include "base/settings/optional_flag.h"
#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"
#include "platform/memory/node_list.h"
#include "platform/memory/numa_map.h"

namespace trel {

class NodeWorkers;

class InterleaveConfig final : public AllocatorConfigOf<InterleaveConfig> {
  public:
    static constexpr const char* kName = "interleave";
    static constexpr const char* kDisplayName = "Node Interleaving";

    // All nodes that have memory to give.
    InterleaveConfig();
    // Does not ask the nodes for their memory. Throws what the settings throw.
    explicit InterleaveConfig(const Config::Object& object);
    // For a machine that a test imitates.
    InterleaveConfig(const MemoryCalls& calls, const NumaMap& map, NodeWorkers& workers);

    bool acquire_permissions(const ParallelContext& parallel) const override;
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& parallel, u64 alignment_log2,
                                              u64& bytes) const override;

    SwitchSetting hashed{"Hashed", "    Page Mapping:", {"Hashed", 'G'}, {"Round-Robin", 'G'}, true};
    OptionalFlag locked_pages{"LockedPages", "    Lock Pages in Memory:"};
    NodeList nodes;

  protected:
    SettingList settings() override { return {&hashed, &locked_pages, &nodes}; }
    SettingList menu() override { return {&nodes, &hashed, &locked_pages}; }
    void print_heading() const override;

  private:
    const MemoryCalls* calls_;
    const NumaMap* map_;
    NodeWorkers* workers_;
};

// The checksum by which pages are dealt out: CRC-32C of an address, as the processor's instruction computes
// it from 0.
u32 crc32c_of_address(u64 address);

}  // namespace trel
