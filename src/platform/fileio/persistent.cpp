#include "platform/fileio/persistent.h"

#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "platform/fileio/error_text.h"

namespace trel::FileIO {
namespace {

// Keys may come from a program that never stops.
constexpr double kSecondsBetweenAttempts = 1;

}  // namespace

void persist(const char* function, const char* message, const std::string& path,
             const std::function<os::OsError()>& attempt, const FileCalls& calls) {
    while (const os::OsError error = attempt()) {
        {
            const Console::ErrorOutput errors;
            Console::error_line(message);
            Console::labelled_line("Error Code", std::to_string(error.code));
            Console::print_line(CommandLine::shown_path(path));
        }
        Console::print_line("Re-attempting...");
        if (!Console::pause()) throw file_error(function, message, path, error);
        calls.sleep(kSecondsBetweenAttempts);
    }
}

void persistent_rename(const std::string& old_path, const std::string& new_path, const FileCalls& calls) {
    persist(
        "FileIO::persistent_rename()", "Unable to rename file.", new_path,
        [&] { return calls.rename(old_path.c_str(), new_path.c_str()); }, calls);
    // The file is in place; a folder that cannot be flushed only makes its name less durable.
    (void)calls.flush_folder(new_path.c_str());
}

void persistent_remove(const std::string& path, const FileCalls& calls) {
    persist(
        "FileIO::persistent_remove()", "Unable to delete file.", path,
        [&] {
            const os::OsError error = calls.remove(path.c_str());
            return error.category == os::ErrorCategory::not_found ? os::OsError{} : error;
        },
        calls);
}

}  // namespace trel::FileIO
