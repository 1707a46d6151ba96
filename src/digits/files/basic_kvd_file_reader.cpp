#include "digits/files/basic_kvd_file_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/errors/exceptions.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "digits/files/digit_packing.h"
#include "digits/files/digit_parts.h"
#include "digits/files/word_digits.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

using FileIO::FileException;
using FileIO::kSectorBytes;
using FileIO::RawFile;

namespace {

constexpr const char* kReading = "BasicKvdFileReader::read_words()";
// A word may begin in one sector and end in the next, so that less than two may hold no whole word.
constexpr u64 kLeastWindow = 2 * kSectorBytes;
// Words that stay in the first-level cache with their digits.
constexpr u64 kBlockWords = 512;

// Headers take some 200 bytes; one that goes on is read on, up to 64 KiB in all before it becomes rare.
ParsedKvdHeader read_header(RawFile& file) {
    for (const u64 bytes : {kSectorBytes, 15 * kSectorBytes, kLongestKvdHeader}) {
        const GuardedBuffer head(bytes, kSectorBytes);
        const u64 got = file.load_available(head.get(), 0, bytes);
        if (auto parsed = parse_kvd_header({static_cast<const char*>(head.get()), got})) {
            return *std::move(parsed);
        }
        if (got < bytes) throw FileException("BufferedReader()", "Unexpected end of file.", file.path());
    }
    throw FileException("BasicKvdFileReader::BasicKvdFileReader()",
                        "This is not a .kvd file: its header has no end.", file.path());
}

}  // namespace

BasicKvdFileReader::BasicKvdFileReader(const std::string& path, const FileIO::FileCalls& calls)
    : BasicKvdFileReader(std::make_shared<RawFile>(path, FileIO::OpenMode::read, true, false, calls)) {}

BasicKvdFileReader::BasicKvdFileReader(const std::shared_ptr<RawFile>& file)
    : BasicKvdFileReader(file, read_header(*file)) {}

BasicKvdFileReader::BasicKvdFileReader(std::shared_ptr<RawFile> file, ParsedKvdHeader parsed)
    : BasicDigitReader(0),
      file_(std::move(file)),
      parsed_(std::move(parsed)),
      shape_(check_kvd_header(parsed_.header, file_->path())) {
    radix_ = shape_.radix;
}

bool BasicKvdFileReader::is_in_range(u64 start, u64 count) const {
    return start >= shape_.range.begin && start <= shape_.range.end && count <= shape_.range.end - start;
}

u64 BasicKvdFileReader::buffer_size(u64 count, u64 limit) const {
    const u64 bytes = (count / shape_.digits_per_word + 2) * 8;
    const u64 sectors = (bytes + kSectorBytes - 1) / kSectorBytes + 2;
    return std::min(sectors * kSectorBytes,
                    std::max(limit / kSectorBytes * kSectorBytes, kLeastWindow + kSectorBytes));
}

void BasicKvdFileReader::start_access(u64 start, u64 count) const {
    if (is_in_range(start, count)) return;
    const u64 end = count > ~start ? ~u64(0) : start + count;
    throw InvalidParametersException(
        "BasicKvdFileReader::start_access()",
        "BasicKvdFileReader::start_access()\nRead out of bounds.\nRequested Range: " +
            DigitRange{start, end}.text() + "\nAvailable Range: " + shape_.range.text());
}

u64 BasicKvdFileReader::load(void* window, u64 offset, u64 bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    try {
        return file_->load_available(window, offset, bytes);
    } catch (const FileException& error) {
        const std::size_t cause = std::min(error.message.find("\n\n"), error.message.size());
        throw FileException(kReading, "Read error." + error.message.substr(cause), error.path,
                            error.error_code);
    }
}

