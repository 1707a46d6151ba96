#include "digits/files/basic_digit_reader.h"

#include "digits/files/basic_digit_writer.h"

namespace kalvor {

BasicDigitReader::~BasicDigitReader() = default;
BasicDigitWriter::~BasicDigitWriter() = default;

void BasicDigitWriter::store_words(const DigitWords& digits, trel::u64 start, trel::u64 count,
                                   trel::AlignedBufferC scratch, const trel::ParallelContext& parallel) {
    store_digits(digits.values + (start - digits.start), start, count, scratch, parallel);
}

trel::u64 BasicDigitWriter::buffer_size(trel::u64, trel::u64) const {
    return 0;
}

bool BasicDigitReader::is_in_range(trel::u64 start, trel::u64 count) const {
    const trel::u64 total = total_digits();
    return start <= total && count <= total - start;
}

}  // namespace kalvor
