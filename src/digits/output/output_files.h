// The digit files of a run: opened, held and reserved before the computation, so that nothing that could have
// been known then spoils its end; written, read back and checked after it; and only then given their names.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/names/names.h"
#include "base/status/terminal.h"
#include "digits/output/file_ledger.h"
#include "digits/output/float_writer.h"
#include "os/types.h"

namespace kalvor {

struct OutputOptions {
    bool overwrite = false;        // replace longer files, and files that are marked as not to be written
    bool minimum_space = false;    // too little free space is a refusal, not a warning
    Terminal* terminal = nullptr;  // asks the user about a full volume, if it is attended; outlives them
    FileLedger* ledger = nullptr;  // learns of every file; outlives them
    const FileIO::FileCalls* calls = &FileIO::FileCalls::of_this_machine();
};

// The rule for OutputOptions::minimum_space: what the user said; otherwise runs of more than an hour want it.
// expected_seconds: 0 = unknown.
bool wants_minimum_space(const std::optional<bool>& setting, double expected_seconds);

class OutputFiles {
  public:
    struct Request {
        u8 radix;               // 10 or 16, each once
        std::string base_name;  // of the file, without folder and ending
        u64 digits;
        std::string format = kTextFormat;
        u64 digits_per_file = 0;  // of the format "kvd"; 0: one file
        DigitAmount amount() const { return {radix, digits, digits_per_file}; }
        // As settings say it: 0 = a text file, all ones = one compressed file, otherwise a set of them.
        void set_digits_per_file(u64 setting);
    };
    // For a set: its first file, and the bytes of all.
    struct WrittenFile {
        std::string path;  // of a set's first file
        u64 bytes;         // of all its files
        u64 files;
    };

    // folder: with its final "/", or empty for the current one. Says which files will be replaced and warns
    // of too little space. Throws FileException for a file that must not be replaced, for one that another
    // run is writing, and for too little space where that is a refusal; nothing is then left behind.
    // status: of the run; it outlives the files.
    OutputFiles(std::string folder, const std::vector<Request>& requests, const OutputOptions& options,
                Status& status);
    ~OutputFiles();
    // What the constructor would refuse now, without making anything: for the time before the memory of the
    // computation is taken.
    static void check(const std::string& folder, const std::vector<Request>& requests,
                      const OutputOptions& options);

    // Writes the digits of one radix, reads them back when `verify` says so, and publishes the file. Where
    // the volume is full the digits are kept and the user is asked what to do; without a terminal
    // writing is tried again every minute, ten times. Throws FileException, and what read_check() throws: the
    // file then stays under its incomplete name, and what had the final name stays.
    OutputStats write(FloatWriterB& digits, u8 radix, bool verify);

    // In the order in which they were written.
    const std::vector<WrittenFile>& written() const { return written_; }

  private:
    struct Entry {
        Request request;
        std::unique_ptr<DigitSink> sink;
    };
    struct Choice;

    std::unique_ptr<DigitSink> make(const std::string& folder, const Request& request) const;
    void reserve_space();
    Choice ask_for_space(const Entry& entry, int attempt) const;
    void move(Entry& entry, const std::string& folder);

    std::string folder_;
    const OutputOptions options_;
    Status& status_;
    std::vector<Entry> entries_;
    std::vector<WrittenFile> written_;
};

}  // namespace kalvor
