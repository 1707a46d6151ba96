// Processors are numbered through: 64 * group + number in the group. Private to this back end.
#pragma once

#include <windows.h>

#include <vector>

#include "os/types.h"

namespace trel::os {

inline constexpr u32 kProcessorsInGroup = 64;

inline u32 processor_number(u32 group, u32 number) {
    return kProcessorsInGroup * group + number;
}

// Appends the processors of a mask, ascending.
inline void append_processors(std::vector<u32>& processors, const GROUP_AFFINITY& affinity) {
    for (u32 i = 0; i < kProcessorsInGroup; i++) {
        if (affinity.Mask >> i & 1) processors.push_back(processor_number(affinity.Group, i));
    }
}

}  // namespace trel::os
