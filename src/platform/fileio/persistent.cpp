#include "platform/fileio/persistent.h"

#include "base/command_line/shown_text.h"
#include "platform/fileio/error_text.h"

namespace trel::FileIO {
namespace {

// Keys may come from a program that never stops.
constexpr double kSecondsBetweenAttempts = 1;

}  // namespace

AskAgain ask_again_through(Status& status, Terminal* terminal) {
    if (terminal == nullptr) return {};
    return [&status, terminal](const Refusal& refusal) {
        status.Warning(refusal.message);
        status.Status_Line("Error Code: " + std::to_string(refusal.error.code));
        status.Status_Line(CommandLine::shown_path(refusal.path));
        status.Status_Line("Re-attempting...");
        return terminal->pause();
    };
}

void persist(const char* function, const char* message, const std::string& path,
             const std::function<os::OsError()>& attempt, const FileCalls& calls, const AskAgain& ask_again) {
    while (const os::OsError error = attempt()) {
        if (!ask_again || !ask_again({message, path, error}))
            throw file_error(function, message, path, error);
        calls.sleep(kSecondsBetweenAttempts);
    }
}

void persistent_rename(const std::string& old_path, const std::string& new_path, const FileCalls& calls,
                       const AskAgain& ask_again) {
    persist(
        "FileIO::persistent_rename()", "Unable to rename file.", new_path,
        [&] { return calls.rename(old_path.c_str(), new_path.c_str()); }, calls, ask_again);
    // The file is in place; a folder that cannot be flushed only makes its name less durable.
    (void)calls.flush_folder(new_path.c_str());
}

void persistent_remove(const std::string& path, const FileCalls& calls, const AskAgain& ask_again) {
    persist(
        "FileIO::persistent_remove()", "Unable to delete file.", path,
        [&] {
            const os::OsError error = calls.remove(path.c_str());
            return error.category == os::ErrorCategory::not_found ? os::OsError{} : error;
        },
        calls, ask_again);
}

}  // namespace trel::FileIO
