#include "digits/files/basic_text_writer.h"

#include <algorithm>

#include "base/errors/exceptions.h"
#include "digits/files/basic_text_reader.h"
#include "digits/files/digit_kernels.h"

namespace kalvor {

using FileIO::FileCalls;
using FileIO::FileException;
using FileIO::PublishedFile;

namespace {

u8 checked_radix(u8 radix) {
    if (radix != 10 && radix != 16) {
        throw InvalidParametersException("BasicTextWriter::BasicTextWriter()", "Invalid radix.");
    }
    return radix;
}

DigitFileShape shape_of(std::string_view first_digits, u64 total_digits, const std::string& path) {
    const std::size_t point = first_digits.find('.');
    if (point == std::string_view::npos) {
        throw FileException("TextWriter::TextWriter()", "No decimal place was found.", path);
    }
    return {std::string(first_digits.substr(0, point + 1)), point + 1 + total_digits, 0, total_digits};
}

// An error in the digits is reported before a file is made for them.
std::unique_ptr<PublishedFile> make_file(const std::string& base_path, std::string_view first_digits,
                                         u8 radix, const FileCalls& calls) {
    checked_radix(radix);
    shape_of(first_digits, 0, base_path);
    return std::make_unique<PublishedFile>(BasicTextWriter::incomplete_path(base_path),
                                           BasicTextWriter::final_path(base_path), calls);
}

}  // namespace

BasicTextWriter::BasicTextWriter(const std::string& base_path, std::string_view first_digits, u8 radix,
                                 u64 total_digits, u64 buffer_bytes, Warnings* warnings,
                                 const FileCalls& calls)
    : radix_(radix),
      window_(make_file(base_path, first_digits, radix, calls), nullptr,
              shape_of(first_digits, total_digits, base_path), buffer_bytes, warnings) {}

BasicTextWriter::BasicTextWriter(PublishedFile& file, std::string_view first_digits, u8 radix,
                                 u64 total_digits, u64 buffer_bytes, Warnings* warnings, AlignedBufferC lent)
    : radix_(checked_radix(radix)),
      window_(nullptr, &file, shape_of(first_digits, total_digits, file.final_path()), buffer_bytes, warnings,
              lent) {}

void BasicTextWriter::store_digits(const u8* values, u64 start, u64 count, AlignedBufferC,
                                   const ParallelContext&) {
    const DigitKernels& kernels = digit_kernels();
    const auto lock = window_.lock();
    constexpr const char* kFunction = "BasicTextWriter::store_digits()";
    if (!window_.takes_digits()) throw InvalidParametersException(kFunction, "File is closed.");
    const u64 total = window_.shape().end;
    if (start > total || count > total - start) throw InvalidParametersException(kFunction, "Out of range.");
    if (count == 0) return;
    // A refused range must not spoil what stands there or behind it in the window: forget() drops both.
    if (window_.overlaps_written(start, total) && !are_digits(values, count, radix_)) {
        throw InvalidParametersException(kFunction, "Invalid Digit");
    }
    window_.seek(window_.shape().head.size() + start);
    for (u64 done = 0; done < count;) {
        const std::span<u8> room = window_.room(1);
        const u64 n = std::min<u64>(count - done, room.size());
        if (!kernels.to_text(reinterpret_cast<char*>(room.data()), values + done, n, radix_)) {
            window_.forget();
            throw InvalidParametersException(kFunction, "Invalid Digit");
        }
        window_.advance(n);
        done += n;
    }
    window_.mark_written(start, start + count);
}

std::unique_ptr<BasicDigitReader> BasicTextWriter::read_back() {
    window_.require_finished("BasicTextWriter::read_back()");
    return std::make_unique<BasicTextReader>(window_.file().shared_file(), radix_);
}

std::unique_ptr<BasicDigitReader> BasicTextWriter::close_and_get_basic_reader() {
    close();
    return std::make_unique<BasicTextReader>(final_path(), radix_, window_.file().file().calls());
}

}  // namespace kalvor
