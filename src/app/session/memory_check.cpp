#include "app/session/memory_check.h"

#include <algorithm>

#include "base/console/format.h"
#include "base/errors/plain_words.h"

namespace kalvor {

namespace {

constexpr const char* kNoAddressSpace = "Insufficient Address Space";
// Menus and settings files lead here too.
constexpr const char* kWayOut = "Choose fewer digits. On a command line -force:1 runs it anyway.";
constexpr const char* kSeeHelp = "See \"kalvor help custom\".";

bool exceeds(u64 needed, u64 there) {
    return there != 0 && needed > there;
}

std::string without_blank(const std::string& size) {
    return size.front() == ' ' ? size.substr(1) : size;
}

}  // namespace

std::string memory_figures(u64 needed, u64 free, u64 digits) {
    const std::string need = without_blank(Console::format_bytes(needed));
    std::string rest = without_blank(Console::format_bytes(free));
    // The unit is said once.
    const std::string unit = need.substr(need.find(' '));
    if (rest.substr(rest.find(' ')) == unit) rest.resize(rest.find(' '));
    return "needs " + need + ", " + rest + " are free: " +
           (digits == 0 ? "not even the smallest size fits"
                        : "at most " + Console::format_commas(digits) + " digits");
}

std::string address_space_error(const os::MemoryStatus& machine, u64 bytes) {
    return exceeds(bytes, machine.address_space) ? kNoAddressSpace : "";
}

std::string physical_memory_warning(const os::MemoryStatus& machine, u64 bytes) {
    if (exceeds(bytes, machine.total_physical)) return "There is insufficient physical memory.";
    if (exceeds(bytes, machine.available_physical)) return "There is insufficient available physical memory.";
    return {};
}

AddressSpaceExceeded::AddressSpaceExceeded(const std::string& figures)
    : RunError(kNoAddressSpace, {{' ', "\n"},
                                 {'R', figures + " Choose fewer digits.\n" + kSeeHelp + "\n"},
                                 {'w', "\n"},
                                 {'R', std::string(kNoAddressSpace) + "\n"},
                                 {'w', "Fatal error encountered. Terminating program.\n"}}),
      figures(figures) {}

void check_memory(const os::MemoryStatus& machine, const MemoryDemand& demand, Status& status) {
    const u64 needed = demand.bytes;
    if (!address_space_error(machine, needed).empty()) {
        u64 there = machine.address_space;
        if (machine.available_physical != 0) there = std::min(there, machine.available_physical);
        throw AddressSpaceExceeded("The run " + memory_figures(needed, there, demand.digits_that_fit(there)) +
                                   ".");
    }
    const std::string what = physical_memory_warning(machine, needed);
    if (what.empty()) return;

    const u64 free = machine.available_physical != 0 ? machine.available_physical : machine.total_physical;
    const u64 fit = demand.digits_that_fit(free);
    const std::string figures = "The computation " + memory_figures(needed, free, fit) + ".";
    if (!demand.forced && exceeds(needed, machine.total_physical) &&
        needed - machine.total_physical > machine.total_swap) {
        throw ExplainedException(what + "\n" + figures + "\n" + kWayOut,
                                 "The run does not fit into this machine's memory: it " +
                                     memory_figures(needed, free, fit) + ". " + kWayOut + "\n" + kSeeHelp);
    }
    status.Warning(what);
    status.Warning(figures);
    status.Warning(
        "Insufficient memory may lead to virtual memory thrashing which can cause severe\n"
        "performance degradation and/or system unresponsiveness.");
}

}  // namespace kalvor
