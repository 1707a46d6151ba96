// Changes of a folder that a passing failure must not prevent: an attempt is repeated as long as the caller
// asks for it, at most once a second. Without such a request they throw a FileException and do not spin.
#pragma once

#include <functional>
#include <string>

#include "base/status/status.h"
#include "base/status/terminal.h"
#include "os/error.h"
#include "platform/fileio/file_calls.h"

namespace trel::FileIO {

// An attempt that failed.
struct Refusal {
    const char* message;
    const std::string& path;
    os::OsError error;
};
// Whether to try again, on the thread that tries. Empty: never.
using AskAgain = std::function<bool(const Refusal& refusal)>;

// Reports the refusal and tries again when the user at the terminal presses a key. nullptr: there is no
// terminal, so nothing is reported or tried again; the exception says it all. Both outlive what is returned.
AskAgain ask_again_through(Status& status, Terminal* terminal);

// Attempts until one succeeds or nobody asks for another. The exception has the function, the message and the
// path, and the last attempt's error.
void persist(const char* function, const char* message, const std::string& path,
             const std::function<os::OsError()>& attempt,
             const FileCalls& calls = FileCalls::of_this_machine(), const AskAgain& ask_again = {});

// For the rename that completes a file. Replaces an existing target, which stays as it is until then. Durable
// on return.
void persistent_rename(const std::string& old_path, const std::string& new_path,
                       const FileCalls& calls = FileCalls::of_this_machine(), const AskAgain& ask_again = {});

// A file that is gone already counts as deleted.
void persistent_remove(const std::string& path, const FileCalls& calls = FileCalls::of_this_machine(),
                       const AskAgain& ask_again = {});

}  // namespace trel::FileIO
