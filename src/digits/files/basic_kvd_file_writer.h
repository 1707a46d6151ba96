// Writes one compressed digit file. It is base + " (incomplete).kvd" until it is closed with all its digits
// written; then it becomes base + ".kvd". Positions are those of the number.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/names/names.h"
#include "digits/files/basic_digit_writer.h"
#include "digits/files/kvd_header.h"
#include "digits/files/sector_window.h"

namespace kalvor {

// What a file's header and range follow from.
struct KvdFileSpec {
    std::string_view first_digits;  // integer part, "." and any digits
    u8 radix;
    u64 digits_per_file;
    u64 total_digits;  // of the set; 0: without an end, every file is full
    u64 id;
};

class BasicKvdFileWriter final : public BasicDigitWriter {
  public:
    // base_path: with the id. window_bytes: the memory of the window. warnings: of the run; hears of an
    // incomplete file. Throws InvalidParametersException "File ID is out of range.", "Invalid Range - Failed:
    // s < e" (no digits a file), "Internal Overflow"; FileException "Unsupported Radix", "Invalid Digits per
    // File" (one that no reader takes); InconsistentMetaData.
    BasicKvdFileWriter(const std::string& base_path, const KvdFileSpec& spec,
                       u64 window_bytes = SectorWindow::kDefaultBytes, Warnings* warnings = nullptr,
                       const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Into a file that was made before, from its beginning. The file outlives the writer, which does not
    // close it unless it publishes it; it may be written once more by another writer.
    BasicKvdFileWriter(FileIO::PublishedFile& file, const KvdFileSpec& spec,
                       u64 window_bytes = SectorWindow::kDefaultBytes, Warnings* warnings = nullptr);

    DigitRange get_range() const { return {window_.shape().begin, window_.shape().end}; }
    bool is_complete();
    // Bytes of a file as the constructor would make it. Throws what that throws.
    static u64 bytes(const KvdFileSpec& spec);

    // Throws InvalidParametersException "Invalid Digit" (of the range at most a part is then written, and
    // none of it counts as written), "File is closed.", "Write out of bounds.". scratch is not used.
    void store_digits(const u8* values, u64 start, u64 count, AlignedBufferC scratch,
                      const ParallelContext& parallel) override {
        (void)scratch, (void)parallel;
        store_digits_B(values, start, count);
    }
    void store_digits_B(const u8* values, u64 start, u64 count);
    void store_words(const DigitWords& digits, u64 start, u64 count, AlignedBufferC scratch,
                     const ParallelContext& parallel) override;

    void finish() override { window_.finish("BasicKvdFileWriter::finish()"); }
    std::unique_ptr<BasicDigitReader> read_back() override;
    void publish() override { window_.publish(); }
    // SectorWindow::close()
    void close() { window_.close(); }
    // Brings what is in memory into the file and gives the memory back.
    void rest();
    void abandon() override { window_.abandon(); }
    // close(), then a reader of the finished file. Throws FileException for an incomplete one.
    std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() override;

    static std::string final_path(const std::string& base_path) { return base_path + ".kvd"; }
    static std::string incomplete_path(const std::string& base_path) {
        return base_path + " (incomplete).kvd";
    }
    FileIO::PublishedFile& file() { return window_.file(); }

  private:
    // pack(out, first word of the file, n): n whole words of the piece. values: its digits.
    template <class Pack>
    void store_range(u64 start, u64 count, const u8* values, Pack pack);
    void merge_word(u64 begin, u64 end, const u8* values);

    const u8 radix_;
    const u64 per_word_;
    SectorWindow window_;
};

}  // namespace kalvor
