#include "app/session/custom_settings.h"

#include "base/console/console.h"

namespace kalvor {

namespace {

constexpr trel::u64 kDefaultDecimalDigits = 50000000;

}  // namespace

CustomSettings::CustomSettings()
    : constant(make_constant("pi")),
      size(ComputeSize::from_decimal(kDefaultDecimalDigits)),
      parallelism(trel::ParallelismSettings::defaults()),
      allocator(trel::make_default_allocator_config(trel::kDefaultAllocator)) {}

void CustomSettings::set_decimal_digits(trel::i64 digits) {
    std::string warning;
    size = ComputeSize::from_decimal(clamp_decimal_digits(digits, constant->max_decimal_digits(), warning));
    if (!warning.empty()) trel::Console::labelled_line("Warning", warning, 'Y');
}

}  // namespace kalvor
