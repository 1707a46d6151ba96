// Reads a set of compressed digit files: base + id + ".kvd" with id = 0, 1, 2 ... Any file of the set opens
// it; the others are opened when they are needed.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/names/names.h"
#include "digits/files/basic_kvd_file_reader.h"

namespace kalvor {

class BasicKvdSetReader final : public BasicDigitReader {
  public:
    // The file that is named gives radix, digits a file, first digits and total, and is the file of the id in
    // its header. Throws FileException "File name is too short.", "Invalid Extension", "This file is
    // incomplete.", and what BasicKvdFileReader throws.
    explicit BasicKvdSetReader(const std::string& path,
                               const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Files that the caller opens, whatever their names; nullptr: the set has no file of that id. There is
    // one of `id`.
    using Opener = std::function<std::shared_ptr<FileIO::RawFile>(u64 id)>;
    BasicKvdSetReader(std::string base, u64 id, Opener open);
    ~BasicKvdSetReader() override;

    u64 digits_per_file() const { return digits_per_file_; }
    // Where the files are looked for, with their final "/", the folder of the named file first.
    std::vector<std::string> search_folders() const;
    void add_search_folder(const std::string& folder);
    // The total where it is known; otherwise the end of the files from the first on that are there.
    u64 digits_there() const;
    // Throws FileException: "Unable to open file #...", and for a file that is not of this set.
    void load_file(u64 id);

    std::string first_digits() const override { return first_digits_; }
    // 0 = unknown: the named file is full, and it does not say whether others follow.
    u64 total_digits() const override { return total_digits_; }
    // With an unknown total: when every file that is needed opens.
    bool is_in_range(u64 start, u64 count) const override;
    // With an unknown total: the first files that are missing, or the one that has other digits or too few.
    std::string what_is_missing(u64 start, u64 count) const override;
    void require(u64 start, u64 count) const override;
    std::string source() const override { return open_ ? std::string() : directory_ + base_name_; }
    u64 buffer_size(u64 count, u64 limit) const override;
    // Use the tasks that they are given. Throw InvalidParametersException "Out of range." beyond a known
    // total, FileException "Missing required files." (behind a list of their names), "This
    // digit stream does not have enough digits.", and what BasicKvdFileReader throws.
    void load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                     const ParallelContext& parallel) override;
    void load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                    const ParallelContext& parallel) override;

  private:
    using File = std::shared_ptr<BasicKvdFileReader>;
    void take_over(File file);
    void check_range(u64 start, u64 count) const;
    void make_commands(u64 start, u64 count) const;
    template <class Read>
    void for_files(u64 start, u64 count, Read read) const;
    // Under mutex_. nullptr: there is none.
    File find_file(u64 id) const;
    File open_file(u64 id) const;
    std::shared_ptr<FileIO::RawFile> open_raw(u64 id) const;
    [[noreturn]] void refuse_missing(u64 id) const;
    File needed_file(u64 id) const;
    void check_file(const BasicKvdFileReader& file, u64 id) const;

    const FileIO::FileCalls& calls_;
    std::string directory_, base_name_;
    Opener open_;  // empty: by name
    std::string version_;
    std::string first_digits_;
    u64 digits_per_file_ = 0, total_digits_ = 0;

    mutable std::mutex mutex_;
    std::vector<std::string> folders_;
    mutable std::map<u64, File> files_;
    u64 named_id_ = 0;
};

}  // namespace kalvor
