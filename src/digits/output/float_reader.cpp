#include "digits/output/float_reader.h"

#include <algorithm>

#include "base/errors/exceptions.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/files/word_digits.h"

namespace kalvor {

using trel::AlignedBufferC;
using trel::i64;
using trel::InvalidParametersException;
using trel::u64;
using trel::u8;
using trel::Word;

namespace {

constexpr u64 kMinScratchWords = 10;
constexpr u64 kSpareWords = 2;
constexpr u64 kFirstDigits = 50;

std::string integer_text(Word value, u8 radix) {
    std::string text;
    do {
        text.insert(text.begin(), "0123456789abcdef"[value % radix]);
        value /= radix;
    } while (value != 0);
    return text;
}

}  // namespace

FloatReaderB::FloatReaderB(Word integer_part, const Word* radix_words, u64 n, u64 total_digits)
    : BasicDigitReader(10), integer_(integer_part), fraction_{radix_words, n, n}, total_(total_digits) {
    if (total_digits > CBRv2::kDigitsPerWord * n) {
        throw InvalidParametersException("FloatReaderB::FloatReaderB()", "Object is out of range.");
    }
}

FloatReaderB::FloatReaderB(const trel::BigFloat& x, u64 total_digits)
    : BasicDigitReader(16),
      integer_(x.word_at(0)),
      fraction_(CBRv2::RadixFraction::of(x)),
      total_(total_digits) {
    if (x.mag() > 1 && x.L > 0) {
        throw InvalidParametersException("FloatReaderB::FloatReaderB()", "Object is out of range.");
    }
}

void FloatReaderB::check_range(const char* function, u64 start, u64 count) const {
    if (!is_in_range(start, count)) throw InvalidParametersException(function, "Out of range.");
}

std::string FloatReaderB::first_digits() const {
    const u64 n = std::min(total_, kFirstDigits);
    const u64 per_word = digits_per_word();
    Word words[kFirstDigits / 16 + 1];
    u8 values[(kFirstDigits / 16 + 1) * 19];
    const u64 count = (n + per_word - 1) / per_word;
    load_words(words, 0, count);
    (radix_ == 10 ? word_digits().decimal : word_digits().hexadecimal)(values, words, count);
    std::string text = integer_text(integer_, radix_) + ".";
    for (u64 i = 0; i < n; i++) text += "0123456789abcdef"[values[i]];
    return text;
}

u64 FloatReaderB::buffer_size(u64 count, u64 limit) const {
    const u64 words = count / digits_per_word() + 2 + kSpareWords;
    return trel::round_up_64(8 * std::max(kMinScratchWords, std::min(words, limit / 8)));
}

void FloatReaderB::load_words(Word* words, i64 start, u64 count) const {
    if (start < 0) {
        throw InvalidParametersException("FloatReaderB::load_words()",
                                         "Attempted to read in front of decimal place.");
    }
    // Word i after the point is words[L - 1 - i] of the fraction, where it is stored.
    const u64 L = fraction_.L;
    for (u64 i = 0; i < count; i++) {
        const u64 position = static_cast<u64>(start) + i;
        words[i] =
            position < L && L - 1 - position < fraction_.stored ? fraction_.words[L - 1 - position] : 0;
    }
}

void FloatReaderB::load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                               const trel::ParallelContext&) {
    check_range("FloatReaderB::load_digits()", start, count);
    if (scratch.words() < kMinScratchWords) {
        throw trel::BufferTooSmallException("FloatReaderB::load_digits()", scratch.words(), kMinScratchWords);
    }
    const u64 per_word = digits_per_word();
    const auto unpack = radix_ == 10 ? word_digits().decimal : word_digits().hexadecimal;
    Word* const words = scratch.word_pointer();
    const u64 piece = per_word * (scratch.words() - kSpareWords);
    const u64 end = start + count;
    while (start < end) {
        const u64 skip = start % per_word;
        if (skip != 0 || end - start < per_word) {  // a part of one word
            Word word;
            u8 digits[19];
            load_words(&word, static_cast<i64>(start / per_word), 1);
            unpack(digits, &word, 1);
            const u64 n = std::min(per_word - skip, end - start);
            values = std::copy_n(digits + skip, n, values);
            start += n;
            continue;
        }
        const u64 n = std::min(piece, end - start) / per_word;
        load_words(words, static_cast<i64>(start / per_word), n);
        unpack(values, words, n);
        values += n * per_word;
        start += n * per_word;
    }
}

void FloatReaderB::load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                              const trel::ParallelContext& context) {
    check_range("FloatReaderB::load_stats()", start, count);
    constexpr u64 kBlock = 19 * 16 * 32;
    u8 values[kBlock];
    while (count > 0) {
        const u64 n = std::min(kBlock, count);
        load_digits(values, start, n, scratch, context);
        digit_kernels().count(stats.counts.count.data(), values, n, radix_);
        stats.hash = extend_digit_hash(stats.hash, values, n, radix_);
        start += n;
        count -= n;
    }
}

}  // namespace kalvor
