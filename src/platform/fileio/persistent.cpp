#include "platform/fileio/persistent.h"

#include "base/console/console.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/file_functions.h"

namespace trel::FileIO {
namespace {

os::OsError rename_over(const std::string& from, const std::string& to) {
    const os::OsError error = file_functions().rename(from.c_str(), to.c_str());
    // Where there is nothing to rename, the target may be the last good copy.
    if (!error || error.category == os::ErrorCategory::not_found) return error;
    (void)file_functions().remove(to.c_str());
    return file_functions().rename(from.c_str(), to.c_str());
}

// Attempts until one succeeds or nobody is there to ask for another.
template <class Attempt>
void persist(const char* function, const char* failure, const std::string& path, Attempt attempt) {
    while (const os::OsError error = attempt()) {
        Console::error_line(failure);
        Console::labelled_line("Error Code", std::to_string(error.code));
        Console::print_line(path);
        Console::print_line("Re-attempting...");
        if (!Console::pause()) throw file_error(function, failure, path, error);
    }
}

}  // namespace

void persistent_rename(const std::string& old_path, const std::string& new_path) {
    persist("FileIO::persistent_rename()", "Unable to rename file.", new_path,
            [&] { return rename_over(old_path, new_path); });
    // The file is in place; a folder that cannot be flushed only makes its name less durable.
    (void)file_functions().flush_folder(new_path.c_str());
}

void persistent_remove(const std::string& path) {
    persist("FileIO::persistent_remove()", "Unable to delete file.", path, [&] {
        const os::OsError error = file_functions().remove(path.c_str());
        return error.category == os::ErrorCategory::not_found ? os::OsError{} : error;
    });
}

}  // namespace trel::FileIO