template <class Consume>
void BasicKvdFileReader::for_words(u64 first, u64 count, AlignedBufferC scratch, Consume consume) {
    if (count == 0) return;
    const u64 address = reinterpret_cast<std::uintptr_t>(scratch.get());
    const u64 skip = (kSectorBytes - address % kSectorBytes) % kSectorBytes;
    if (scratch.size() < skip + kLeastWindow) {
        throw BufferTooSmallException("BasicKvdFileReader::load_digits()", scratch.size(),
                                      skip + kLeastWindow);
    }
    u8* const window = static_cast<u8*>(scratch.get()) + skip;
    const u64 window_bytes = (scratch.size() - skip) / kSectorBytes * kSectorBytes;
    while (count > 0) {
        const u64 offset = parsed_.bytes + 8 * first;
        const u64 begin = offset / kSectorBytes * kSectorBytes;
        const u64 n = std::min(count, (window_bytes - (offset - begin)) / 8);
        const u64 needed = offset + 8 * n - begin;
        const u64 ask = (needed + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
        if (load(window, begin, ask) < needed) throw FileException(kReading, "Read error.", path());
        for (u64 i = 0; i < n; i += kBlockWords) {
            const u64 m = std::min(kBlockWords, n - i);
            Word words[kBlockWords];  // those in the file stand at any address
            std::memcpy(words, window + (offset - begin) + 8 * i, 8 * m);
            if (radix_ == 10 && !digit_packing().are_decimal(words, m)) {
                throw FileException(kReading, "Invalid Digit", path());
            }
            consume(words, first + i, m);
        }
        first += n;
        count -= n;
    }
}

void BasicKvdFileReader::read_words(Word* words, u64 first, u64 count, AlignedBufferC scratch) {
    if (first > shape_.words || count > shape_.words - first) {
        throw FileException(kReading, "Read error.", path());
    }
    for_words(first, count, scratch,
              [&](const Word* block, u64 at, u64 n) { std::memcpy(words + (at - first), block, 8 * n); });
}

void BasicKvdFileReader::load_digits_here(u8* values, u64 start, u64 count, AlignedBufferC scratch) {
    start_access(start, count);
    if (count == 0) return;
    const u64 k = shape_.digits_per_word;
    const auto unpack = radix_ == 10 ? word_digits().decimal : word_digits().hexadecimal;
    const u64 begin = start - shape_.range.begin, end = begin + count;
    for_words(begin / k, (end - 1) / k + 1 - begin / k, scratch, [&](const Word* words, u64 at, u64 n) {
        // Whole words go to their place; the first and the last may stand for more than was asked.
        u64 i = 0, m = n;
        const auto part = [&](u64 which) {
            u8 digits[19];
            unpack(digits, words + which, 1);
            const u64 word = (at + which) * k;
            const u64 from = std::max(begin, word), to = std::min(end, word + k);
            std::memcpy(values + (from - begin), digits + (from - word), to - from);
        };
        if (at * k < begin) part(i++);
        if (i < m && (at + m) * k > end) part(--m);
        unpack(values + ((at + i) * k - begin), words + i, m - i);
    });
}

void BasicKvdFileReader::load_stats_here(DigitRangeStats& stats, u64 start, u64 count,
                                         AlignedBufferC scratch) {
    start_access(start, count);
    if (count == 0) return;
    const u64 k = shape_.digits_per_word;
    const auto unpack = radix_ == 10 ? word_digits().decimal : word_digits().hexadecimal;
    const u64 begin = start - shape_.range.begin, end = begin + count;
    for_words(begin / k, (end - 1) / k + 1 - begin / k, scratch, [&](const Word* words, u64 at, u64 n) {
        u8 values[19 * kBlockWords];
        unpack(values, words, n);
        const u64 from = std::max(begin, at * k), to = std::min(end, (at + n) * k);
        digit_kernels().count(stats.counts.count.data(), values + (from - at * k), to - from, radix_);
        // Digits of the first and the last word that were not asked for do not belong to the hash.
        u64 i = 0, m = n;
        if (from > at * k) {
            const u64 last = std::min(to, (at + 1) * k);
            stats.hash = extend_digit_hash(stats.hash, values + (from - at * k), last - from, radix_);
            i++;
        }
        const bool cut = i < m && to < (at + m) * k;
        if (cut) m--;
        if (i < m) stats.hash = extend_word_hash(stats.hash, words + i, m - i, radix_);
        if (cut) stats.hash = extend_digit_hash(stats.hash, values + m * k, to - (at + m) * k, radix_);
    });
}

void BasicKvdFileReader::load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                                     const ParallelContext& parallel) {
    start_access(start, count);
    const u64 parts = count_parts(count, scratch.size(), parallel.tds);
    read_parts(parallel, parts, start, count, scratch, [&](u64, u64 begin, u64 n, AlignedBufferC own) {
        load_digits_here(values + (begin - start), begin, n, own);
    });
}

void BasicKvdFileReader::load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                                    const ParallelContext& parallel) {
    start_access(start, count);
    const u64 parts = count_parts(count, scratch.size(), parallel.tds);
    if (parts == 1) return load_stats_here(stats, start, count, scratch);
    PartialStats partial(radix_, parts);
    read_parts(parallel, parts, start, count, scratch, [&](u64 part, u64 begin, u64 n, AlignedBufferC own) {
        load_stats_here(partial[part], begin, n, own);
        partial.digits[part] = n;
    });
    partial.add_to(stats);
}

}  // namespace kalvor
