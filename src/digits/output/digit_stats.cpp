#include "digits/output/digit_stats.h"

#include "arith/m61/m61.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/hash/sha256.h"
#include "digits/files/digit_kernels.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

namespace {

constexpr u64 kBufferLimit = u64(1) << 30;
constexpr u64 kPage = 4096;

// The characters of digits start + 1 .. start + count, and a zero byte.
GuardedBuffer characters(const char* function, BasicDigitReader& source, u64 start, u64 count) {
    const u8 radix = source.radix();
    if (radix != 10 && radix != 16) throw InvalidParametersException(function, "Invalid Radix.");
    GuardedBuffer text(count + 1, 64);
    const u64 bytes = round_up_64(source.buffer_size(count, kBufferLimit));
    const GuardedBuffer scratch(bytes, kPage);
    source.load_digits(text.bytes(), start, count, AlignedBufferC(scratch.get(), bytes), serial_context());
    if (!digit_kernels().to_text(static_cast<char*>(text.get()), text.bytes(), count, radix)) {
        throw AlgorithmFailedException(function, "Invalid Digit");
    }
    text.bytes()[count] = 0;
    return text;
}

}  // namespace

void LastDigits::set(u64 total, BasicDigitReader& source) {
    start = total >= 101 ? (total - 51) / 50 * 50 : 0;
    radix = source.radix();
    const GuardedBuffer digits = characters("LastDigits::set()", source, start, total - start);
    text.assign(static_cast<const char*>(digits.get()), total - start);
}

HashedDigits HashedDigits::make(BasicDigitReader& source, u64 start, u64 count) {
    const GuardedBuffer digits = characters("HashedDigits()", source, start, count);
    return {start, count, to_hex(trel::sha256({static_cast<const char*>(digits.get()), count}))};
}

std::string counts_text(const DigitCounts& counts) {
    std::string text = "{";
    for (u64 i = 0; i < counts.radix; i++) {
        if (i != 0) text += ", ";
        text += Console::format_number(counts.count[i]);
    }
    return text + "}";
}

u64 digit_hash(u64 integer_part, u64 fraction_hash, u8 radix, u64 digits) {
    return m61::canonical(
        m61::add(m61::mul(m61::fold(integer_part), m61::pow(radix, digits)), fraction_hash));
}

}  // namespace kalvor
