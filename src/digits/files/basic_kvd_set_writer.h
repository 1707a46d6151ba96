// Writes a set of compressed digit files: base + " - " + id + ".kvd", id = 0, 1, 2 ... Each file is made when
// the first of its digits comes, and is " (incomplete)" until it is closed with all of them.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/names/names.h"
#include "digits/files/basic_kvd_file_writer.h"
#include "platform/fileio/published_file.h"

namespace kalvor {

// The files of a set, which may be there before it is known what goes into them. Any thread.
class KvdSetFiles {
  public:
    explicit KvdSetFiles(std::string base,
                         const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine())
        : calls_(calls), base_(std::move(base)) {}

    // " - 0" and so on is part of the name. Made at the first call; held again when it was let go of.
    FileIO::PublishedFile& file(u64 id);
    // Those that were made.
    std::map<u64, FileIO::PublishedFile*> files() const;
    // Also of the files that are made later: PublishedFile::replace_read_only().
    void replace_read_only();
    // The same of PublishedFile::ask_again().
    void ask_again(FileIO::AskAgain ask_again);
    // Called with each file that a writer begins to write into.
    void on_begun(std::function<void(const FileIO::PublishedFile&)> begun);
    void note_begun(const FileIO::PublishedFile& file) const;
    // The file that failed last, and whether it was for want of space that may come.
    void note_failure(const FileIO::PublishedFile* file) { failed_ = file; }
    bool needs_space() const;
    void discard();

    const std::string& base() const { return base_; }
    const FileIO::FileCalls& calls() const { return calls_; }
    static std::string file_base(const std::string& base, u64 id) {
        return base + " - " + std::to_string(id);
    }

  private:
    const FileIO::FileCalls& calls_;
    const std::string base_;
    mutable std::mutex mutex_;
    std::map<u64, std::unique_ptr<FileIO::PublishedFile>> files_;
    std::function<void(const FileIO::PublishedFile&)> begun_;
    bool replaces_read_only_ = false;
    FileIO::AskAgain ask_again_;
    std::atomic<const FileIO::PublishedFile*> failed_ = nullptr;
};

class BasicKvdSetWriter final : public BasicDigitWriter {
  public:
    // Files beyond this number are closed until there is something to do with them; into a complete one
    // nothing can then be written any more. The first file stays open: it keeps other runs away from the set.
    static constexpr u64 kOpenFiles = 200;
    // Files that were begun and are not complete keep their window in memory up to this number of them; those
    // that were used least recently give theirs back.
    static constexpr u64 kOpenWindows = 32;

    // digits_per_file: 0 = one file. total_digits: 0 = no end. Throws InvalidParametersException "Single-file
    // is incompatible with unbounded output.", "Invalid Parameters".
    BasicKvdSetWriter(const std::string& base, std::string_view first_digits, u8 radix, u64 digits_per_file,
                      u64 total_digits, u64 window_bytes = SectorWindow::kDefaultBytes,
                      Warnings* warnings = nullptr,
                      const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Into files that the caller keeps; they outlive the writer. Only publish() and close() then name
    // files: those of a writer that is destroyed were not checked.
    BasicKvdSetWriter(KvdSetFiles& files, std::string_view first_digits, u8 radix, u64 digits_per_file,
                      u64 total_digits, u64 window_bytes = SectorWindow::kDefaultBytes,
                      Warnings* warnings = nullptr);
    // Closes. Throws nothing: what goes wrong is a warning of the run.
    ~BasicKvdSetWriter() override;

    // What the constructor makes of digits_per_file 0.
    static u64 single_file(u64 total_digits) {
        return total_digits < kLeastDigitsPerFile ? kLeastDigitsPerFile : total_digits;
    }
    u64 digits_per_file() const { return digits_per_file_; }

    // Throw InvalidParametersException "Out of range.", "Internal Overflow", and what BasicKvdFileWriter
    // throws.
    void store_digits(const u8* values, u64 start, u64 count, AlignedBufferC scratch,
                      const ParallelContext& parallel) override;
    void store_words(const DigitWords& digits, u64 start, u64 count, AlignedBufferC scratch,
                     const ParallelContext& parallel) override;

    // Every file of the total; without one, every file that was begun.
    void finish() override;
    // The files that were begun, and no others: of a part of a set.
    void finish_begun();
    std::unique_ptr<BasicDigitReader> read_back() override;
    // In ascending order.
    void publish() override;
    // Publishes the files that are complete and warns of the others. Throws the first failure.
    void close();
    void abandon() override;
    // close(), then a reader of the set. Throws InvalidParametersException "No files open.", FileException
    // when no file is complete.
    std::unique_ptr<BasicDigitReader> close_and_get_basic_reader() override;

  private:
    using Writer = std::shared_ptr<BasicKvdFileWriter>;
    BasicKvdSetWriter(std::unique_ptr<KvdSetFiles> own, KvdSetFiles* files, std::string_view first_digits,
                      u8 radix, u64 digits_per_file, u64 total_digits, u64 window_bytes, Warnings* warnings);
    // store(writer, begin, n) for each file's share.
    template <class Store>
    void make_commands(u64 start, u64 count, Store store);
    Writer writer(u64 id);
    void finish_locked();
    void let_go_of_files();
    void rest_windows(u64 used, bool is_complete);

    const std::unique_ptr<KvdSetFiles> own_;  // empty if the caller keeps the files
    KvdSetFiles& files_;
    const std::string first_digits_;
    const u8 radix_;
    const u64 digits_per_file_, total_digits_;
    const u64 window_bytes_;
    Warnings* const warnings_;

    std::mutex mutex_;
    std::map<u64, Writer> writers_;
    u64 resting_ = 0;
    std::vector<u64> windows_;  // ids of files with a window in memory, the last used one at the end
    bool is_finished_ = false, is_closed_ = false;
};

}  // namespace kalvor
