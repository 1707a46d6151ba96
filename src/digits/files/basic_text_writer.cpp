#include "digits/files/basic_text_writer.h"

#include <algorithm>
#include <cstring>

#include "base/command_line/shown_text.h"
#include "base/errors/exceptions.h"
#include "digits/files/basic_text_reader.h"
#include "digits/files/digit_kernels.h"

namespace kalvor {

using trel::InvalidParametersException;
using trel::u64;
using trel::u8;
using trel::FileIO::FileException;
using trel::FileIO::kSectorBytes;
using trel::FileIO::PublishedFile;

namespace {

u8 checked_radix(u8 radix) {
    if (radix != 10 && radix != 16) {
        throw InvalidParametersException("BasicTextWriter::BasicTextWriter()", "Invalid radix.");
    }
    return radix;
}

u64 after_point(std::string_view first_digits, const std::string& path) {
    const std::size_t point = first_digits.find('.');
    if (point == std::string_view::npos) {
        throw FileException("TextWriter::TextWriter()", "No decimal place was found.", path);
    }
    return point + 1;
}

// What is wrong with the digits is told before a file is made for them.
std::unique_ptr<PublishedFile> make_file(const std::string& base_path, std::string_view first_digits,
                                         u8 radix) {
    checked_radix(radix);
    after_point(first_digits, base_path);
    return std::make_unique<PublishedFile>(BasicTextWriter::incomplete_path(base_path),
                                           BasicTextWriter::final_path(base_path));
}

u64 whole_sectors(u64 bytes) {
    return (bytes + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
}

}  // namespace

BasicTextWriter::BasicTextWriter(const std::string& base_path, std::string_view first_digits, u8 radix,
                                 u64 total_digits, u64 buffer_bytes, trel::Warnings* warnings)
    : BasicTextWriter(make_file(base_path, first_digits, radix), nullptr, first_digits, radix, total_digits,
                      buffer_bytes, warnings) {}

BasicTextWriter::BasicTextWriter(PublishedFile& file, std::string_view first_digits, u8 radix,
                                 u64 total_digits, u64 buffer_bytes, trel::Warnings* warnings)
    : BasicTextWriter(nullptr, &file, first_digits, radix, total_digits, buffer_bytes, warnings) {}

BasicTextWriter::BasicTextWriter(std::unique_ptr<PublishedFile> own, PublishedFile* file,
                                 std::string_view first_digits, u8 radix, u64 total_digits, u64 buffer_bytes,
                                 trel::Warnings* warnings)
    : radix_(checked_radix(radix)),
      total_digits_(total_digits),
      digits_offset_(after_point(first_digits, own ? own->final_path() : file->final_path())),
      own_(std::move(own)),
      file_(own_ ? *own_ : *file),
      warnings_(warnings),
      buffer_(std::max(whole_sectors(buffer_bytes), whole_sectors(digits_offset_) + kSectorBytes),
              kSectorBytes) {
    std::memcpy(buffer_.get(), first_digits.data(), digits_offset_);
    fill_ = end_ = digits_offset_;
}

BasicTextWriter::~BasicTextWriter() {
    try {
        // What was finished and not published did not pass its check.
        if (is_finished_ && !is_closed_) {
            file_.leave();
        } else {
            close();
        }
    } catch (const trel::Exception& error) {
        error.print();
    }
}

// Brings the window's whole sectors into the file. The part of the last one behind the fill is what the file
// holds there, or zeros.
void BasicTextWriter::write_window() {
    if (flushed_ == fill_) return;
    failed_ = true;  // until it is done
    u8* const bytes = buffer_.bytes();
    const u64 size = whole_sectors(fill_);
    if (size != fill_) {
        const u64 last_sector = window_ + size - kSectorBytes;
        const u64 keep = fill_ % kSectorBytes;
        if (last_sector < extent_) {
            trel::GuardedBuffer sector(kSectorBytes, kSectorBytes);
            file_.file().load(sector.get(), last_sector, kSectorBytes);
            std::memcpy(bytes + fill_, sector.bytes() + keep, kSectorBytes - keep);
        } else {
            std::memset(bytes + fill_, 0, size - fill_);
        }
    }
    file_.file().store(bytes, window_, size);
    extent_ = std::max(extent_, window_ + size);
    flushed_ = fill_;
    failed_ = false;
}

// Makes `offset` the end of the window.
void BasicTextWriter::seek(u64 offset) {
    if (offset == window_ + fill_) return;
    write_window();
    const u64 window = offset / kSectorBytes * kSectorBytes;
    if (window < extent_) {
        file_.file().load(buffer_.get(), window, kSectorBytes);
    } else {
        std::memset(buffer_.get(), 0, kSectorBytes);
    }
    window_ = window;
    fill_ = flushed_ = offset - window;
}

void BasicTextWriter::store_digits(const u8* values, u64 start, u64 count, trel::AlignedBufferC,
                                   const trel::ParallelContext&) {
    const DigitKernels& kernels = digit_kernels();
    const std::lock_guard<std::mutex> lock(mutex_);
    constexpr const char* kFunction = "BasicTextWriter::store_digits()";
    if (is_closed_ || is_finished_) throw InvalidParametersException(kFunction, "File is closed.");
    if (start > total_digits_ || count > total_digits_ - start) {
        throw InvalidParametersException(kFunction, "Out of range.");
    }
    if (count == 0) return;
    seek(digits_offset_ + start);
    for (u64 done = 0; done < count;) {
        if (fill_ == buffer_.size()) {
            write_window();
            window_ += fill_;
            fill_ = flushed_ = 0;
        }
        const u64 n = std::min(count - done, buffer_.size() - fill_);
        if (!kernels.to_text(reinterpret_cast<char*>(buffer_.bytes()) + fill_, values + done, n, radix_)) {
            throw InvalidParametersException(kFunction, "Invalid Digit");
        }
        fill_ += n;
        done += n;
    }
    end_ = std::max(end_, digits_offset_ + start + count);
    written_.add(start, start + count);
}

void BasicTextWriter::warn_incomplete() const {
    if (warnings_ == nullptr) return;
    std::vector<trel::Warnings::Line> lines{{"Warning, closing incomplete file", ' ', true},
                                            {trel::CommandLine::shown_path(incomplete_path()), 'R'}};
    for (std::string& line : written_.lines()) lines.push_back({std::move(line), 'R'});
    warnings_->add(std::move(lines));
}

void BasicTextWriter::finish_locked() {
    write_window();
    failed_ = true;  // until it is done
    file_.complete(end_);
    failed_ = false;
    is_finished_ = true;
}

void BasicTextWriter::finish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_closed_ || is_finished_) return;
    if (!is_complete()) {
        throw FileException("BasicTextWriter::finish()", "Not all digits were written.", incomplete_path());
    }
    finish_locked();
}

std::unique_ptr<BasicDigitReader> BasicTextWriter::read_back() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_finished_) {
        throw InvalidParametersException("BasicTextWriter::read_back()", "The file is not finished.");
    }
    return std::make_unique<BasicTextReader>(file_.shared_file(), radix_);
}

void BasicTextWriter::publish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
    file_.publish();
}

void BasicTextWriter::abandon() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
}

void BasicTextWriter::close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_closed_) return;
    is_closed_ = true;
    // Whatever fails, the file is not left open for a second attempt.
    struct Closer {
        PublishedFile& file;
        ~Closer() { file.leave(); }
    } closer{file_};
    if (is_finished_ || is_complete()) {
        if (!is_finished_) finish_locked();
        file_.publish();
        return;
    }
    warn_incomplete();
    if (failed_) return;
    write_window();
    file_.complete(end_);
}

std::unique_ptr<BasicDigitReader> BasicTextWriter::close_and_get_basic_reader() {
    close();
    return std::make_unique<BasicTextReader>(final_path(), radix_);
}

}  // namespace kalvor
