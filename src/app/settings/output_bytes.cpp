#include "app/settings/output_bytes.h"

#include "digits/output/output_files.h"

namespace kalvor {

u64 output_bytes(const ComputeSettings& settings) {
    if (!settings.output_enable) return 0;
    const auto bytes = [&](u8 radix, u64 digits) {
        OutputFiles::Request request{radix, "", digits};
        request.set_digits_per_file(static_cast<u64>(settings.digits_per_file));
        return digit_format(request.format)
            .exact_bytes(request.amount(), settings.constant->integer_digits(radix));
    };
    return bytes(10, settings.size.decimal_digits) +
           (settings.enable_hex ? bytes(16, settings.size.hexadecimal_digits) : 0);
}

}  // namespace kalvor
