// Memory modules in the firmware's structure table (SMBIOS: DMTF DSP0134, "Memory Device (Type 17)").
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel::os {

struct SmbiosModule {
    std::string part_number;  // printable ASCII without surrounding blanks; may be empty
    u64 bytes = 0;            // 0 = unknown
};

// The sockets that hold a module, in the table's order. Any bytes are accepted: records that are cut off or
// shorter than their kind needs end the walk or lack what they do not hold.
std::vector<SmbiosModule> smbios_memory_modules(std::string_view table);

// What firmware gives as text, fit for a report: no surrounding blanks, '?' for all that is not printable
// ASCII.
std::string printable_text(std::string_view text);

}  // namespace trel::os
