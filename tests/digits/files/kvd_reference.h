// Compressed digit files from their definition, and helpers of their tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "digits/files/basic_digit_reader.h"
#include "digits/files/loaded_digits.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {
namespace {

using kalvor_test::load;
using trel::serial_context;
using trel::u32;
using trel::u64;
using trel::u8;
using trel::Word;

const std::string kPi50 = "3.14159265358979323846264338327950288419716939937510";

inline std::string with_crlf(const std::string& text) {
    std::string out;
    for (const char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return out;
}

// The bytes of one file of a set. digits: of the whole set, or at least to the end of this file.
inline std::string reference_kvd(const std::string& first, u32 radix, u64 D, u64 total_in_header, u64 id,
                                 const std::vector<u8>& digits) {
    std::string bytes = with_crlf(
        "#Compressed Digit File\n\nFileVersion:\t1.1.0\n\nBase:\t" + std::to_string(radix) +
        "\n\nFirstDigits:\t" + first + "\n\nTotalDigits:\t" + std::to_string(total_in_header) +
        "\n\nBlocksize:\t" + std::to_string(D) + "\nBlockID:\t" + std::to_string(id) + "\n\nEndHeader\n\n");
    bytes += '\0';
    const u64 per_word = radix == 10 ? 19 : 16;
    const u64 end = std::min<u64>(digits.size(), (id + 1) * D);
    for (u64 at = id * D; at < end; at += per_word) {
        u64 word = 0;
        for (u64 i = at; i < at + per_word; i++) word = word * radix + (i < end ? digits[i] : 0);
        for (int byte = 0; byte < 8; byte++) bytes += static_cast<char>(word >> (8 * byte));
    }
    return bytes;
}

inline std::vector<u8> random_digits(u64 n, u32 radix, u64 seed) {
    std::mt19937_64 random(seed);
    std::vector<u8> values(n);
    for (u8& v : values) v = static_cast<u8>(random() % radix);
    return values;
}

// The words of the digits, and of zeros behind them.
inline std::vector<Word> words_of(const std::vector<u8>& digits, u32 radix) {
    const u64 per_word = radix == 10 ? 19 : 16;
    std::vector<Word> words;
    for (u64 at = 0; at < digits.size(); at += per_word) {
        Word word = 0;
        for (u64 i = at; i < at + per_word; i++) word = word * radix + (i < digits.size() ? digits[i] : 0);
        words.push_back(word);
    }
    return words;
}

inline DigitRangeStats stats_of(BasicDigitReader& reader, u64 start, u64 count, u64 scratch_bytes = 1 << 16,
                                const trel::ParallelContext& parallel = serial_context()) {
    const trel::GuardedBuffer scratch(scratch_bytes, 4096);
    DigitRangeStats stats(reader.radix());
    reader.load_stats(stats, start, count, trel::AlignedBufferC(scratch.get(), scratch_bytes), parallel);
    return stats;
}

inline DigitRangeStats reference_stats(const std::vector<u8>& digits, u64 start, u64 count, u8 radix) {
    DigitRangeStats stats(radix);
    for (u64 i = start; i < start + count; i++) {
        stats.counts.count[digits[i]]++;
        stats.hash = static_cast<u64>((static_cast<trel::u128>(stats.hash) * radix + digits[i]) %
                                      ((u64(1) << 61) - 1));
    }
    return stats;
}

template <class F>
std::string refusal_of(F f) {
    try {
        f();
    } catch (const trel::StringException& e) {
        return std::string(e.get_typename()) + "|" + e.function + "|" + e.message;
    } catch (const trel::FileIO::FileException& e) {
        return std::string(e.get_typename()) + "|" + e.function + "|" + e.message;
    }
    return "nothing thrown";
}

}  // namespace
}  // namespace kalvor
