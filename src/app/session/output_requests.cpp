#include "app/session/output_requests.h"

namespace kalvor {

std::vector<OutputFiles::Request> output_requests(const ComputeSettings& settings) {
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

}  // namespace kalvor
