#include "platform/fileio/output_folder.h"

#include "os/file.h"
#include "platform/fileio/error_text.h"
#include "platform/fileio/file_functions.h"
#include "platform/fileio/persistent.h"

namespace trel::FileIO {

std::string folder_prefix(const std::string& path) {
    if (path.empty() || path.back() == '/' || path.back() == '\\') return path;
    return path + '/';
}

void create_folders(const std::string& prefix) {
    // Parents first; one that exists already is no error, and a real failure shows when the folder is used.
    for (std::size_t i = 1; i < prefix.size(); i++) {
        if (os::is_path_separator(prefix[i])) {
            (void)file_functions().create_folder(prefix.substr(0, i).c_str());
        }
    }
}

os::OsError check_writable(const std::string& prefix) {
    const std::string probe = prefix + "pathcheck.sf";
    const os::OpenedFile opened = file_functions().open(probe.c_str(), os::FileAccess::create, {});
    // Another run may be making the same probe.
    if (opened.error.category == os::ErrorCategory::sharing) return {};
    if (opened.error) return opened.error;
    const os::OsError closed = file_functions().close(opened.handle);
    persistent_remove(probe);
    return closed;
}

std::string prepare_output_folder(const std::string& path) {
    std::string prefix = folder_prefix(path);
    create_folders(prefix);
    if (const os::OsError error = check_writable(prefix)) {
        throw FileException("prepare_output_folder()", "Path is not writable.", path, error.code);
    }
    return prefix;
}

}  // namespace trel::FileIO
