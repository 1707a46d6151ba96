// What the system tells about processors and nodes, counted.
#pragma once

#include <cstddef>
#include <span>

#include "os/topology.h"

namespace trel::os {

// From records of different sizes (SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX), one after the other. One that is
// cut off ends them.
Topology topology_of(std::span<const std::byte> records);

}  // namespace trel::os
