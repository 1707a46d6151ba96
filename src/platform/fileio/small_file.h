// A small file that may be missing.
#pragma once

#include <optional>
#include <string>

#include "platform/fileio/file_calls.h"

namespace trel::FileIO {

// All bytes of the file. Nothing where it cannot be opened or read as a whole, or has more than `most_bytes`:
// it is something else then. No exception: that such a file is missing is the usual case.
std::optional<std::string> read_small_file(const std::string& path, u64 most_bytes,
                                           const FileCalls& calls = FileCalls::of_this_machine());

}  // namespace trel::FileIO
