// The program's own numbers of the logical cores: 0, 1, 2, ... in the order of the processor groups and,
// within a group, of the processors. The system's numbers have gaps; these have none.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel {

struct CoreNumbers {
    struct Core {
        u32 processor;  // by the system's numbers: what a thread is bound to
        u32 group;
    };
    std::vector<Core> cores;  // by number

    u64 count() const { return cores.size(); }

    // Of this machine. The first call of the process prints what it found. Main thread.
    static const CoreNumbers& of_this_machine();
    // groups[g]: the processors of group g.
    static CoreNumbers of(const std::vector<std::vector<u32>>& groups);
};

// A set of cores of one processor group, by their numbers.
class CoreGroup {
  public:
    // The numbers outlive the set.
    explicit CoreGroup(const CoreNumbers& numbers) : numbers_(&numbers) {}

    // Adds a core; toggles one. Throw InvalidParametersException "Core 9 doesn't exist." and "Core 9 is not
    // compatible with processor group 0"; the set is unchanged then. A set without cores takes any group.
    CoreGroup& operator|=(u64 core) { return add("CoreGroup::operator|=()", core, false); }
    CoreGroup& operator^=(u64 core) { return add("CoreGroup::operator^=()", core, true); }

    // Ascending.
    const std::vector<u32>& cores() const { return cores_; }

  private:
    CoreGroup& add(const char* function, u64 core, bool toggle);

    const CoreNumbers* numbers_;
    std::vector<u32> cores_;
};

// Ascending numbers of cores or processors, neighbours as ranges: "0, 2, 4", "0-3, 8"; "(none)" for none.
// However many cores a machine has, the list stays readable, and every list of cores is written like this.
std::string core_list_text(std::span<const u32> cores);

// What a person or a command line names.
struct CoreList {
    std::vector<u32> cores;      // ascending, each once; only those that exist
    std::optional<u64> missing;  // the first number that is none of the cores
};

// The inverse for `count` cores: numbers and ranges between commas, with blanks around either. Nothing for
// any other text: "", "4-2", "0-", "-1", "0,,1", numbers above 65535. No range is expanded beyond the cores
// that there are.
std::optional<CoreList> parse_core_list(std::string_view text, u64 count);

}  // namespace trel
