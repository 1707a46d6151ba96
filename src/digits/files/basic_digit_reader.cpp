#include "digits/files/basic_digit_reader.h"

#include "base/console/format.h"
#include "digits/files/basic_digit_writer.h"

namespace kalvor {

BasicDigitReader::~BasicDigitReader() = default;
BasicDigitWriter::~BasicDigitWriter() = default;

void BasicDigitWriter::store_words(const DigitWords& digits, u64 start, u64 count, AlignedBufferC scratch,
                                   const ParallelContext& parallel) {
    store_digits(digits.values + (start - digits.start), start, count, scratch, parallel);
}

u64 BasicDigitWriter::buffer_size(u64, u64) const {
    return 0;
}

bool BasicDigitReader::is_in_range(u64 start, u64 count) const {
    const u64 total = total_digits();
    return start <= total && count <= total - start;
}

std::string BasicDigitReader::what_is_missing(u64, u64) const {
    const u64 total = total_digits();
    return total == 0 ? "There are no digits behind the point."
                      : "The last digit is number " + Console::format_commas(total) + ".";
}

}  // namespace kalvor
