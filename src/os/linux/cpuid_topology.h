// How the processors hang together by what each says of itself, for a system without sysfs.
#pragma once

#include "os/cpu.h"
#include "os/topology.h"

namespace trel::os {

// The cores and sockets of t.logical_cores processors; both stay 0 where the processor does not tell. Leaf
// 11 has a level a subleaf: in ecx its number and its type (1: threads of a core), in ebx how many logical
// processors it has.
void count_by_cpuid(Topology& t, CpuidRegisters (*cpuid)(u32 leaf, u32 subleaf));

}  // namespace trel::os
