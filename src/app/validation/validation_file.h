// The validation file: what a run tells of itself, closed by a signature that makes edits visible.
#pragma once

#include <string>

#include "app/record/run_record.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "base/status/terminal.h"
#include "digits/output/file_ledger.h"
#include "platform/fileio/file_calls.h"

namespace kalvor {

// From the byte-order mark to the event log, which is what is signed, and a line end. Lines end in CR LF.
std::string validation_text(const RunRecord& record);

// Where the writing of a file is reported. These outlive it.
struct ValidationOutput {
    Status& status;
    Terminal* terminal = nullptr;  // asks what to do about a file that cannot be made
    FileLedger* ledger = nullptr;
    const FileIO::FileCalls* calls = &FileIO::FileCalls::of_this_machine();
};

// Writes the file of the record into its folder and returns its path. It is named after the constant and the
// end of the run, or the next second that is free, and has its name only when it was read back and found
// valid; then "Validation File: " is reported. One that cannot be made is tried again as persist() says.
// Throws FileException; nothing then has the final name.
std::string write_validation_file(const RunRecord& record, const ValidationOutput& output);

}  // namespace kalvor
