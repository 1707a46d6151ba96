// Writes a text digit file: the integer part, ".", then one character a digit and nothing else. The file is
// base + " (incomplete).txt" until it is closed with all digits written; then it becomes base + ".txt".
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "base/status/warnings.h"
#include "digits/files/basic_digit_writer.h"
#include "platform/fileio/published_file.h"
#include "platform/fileio/sparse_ranges.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

class BasicTextWriter final : public BasicDigitWriter {
  public:
    static constexpr trel::u64 kDefaultBufferBytes = trel::u64(4) << 20;

    // first_digits: the number's text; what stands behind its "." is not written. radix 10 or 16.
    // buffer_bytes: the size of one write. warnings: of the run; hears of an incomplete file. Throws
    // InvalidParametersException "Invalid radix.", FileException "No decimal place was found.".
    BasicTextWriter(std::string base_path, std::string_view first_digits, trel::u8 radix,
                    trel::u64 total_digits, trel::u64 buffer_bytes = kDefaultBufferBytes,
                    trel::Warnings* warnings = nullptr);
    // Into a file that was made before, from its beginning. The file outlives the writer, which does not
    // close it unless it publishes it; it may be written once more by another writer.
    BasicTextWriter(trel::FileIO::PublishedFile& file, std::string_view first_digits, trel::u8 radix,
                    trel::u64 total_digits, trel::u64 buffer_bytes = kDefaultBufferBytes,
                    trel::Warnings* warnings = nullptr);
    // Closes. Throws nothing: the report of what goes wrong is printed.
    ~BasicTextWriter() override;

    // Throws InvalidParametersException "Invalid Digit" (of the range at most a part is then written, and
    // none of it counts as written), "File is closed.", "Out of range.". scratch is not used.
    void store_digits(const trel::u8* values, trel::u64 start, trel::u64 count, trel::AlignedBufferC scratch,
                      const trel::ParallelContext& context) override;

    void finish() override;
    std::unique_ptr<BasicDigitReader> read_back() override;
    void publish() override;
    // finish() and publish() when every digit was written. Otherwise warns and leaves the file under its
    // incomplete name. Closing twice does nothing. After a write that failed no other is tried: its exception
    // has told what is wrong.
    void close();
    void abandon() override;
    // close(), then a reader of the finished file. Throws FileException for an incomplete one.
    std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() override;

    static std::string final_path(const std::string& base_path) { return base_path + ".txt"; }
    static std::string incomplete_path(const std::string& base_path) {
        return base_path + " (incomplete).txt";
    }
    const std::string& final_path() const { return file_.final_path(); }
    const std::string& incomplete_path() const { return file_.draft_path(); }

  private:
    BasicTextWriter(std::unique_ptr<trel::FileIO::PublishedFile> own, trel::FileIO::PublishedFile* file,
                    std::string_view first_digits, trel::u8 radix, trel::u64 total_digits,
                    trel::u64 buffer_bytes, trel::Warnings* warnings);
    bool is_complete() const { return !failed_ && written_.covers(0, total_digits_); }
    void finish_locked();
    void warn_incomplete() const;
    void seek(trel::u64 offset);
    void write_window();

    std::mutex mutex_;
    const trel::u8 radix_;
    const trel::u64 total_digits_;
    const trel::u64 digits_offset_;
    const std::unique_ptr<trel::FileIO::PublishedFile> own_;  // empty when somebody else owns the file
    trel::FileIO::PublishedFile& file_;
    trel::Warnings* const warnings_;
    bool is_closed_ = false;
    bool is_finished_ = false;
    // The window of the file that is being filled: bytes [window_, window_ + fill_), window_ on a sector.
    trel::GuardedBuffer buffer_;
    trel::u64 window_ = 0;
    trel::u64 fill_ = 0;
    trel::u64 flushed_ = 0;  // of fill_, how much is in the file already
    trel::u64 extent_ = 0;   // bytes of the file that were ever written, whole sectors
    trel::u64 end_ = 0;      // end of the last digit that was written, in bytes
    bool failed_ = false;    // the last attempt to bring the window into the file failed
    trel::FileIO::SparseRanges written_;
};

}  // namespace kalvor
