#include <string>

#include "base/console/console.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/file_functions.h"
#include "platform/fileio/raw_file.h"

namespace trel::FileIO {
namespace {

os::OsError rename_over(const std::string& from, const std::string& to) {
    os::OsError error = file_functions().rename(from.c_str(), to.c_str());
    // Only a target in the way is deleted: after any other failure it may be the last good copy.
    if (error.category == os::ErrorCategory::exists && !file_functions().remove(to.c_str())) {
        error = file_functions().rename(from.c_str(), to.c_str());
    }
    return error;
}

}  // namespace

void persistent_rename(const std::string& old_path, const std::string& new_path) {
    for (;;) {
        const os::OsError error = rename_over(old_path, new_path);
        if (!error) break;
        Console::error_line("Unable to rename file.");
        Console::labelled_line("Error Code", std::to_string(error.code));
        Console::print_line(new_path);
        Console::print_line("Re-attempting...");
        if (!Console::pause()) {
            throw file_error("FileIO::persistent_rename()", "Unable to rename file.", new_path, error);
        }
    }
    // The file is in place; a folder that cannot be flushed only makes its name less durable.
    (void)file_functions().flush_folder(new_path.c_str());
}

}  // namespace trel::FileIO
