#include "digits/files/basic_digit_reader.h"

#include "digits/files/basic_digit_writer.h"

namespace kalvor {

BasicDigitReader::~BasicDigitReader() = default;
BasicDigitWriter::~BasicDigitWriter() = default;

bool BasicDigitReader::is_in_range(trel::u64 start, trel::u64 count) const {
    const trel::u64 total = total_digits();
    return start <= total && count <= total - start;
}

}  // namespace kalvor
