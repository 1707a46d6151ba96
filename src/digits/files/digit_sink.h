// Where the digits of a number go: one of the formats, which settings choose by name.
//
//   const DigitFormat& format = digit_format(name)
//   auto sink = format.make_sink(base, amount)           before the computation: held and reserved
//   auto writer = sink->make_writer(first_digits, ...)   after it; the writer publishes what the sink holds
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/names/names.h"
#include "base/status/warnings.h"
#include "digits/files/basic_digit_reader.h"
#include "digits/files/basic_digit_writer.h"
#include "os/error.h"
#include "os/types.h"
#include "platform/fileio/published_file.h"
#include "platform/memory/aligned_buffer.h"

namespace kalvor {

// What a format is asked to hold.
struct DigitAmount {
    u8 radix;  // 10 or 16
    u64 digits;
    u64 digits_per_file = 0;  // for formats that cut them into files; 0: one file
};

// The output of one number's digits in one radix: a file, or a set of them. What another run writes already,
// and what the system refuses, throws FileException when it is made. Ends unpublished: the drafts stay as far
// as they were written.
class DigitSink {
  public:
    struct File {
        std::string draft_path, final_path;
    };
    virtual ~DigitSink();
    // For a set: those of its first file.
    virtual const std::string& draft_path() const = 0;
    virtual const std::string& final_path() const = 0;
    // Those that were made by now.
    virtual std::vector<File> files() const { return {{draft_path(), final_path()}}; }
    // The space of all digits. The error when it is not there; nothing is then reserved.
    [[nodiscard]] virtual os::OsError reserve() = 0;
    // Whether the last failure was one for want of space that may come.
    virtual bool needs_space() const = 0;
    // Called from now on with every file that a writer begins to write into, on the thread that does. A file
    // that was only made and reserved is not begun.
    virtual void on_begun(std::function<void(const File& file)> begun) = 0;
    // A target that is marked as not to be written is replaced too.
    virtual void replace_read_only() = 0;
    // What is to be done when a final name cannot be given: PublishedFile::ask_again().
    virtual void ask_again(FileIO::AskAgain ask_again) = 0;
    // first_digits: integer part, "." and any digits. The sink outlives the writer; after a writer that was
    // abandoned there may be another. warnings: of the run, or nullptr. lent: memory that nobody else uses
    // until the writer is finished, abandoned or gone, for it to take in place of its own where it can.
    virtual std::unique_ptr<BasicDigitWriter> make_writer(std::string_view first_digits, Warnings* warnings,
                                                          AlignedBufferC lent = {}) = 0;
    // The size of the output, until it is published.
    virtual u64 bytes() const = 0;
    // Deletes the drafts.
    virtual void discard() = 0;
};

// base: path without what the format adds to a name. calls: outlive what is made with them.
class DigitFormat {
  public:
    virtual ~DigitFormat();
    virtual std::string draft_path(const std::string& base) const = 0;
    virtual std::string final_path(const std::string& base) const = 0;
    // The files to be. Of many, those that are made before the computation and those that may be there
    // already.
    virtual std::vector<std::string> final_paths(const std::string& base, const DigitAmount&) const {
        return {final_path(base)};
    }
    // What the output takes at most.
    virtual u64 most_bytes(const DigitAmount& amount) const = 0;
    // The same for a number whose integer part has that many digits.
    virtual u64 exact_bytes(const DigitAmount& amount, u64 integer_digits) const = 0;
    // What make_sink() would refuse now; makes nothing.
    virtual void check(const std::string& base, const DigitAmount& amount,
                       const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine()) const = 0;
    virtual std::unique_ptr<DigitSink> make_sink(
        const std::string& base, const DigitAmount& amount,
        const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine()) const = 0;
    virtual std::unique_ptr<BasicDigitReader> make_reader(
        const std::string& path, u8 radix,
        const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine()) const = 0;
    // How many digits the output has that is there. Throws what make_reader() throws.
    virtual u64 digits_there(const std::string& path, u8 radix,
                             const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine()) const {
        return make_reader(path, radix, calls)->total_digits();
    }
    // Whether 0 is the answer for files that do not tell, as those in the middle of a set.
    virtual bool may_not_tell() const { return false; }
};

// A format of one file: base + " (incomplete)" + ending until it is published as base + ending.
class FileFormat : public DigitFormat {
  public:
    std::string draft_path(const std::string& base) const final { return base + " (incomplete)" + ending_; }
    std::string final_path(const std::string& base) const final { return base + ending_; }
    void check(const std::string& base, const DigitAmount& amount,
               const FileIO::FileCalls& calls) const final;
    std::unique_ptr<DigitSink> make_sink(const std::string& base, const DigitAmount& amount,
                                         const FileIO::FileCalls& calls) const final;
    virtual std::unique_ptr<BasicDigitWriter> make_writer(FileIO::PublishedFile& file,
                                                          std::string_view first_digits, u8 radix, u64 digits,
                                                          Warnings* warnings, AlignedBufferC lent) const = 0;

  protected:
    explicit FileFormat(std::string ending) : ending_(std::move(ending)) {}

  private:
    const std::string ending_;
};

inline constexpr const char* kTextFormat = "text";
inline constexpr const char* kKvdFormat = "kvd";

// The format lives as long as the program. A second one of its name is fatal. Not synchronised: before runs.
void register_digit_format(const std::string& name, const DigitFormat& format);
// Throws InvalidParametersException "Unknown digit format: ...".
const DigitFormat& digit_format(std::string_view name);

}  // namespace kalvor
