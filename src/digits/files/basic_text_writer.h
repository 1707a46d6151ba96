// Writes a text digit file: the integer part, ".", then one character a digit and nothing else. The file is
// base + " (incomplete).txt" until it is closed with all digits written; then it becomes base + ".txt".
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/names/names.h"
#include "digits/files/basic_digit_writer.h"
#include "digits/files/sector_window.h"

namespace kalvor {

class BasicTextWriter final : public BasicDigitWriter {
  public:
    static constexpr u64 kDefaultBufferBytes = SectorWindow::kDefaultBytes;

    // first_digits: the number's text; what stands behind its "." is not written. radix 10 or 16.
    // buffer_bytes: the memory of the window. warnings: of the run; hears of an incomplete file. Throws
    // InvalidParametersException "Invalid radix.", FileException "No decimal place was found.".
    BasicTextWriter(const std::string& base_path, std::string_view first_digits, u8 radix, u64 total_digits,
                    u64 buffer_bytes = kDefaultBufferBytes, Warnings* warnings = nullptr,
                    const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Into a file that was made before, from its beginning. The file outlives the writer, which does not
    // close it unless it publishes it; it may be written once more by another writer. lent: see
    // SectorWindow.
    BasicTextWriter(FileIO::PublishedFile& file, std::string_view first_digits, u8 radix, u64 total_digits,
                    u64 buffer_bytes = kDefaultBufferBytes, Warnings* warnings = nullptr,
                    AlignedBufferC lent = {});

    // Throws InvalidParametersException "Invalid Digit" (of the range at most a part is then written, and
    // none of it counts as written), "File is closed.", "Out of range.". scratch is not used.
    void store_digits(const u8* values, u64 start, u64 count, AlignedBufferC scratch,
                      const ParallelContext& parallel) override;

    void finish() override { window_.finish("BasicTextWriter::finish()"); }
    std::unique_ptr<BasicDigitReader> read_back() override;
    void publish() override { window_.publish(); }
    // SectorWindow::close()
    void close() { window_.close(); }
    void abandon() override { window_.abandon(); }
    // close(), then a reader of the finished file. Throws FileException for an incomplete one.
    std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() override;

    static std::string final_path(const std::string& base_path) { return base_path + ".txt"; }
    static std::string incomplete_path(const std::string& base_path) {
        return base_path + " (incomplete).txt";
    }
    const std::string& final_path() const { return window_.file().final_path(); }
    const std::string& incomplete_path() const { return window_.file().draft_path(); }

  private:
    const u8 radix_;
    SectorWindow window_;
};

}  // namespace kalvor
