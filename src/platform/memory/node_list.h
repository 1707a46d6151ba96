// The setting "Nodes" of node interleaving: the memory nodes in turn.
#pragma once

#include <vector>

#include "base/settings/setting.h"
#include "platform/memory/memory_calls.h"
#include "platform/memory/numa_map.h"

namespace trel {

class NodeList final : public Setting {
  public:
    // Empty until it is loaded or set.
    NodeList(const MemoryCalls& calls, const NumaMap& map)
        : Setting("Nodes", "    NUMA nodes:"), calls_(&calls), map_(&map) {}

    // All nodes that have memory to give.
    std::vector<u32> defaults() const;

    // Throws InvalidParametersException "Node list cannot be empty.".
    void load(const Config::Object& object, std::string_view context) override;
    void edit() override;
    std::string display_text() const override;
    Console::ColorLetter color() const override { return 'T'; }

    // A node that stands here twice receives twice the pages.
    std::vector<u32> numbers;

  protected:
    std::unique_ptr<Config::Node> value_node() const override;

  private:
    const MemoryCalls* calls_;
    const NumaMap* map_;
};

}  // namespace trel
