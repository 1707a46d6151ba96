// The name that a user wants to have in validation files.
#pragma once

#include <string>
#include <string_view>

#include "base/names/names.h"
#include "platform/fileio/file_calls.h"

namespace kalvor {

inline constexpr const char* kNoUserFile = "Username.txt not found.";

// The name behind "Username:" in the first "Username.txt" that can be read, in this folder (with its final
// separator) or the one above it. A folder or a pipe of that name, a file without the right to read it and
// one above a megabyte count as not there. Otherwise why there is none: "Username.txt not found." or "Tag not
// found in Username.txt".
std::string user_line(const std::string& executable_directory,
                      const FileIO::FileCalls& calls = FileIO::FileCalls::of_this_machine());

// The name in such a file; "Tag not found in Username.txt". Lines that begin with "#" do not count.
std::string user_name_of(std::string_view file);

}  // namespace kalvor
