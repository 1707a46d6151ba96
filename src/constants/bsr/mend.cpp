#include "constants/bsr/mend.h"

#include "arith/multiply/product_check.h"

namespace kalvor::BinarySplitting {

std::string range_name(u64 a, u64 b) {
    return "series, terms " + std::to_string(a + 1) + " to " + std::to_string(b);
}

bool may_mend(const ParallelContext& parallel) {
    return may_correct(parallel);
}

std::string what_was_found(const Exception& error) {
    const auto* told = dynamic_cast<const StringException*>(&error);
    if (told == nullptr) return error.get_typename();
    return told->message.substr(0, told->message.find('\n'));
}

void range_was_mended(const ParallelContext& parallel, u64 a, u64 b, const std::string& found) {
    operation_was_corrected(parallel, "BSR_BlockB::run()", range_name(a, b), found);
}

}  // namespace kalvor::BinarySplitting
