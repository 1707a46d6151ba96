#include "app/session/memory_check.h"

#include <algorithm>

#include "base/console/error_output.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"

namespace kalvor {

namespace {

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
    return exceeds(bytes, machine.address_space) ? "Insufficient Address Space" : "";
}

std::string physical_memory_warning(const os::MemoryStatus& machine, u64 bytes) {
    if (exceeds(bytes, machine.total_physical)) return "There is insufficient physical memory.";
    if (exceeds(bytes, machine.available_physical)) return "There is insufficient available physical memory.";
    return {};
}

void check_memory(const os::MemoryStatus& machine, const MemoryDemand& demand, Status& status) {
    const u64 needed = demand.bytes;
    if (const std::string error = address_space_error(machine, needed); !error.empty()) {
        u64 there = machine.address_space;
        if (machine.available_physical != 0) there = std::min(there, machine.available_physical);
        Console::print_problem("The run " + memory_figures(needed, there, demand.digits_that_fit(there)) +
                               ". Choose fewer digits with -dec:<n>.\n" + kSeeHelp);
        status.FatalError(error);
    }
    const std::string what = physical_memory_warning(machine, needed);
    if (what.empty()) return;

    const u64 free = machine.available_physical != 0 ? machine.available_physical : machine.total_physical;
    const u64 fit = demand.digits_that_fit(free);
    const std::string figures = "The computation " + memory_figures(needed, free, fit) + ".";
    if (!demand.forced && exceeds(needed, machine.total_physical) &&
        needed - machine.total_physical > machine.total_swap) {
        Console::print_problem(
            "The run does not fit into this machine's memory: it " + memory_figures(needed, free, fit) +
            ". Choose fewer digits with -dec:<n>, or run it anyway with -force:1.\n" + kSeeHelp);
        throw InvalidParametersException(
            "", what + "\n" + figures + "\nChoose fewer digits, or run it anyway with -force:1.");
    }
    status.Warning(what);
    status.Warning(figures);
    status.Warning(
        "Insufficient memory may lead to virtual memory thrashing which can cause severe\n"
        "performance degradation and/or system unresponsiveness.");
}

}  // namespace kalvor
