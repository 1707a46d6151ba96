// The last line of a run that an interrupt ended.
#pragma once

#include <string>
#include <vector>

#include "base/names/names.h"
#include "base/status/terminal.h"
#include "digits/output/file_ledger.h"

namespace kalvor {

// "Interrupted. Kept: a, b" or "Interrupted. Nothing was kept."; how_far: a sentence that stands behind the
// first word, or in place of "Nothing was kept.".
std::string interrupted_text(const std::vector<std::string>& kept, const std::string& how_far = "");

// On a line of its own on the console, in the usual colour.
void print_interrupted(const std::string& text);

// For the thread of the interrupts, while the run is still busy: prints the line, unless another thread
// cannot get rid of its output, and ends the process. Nothing that the run uses is touched.
[[noreturn]] void end_busy_run(const std::string& text, Terminal& terminal);
// The same, and deletes files that hold nothing.
[[noreturn]] void end_busy_run(const FileLedger& files, Terminal& terminal, const std::string& how_far = "");

}  // namespace kalvor
