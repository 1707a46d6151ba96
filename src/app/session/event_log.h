// The log of a run's timed events, kept as text: date, seconds since the start, name, separated by tabs.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "base/names/names.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

class EventLog {
  public:
    // Every later event is also appended to this file, which is made when it is missing, and is on the device
    // when add() returns. Throws FileException.
    void open(const std::string& path, const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());
    // Appends the event with the current date and the seconds since the session started.
    void add(double seconds_since_start, std::string_view name);
    const std::string& text() const { return text_; }

    // Once, after the file has refused a line: why. The file gets no more lines then; the text has all.
    std::optional<std::string> take_file_failure() { return std::exchange(failure_, std::nullopt); }

  private:
    void append(std::string_view line);

    std::string text_;
    std::unique_ptr<FileIO::RawFile> file_;
    u64 file_bytes_ = 0;
    std::optional<std::string> failure_;
};

}  // namespace kalvor
