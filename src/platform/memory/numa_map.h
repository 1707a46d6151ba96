// Which logical cores belong to which memory node.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "base/errors/run_error.h"
#include "base/status/warnings.h"
#include "os/types.h"
#include "platform/memory/memory_calls.h"

namespace trel {

// The system does not tell its nodes.
class NumaUnknown final : public RunError {
  public:
    explicit NumaUnknown(u32 code);

  private:
    explicit NumaUnknown(const std::string& text);
};

class NumaMap {
  public:
    struct Node {
        std::vector<u32> processors;  // by the system's numbers: what a thread is bound to
        std::vector<u32> cores;       // by the program's numbers, ascending
    };

    // Asks the system. Throws NumaUnknown when it has no answer.
    explicit NumaMap(const MemoryCalls& calls);

    const std::map<u32, Node>& nodes() const { return nodes_; }
    // What was found, for the user.
    const std::vector<Warnings::Line>& lines() const { return lines_; }
    // Throws InvalidParametersException("core_to_node()", "Invalid core id: ...").
    u32 core_to_node(u64 core) const;

    // Of this machine; built by the first call.
    static const NumaMap& of_this_machine();

  private:
    std::map<u32, Node> nodes_;
    std::map<u64, u32> node_of_core_;
    std::vector<Warnings::Line> lines_;
};

}  // namespace trel
