#include "app/session/start_check.h"

#include "app/session/memory_check.h"
#include "app/session/memory_plan.h"
#include "base/status/silent_status.h"
#include "platform/fileio/output_folder.h"

namespace kalvor {

std::vector<OutputFiles::Request> digit_file_requests(const ComputeSettings& settings) {
    std::vector<OutputFiles::Request> requests;
    const auto add = [&](u8 radix, const char* name, u64 digits) {
        requests.push_back(
            {radix, settings.constant->name_short() + name + settings.constant->algorithm_short(), digits});
        requests.back().set_digits_per_file(static_cast<u64>(settings.digits_per_file));
    };
    if (settings.output_enable && settings.enable_hex) add(16, " - Hex - ", settings.size.hexadecimal_digits);
    if (settings.output_enable) add(10, " - Dec - ", settings.size.decimal_digits);
    return requests;
}

void check_start(const ComputeSettings& settings, const os::MemoryStatus& machine) {
    SilentStatus silent{Work()};
    check_memory(machine,
                 {RunPlan::make(settings, settings.size).memory.total(),
                  [&](u64 bytes) { return digits_that_fit(settings, bytes); }, settings.force},
                 silent);
    OutputFiles::check(FileIO::folder_prefix(settings.path), digit_file_requests(settings),
                       {.overwrite = settings.overwrite});
}

}  // namespace kalvor
