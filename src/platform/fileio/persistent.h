// Changes of a folder that must not be lost to a moment's trouble: tried again at every key press of the
// user, at most once a second. Where there is nobody to press a key (the end of the input) they throw a
// FileException instead of spinning.
#pragma once

#include <functional>
#include <string>

#include "os/error.h"
#include "platform/fileio/file_calls.h"

namespace trel::FileIO {

// Attempts until one succeeds or nobody is there to ask for another. The exception has the function, the
// message and the path, and the last attempt's error.
void persist(const char* function, const char* message, const std::string& path,
             const std::function<os::OsError()>& attempt,
             const FileCalls& calls = FileCalls::of_this_machine());

// For the rename that completes a file. Replaces an existing target, which stays as it is until then. Durable
// on return.
void persistent_rename(const std::string& old_path, const std::string& new_path,
                       const FileCalls& calls = FileCalls::of_this_machine());

// A file that is gone already counts as deleted.
void persistent_remove(const std::string& path, const FileCalls& calls = FileCalls::of_this_machine());

}  // namespace trel::FileIO
