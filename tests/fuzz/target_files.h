// Digit files and tables of digits. Their readers need rooms with kernels, so that libFuzzer's program does
// not have these targets: the tests replay them.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "digits/files/basic_kvd_file_reader.h"
#include "digits/files/basic_text_reader.h"
#include "digits/files/digit_hash.h"
#include "digits/files/word_digits.h"
#include "digits/output/spot_check.h"
#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "platform/memory/guarded_heap.h"
#include "platform/parallel/basic_parallelizer.h"

namespace fuzz {

// Digits start + 1 ... start + count, by both roads of a reader: the digits, and their statistics.
inline std::vector<trel::u8> read_both_ways(kalvor::BasicDigitReader& reader, trel::u64 start,
                                            trel::u64 count) {
    using namespace kalvor;
    constexpr std::size_t kSector = 4096;
    const u64 bytes = round_up_64(std::max<u64>(reader.buffer_size(count, kSector), 1)) + 4 * kSector;
    const trel::GuardedBuffer memory(bytes, kSector);
    const trel::AlignedBufferC scratch(memory.get(), bytes);
    std::vector<trel::u8> digits(count);
    reader.load_digits(digits.data(), start, count, scratch, trel::serial_context());
    DigitRangeStats stats(reader.radix());
    reader.load_stats(stats, start, count, scratch, trel::serial_context());
    require(std::all_of(digits.begin(), digits.end(), [&](trel::u8 d) { return d < reader.radix(); }),
            "digits are those of the radix");
    require(stats.hash == extend_digit_hash(0, digits.data(), count, reader.radix()),
            "both roads give the same hash");
    for (trel::u8 d = 0; d < reader.radix(); d++) {
        require(stats.counts.count[d] == static_cast<trel::u64>(std::count(digits.begin(), digits.end(), d)),
                "both roads give the same counts");
    }
    return digits;
}

// A text file of digits.
inline void digit_text(std::string_view bytes) {
    using namespace kalvor;
    const trel::FileIO::FileCalls calls = memory_file(bytes);
    try {
        BasicTextReader reader("x.txt", 0, calls);
        const std::string first = reader.first_digits();
        require(bytes.starts_with(first) && first.size() <= 64, "first digits are the file's");
        const std::size_t point = first.find('.');
        require(point != std::string::npos, "a point stands among the first digits");
        require(reader.total_digits() == bytes.size() - point - 1, "what is behind the point are the digits");
        require(!reader.is_in_range(0, reader.total_digits() + 1), "there are no others");
        const u64 n = reader.total_digits();
        const std::vector<u8> digits = read_both_ways(reader, 0, n);
        for (u64 i = 0; i < n; i++) {
            require("0123456789abcdef"[digits[i]] == bytes[point + 1 + i], "digits are what stands there");
        }
    } catch (const trel::Exception& refusal) {
        require(*refusal.get_typename() != '\0', "a refusal is one of the program's");
    }
}

// A compressed file of digits, header and data.
inline void kvd_file(std::string_view bytes) {
    using namespace kalvor;
    const trel::FileIO::FileCalls calls = memory_file(bytes);
    try {
        BasicKvdFileReader reader("x - 0.kvd", calls);
        const DigitRange range = reader.get_range();
        // Whatever a header promises: only digits that the file has are read.
        const u64 promised = range.end - range.begin;
        const u64 n = std::min<u64>(promised, 2000);
        const std::vector<u8> first = read_both_ways(reader, range.begin, n);
        require(bytes.size() >= (n - 1) / reader.digits_per_word() * 8 + 8, "digits stand in words");
        // From the middle of a word.
        if (n > 7) {
            const std::vector<u8> rest = read_both_ways(reader, range.begin + 7, n - 7);
            require(std::equal(rest.begin(), rest.end(), first.begin() + 7), "a range is a part of the file");
        }
    } catch (const trel::Exception& refusal) {
        require(*refusal.get_typename() != '\0', "a refusal is one of the program's");
    }
}

// A table of digits at positions, against a number whose digits are all 1.
inline void spot_check(std::string_view bytes) {
    using namespace kalvor;
    constexpr u64 kOnes = 1111111111;
    const SpotCheckTable table = parse_spot_check_table(bytes);
    const auto lines = static_cast<u64>(std::count(bytes.begin(), bytes.end(), '\n')) + 1;
    require(table.entries.size() + table.duplicates <= lines, "an entry a line");
    require(table.entries.empty() || table.entries.begin()->first >= 10, "ten digits end at a position");
    std::string again;
    for (const auto& [position, value] : table.entries) {
        again += std::to_string(position) + " | " + std::to_string(value) + "\n";
    }
    require(parse_spot_check_table(again).entries == table.entries,
            "what was read is written and read again");

    constexpr u64 kDigits = 500;
    const std::string ones = "3." + std::string(kDigits, '1');
    const trel::FileIO::FileCalls number = memory_file(ones), file = memory_file(bytes);
    BasicTextReader reader("x.txt", 10, number);
    const SpotCheck check = kalvor::spot_check(reader, kDigits, "Pi", "", file);
    u64 last_good = 0, wrong = 0;
    for (const auto& [position, value] : table.entries) {
        if (position > kDigits) break;
        if (value != kOnes) {
            wrong = position;
            break;
        }
        last_good = position;
    }
    require(check.last_good == last_good, "positions up to the first wrong one are good");
    require(wrong == 0 || check.position == -static_cast<i64>(wrong), "the first wrong one is told");
    require(wrong != 0 || check.position == static_cast<i64>(last_good), "or the last good one");
    require(check.duplicates == table.duplicates, "repeated positions are counted");
}

}  // namespace fuzz
