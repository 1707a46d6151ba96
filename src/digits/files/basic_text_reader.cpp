#include "digits/files/basic_text_reader.h"

#include <algorithm>
#include <cstdint>

#include "base/errors/exceptions.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

using FileIO::FileException;
using FileIO::kSectorBytes;

namespace {

constexpr u64 kHeadBytes = 64;

u8 detect_radix(const std::string& head) {
    for (const char c : head) {
        if (c >= 'a' && c <= 'f') return 16;
        if (c != '.' && (c < '0' || c > '9')) {
            throw StringException("TextReader::BasicTextReader()", "Invalid Digit");
        }
    }
    return 10;
}

[[noreturn]] void throw_invalid_digit() {
    throw InvalidParametersException("BasicTextReader::process_txt()", "Invalid Digit");
}

}  // namespace

BasicTextReader::BasicTextReader(const std::string& path, u8 radix, const FileIO::FileCalls& calls)
    : BasicTextReader(std::make_shared<FileIO::RawFile>(path, FileIO::OpenMode::read, true, false, calls),
                      radix) {}

BasicTextReader::BasicTextReader(std::shared_ptr<FileIO::RawFile> file, u8 radix)
    : BasicDigitReader(radix), file_(std::move(file)) {
    if (radix != 0 && radix != 10 && radix != 16) {
        throw InvalidParametersException("BasicTextReader::BasicTextReader()", "Invalid Radix");
    }
    const GuardedBuffer sector(kSectorBytes, kSectorBytes);
    const u64 got = file_->load_available(sector.get(), 0, kSectorBytes);
    head_.assign(static_cast<const char*>(sector.get()), std::min(got, kHeadBytes));
    if (radix_ == 0) radix_ = detect_radix(head_);
    const std::size_t point = head_.find('.');
    if (point == std::string::npos) {
        throw FileException("BasicTextReader::BasicTextReader()", kNoPoint, file_->path());
    }
    digits_offset_ = point + 1;
    total_digits_ = file_->size() - digits_offset_;
}

u64 BasicTextReader::buffer_size(u64 count, u64 limit) const {
    const u64 whole = (count / kSectorBytes + 1 + (count % kSectorBytes != 0)) * kSectorBytes;
    return std::min(whole, std::max(limit, kSectorBytes));
}

template <class Consume>
void BasicTextReader::read_range(u64 start, u64 count, AlignedBufferC scratch, Consume consume) {
    if (!is_in_range(start, count))
        throw InvalidParametersException("BasicTextReader::load_stats()", "Out of range.");
    if (count == 0) return;
    const u64 address = reinterpret_cast<std::uintptr_t>(scratch.get());
    const u64 skip = (kSectorBytes - address % kSectorBytes) % kSectorBytes;
    if (scratch.size() < skip + kSectorBytes) {
        throw BufferTooSmallException("BasicTextReader::load_digits()", scratch.size(), skip + kSectorBytes);
    }
    char* const window = static_cast<char*>(scratch.get()) + skip;
    const u64 window_bytes = (scratch.size() - skip) / kSectorBytes * kSectorBytes;

    u64 position = digits_offset_ + start;
    const u64 end = position + count;
    while (position < end) {
        const u64 window_start = position / kSectorBytes * kSectorBytes;
        const u64 needed = end - window_start;
        const u64 ask =
            needed >= window_bytes ? window_bytes : (needed + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
        u64 got;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            got = file_->load_available(window, window_start, ask);
        }
        const u64 last = std::min(window_start + ask, end);
        if (window_start + got < last) {
            throw FileException("BasicTextReader::load_stats()", "Incomplete read.", file_->path());
        }
        consume(window + (position - window_start), position - digits_offset_ - start, last - position);
        position = last;
    }
}

void BasicTextReader::load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                                  const ParallelContext&) {
    const DigitKernels& kernels = digit_kernels();
    read_range(start, count, scratch, [&](const char* text, u64 offset, u64 n) {
        if (!kernels.to_values(values + offset, text, n, radix_)) throw_invalid_digit();
    });
}

void BasicTextReader::load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                                 const ParallelContext&) {
    const DigitKernels& kernels = digit_kernels();
    // Blocks that stay in the first-level cache through the three passes.
    constexpr u64 kBlock = 16384;
    u8 values[kBlock];
    read_range(start, count, scratch, [&](const char* text, u64, u64 n) {
        for (u64 i = 0; i < n; i += kBlock) {
            const u64 m = std::min(kBlock, n - i);
            if (!kernels.to_values(values, text + i, m, radix_)) throw_invalid_digit();
            kernels.count(stats.counts.count.data(), values, m, radix_);
            stats.hash = extend_digit_hash(stats.hash, values, m, radix_);
        }
    });
}

}  // namespace kalvor
