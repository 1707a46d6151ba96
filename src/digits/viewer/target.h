// The files that extracting and compressing write: what is asked before they are made, and how they come to
// their names.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/status/status_scope.h"
#include "base/status/warnings.h"
#include "base/status/work_meter.h"
#include "digits/files/digit_sink.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// Whether the reader has digits start + 1 ... start + count; says so when it has not. Throws what
// BasicDigitReader::require() throws.
bool is_accessible(const BasicDigitReader& reader, u64 start, u64 count, const ViewerRun& run);

// Refuses to replace what must not be replaced (replacement.h), and says what will be. of_set: see there; it
// is filled for the next file of the same set.
void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run, std::optional<u64>& of_set);
void announce_replacement(std::string_view format, const std::string& path, u8 radix, u64 digits,
                          const ViewerRun& run);

// Refuses to write over what is read: `begin` is what the paths of the new files begin with.
void require_other_files(const BasicDigitReader& reader, const std::string& begin);

// Throws FileException when the volume of a path says that it has too little space.
void require_space(const std::string& path, u64 bytes, const ViewerRun& run);
// The same with the answer of a reservation.
void require_reserved(os::OsError error, const std::string& path);

// Tells the ledger of a file that a writer begins, and of one that has its name.
void note_begun(const ViewerRun& run, const std::string& draft);
void note_named(const ViewerRun& run, const std::string& draft, const std::string& final_path);

// An action begins whose digits are moved and then read back, or read alone: for the progress line, as long
// as this lives, and for the last line of an interrupted action.
class ActionProgress {
  public:
    enum Kind { moving, reading };
    ActionProgress(Kind kind, u64 digits, const ViewerRun& run);

  private:
    trel::WorkMeter meter_;
    trel::StatusWork shown_;
};

// Reads `count` digits behind `start` of what was written and compares them with what was to be written.
// Throws AlgorithmFailedException.
void check_written(BasicDigitReader& written, u64 start, u64 count, const DigitRangeStats& stats,
                   const ViewerRun& run);

// The warnings of the run; nullptr without one.
Warnings* warnings_of(const ViewerRun& run);

// "label: value"
void print_label(const ViewerRun& run, const std::string& label, const std::string& value, char color);
// After a piece: the position of its last digit.
void print_offset(const ViewerRun& run, u64 position);
void print_written(const ViewerRun& run, const std::string& path);

}  // namespace kalvor::DigitViewer2
