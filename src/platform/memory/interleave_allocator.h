// "interleave": spreads the pages of one region over memory nodes, so that every processor sees the same
// mixture of near and far memory and all memory channels work.
#pragma once

#include <vector>

#include "platform/memory/allocator.h"
#include "platform/memory/memory_calls.h"
#include "platform/memory/numa_map.h"
#include "base/settings/optional_flag.h"

namespace trel {

class NodeWorkers;

class InterleaveConfig final : public AllocatorConfig {
  public:
    static constexpr const char* kDisplayName = "Node Interleaving";

    // All nodes that have memory to give.
    InterleaveConfig();
    // Throws InvalidParametersException "Node list cannot be empty.", (key, "Invalid Mode: ...").
    explicit InterleaveConfig(const Config::Object& object);
    // Of a machine that tests play.
    InterleaveConfig(const MemoryCalls& calls, const NumaMap& map, NodeWorkers& workers);

    std::string name() const override;
    std::string display_name() const override;
    bool acquire_permissions() const override;
    std::unique_ptr<LargeAllocation> allocate(const ParallelContext& context, u64 alignment_log2,
                                              u64& bytes) const override;
    std::unique_ptr<AllocatorConfig> clone() const override;
    Config::Object to_config() const override;
    u64 print(u64 first_line_number) const override;
    void edit(u64 line) override;

    bool hashed = true;  // otherwise round-robin
    OptionalFlag locked_pages{"LockedPages"};
    // A node that stands here twice receives twice the pages. Never empty.
    std::vector<u32> nodes;

  protected:
    void add_selectors(Config::Object& object) const override;

  private:
    std::vector<u32> default_nodes() const;
    std::string nodes_text() const;
    void edit_nodes();

    const MemoryCalls* calls_;
    const NumaMap* map_;
    NodeWorkers* workers_;
};

// The checksum by which pages are dealt out: CRC-32C of an address, as the processor's instruction computes
// it from 0.
u32 crc32c_of_address(u64 address);

}  // namespace trel
