#include "platform/fileio/output_folder.h"

#include <random>

#include "os/file.h"
#include "platform/fileio/error_text.h"

namespace trel::FileIO {
namespace {

// Eight hexadecimal digits.
std::string random_name() {
    std::random_device random;
    std::string name;
    for (int i = 0; i < 8; i++) name += "0123456789abcdef"[random() % 16];
    return name;
}

// Makes the folder of a prefix and its missing parents, as far as that is possible. The error of the last
// call: why the folder itself is missing, if it is. `made` gets the folders that were made, parents first.
os::OsError create_folders(const std::string& prefix, const FileCalls& calls,
                           std::vector<std::string>& made) {
    // Parents first; one that exists already is not an error, and a real failure shows when the folder is
    // used.
    os::OsError first, last;
    for (std::size_t i = 1; i < prefix.size(); i++) {
        if (os::is_path_separator(prefix[i])) {
            const std::string folder = prefix.substr(0, i);
            last = calls.create_folder(folder.c_str());
            if (!last) made.push_back(folder);
            // A parent that is missing is the consequence of the failure before; one that is there is not
            // one.
            if (last.category == os::ErrorCategory::not_found || last.category == os::ErrorCategory::exists)
                continue;
            first = last;
        }
    }
    return last.category == os::ErrorCategory::not_found && first ? first : last;
}

// One that somebody else has put something into meanwhile stays.
void remove_made(const std::vector<std::string>& made, const FileCalls& calls) {
    for (auto folder = made.rbegin(); folder != made.rend(); ++folder)
        (void)calls.remove_folder(folder->c_str());
}

}  // namespace

std::string folder_prefix(const std::string& path) {
    if (path.empty() || path.back() == '/' || path.back() == '\\') return path;
    return path + '/';
}

os::OsError check_writable(const std::string& prefix, const FileCalls& calls, const AskAgain& ask_again) {
    constexpr int kAttempts = 100;
    os::OpenedFile opened;
    std::string probe;
    // Whatever has such a name already is not ours.
    for (int i = 0; i < kAttempts; i++) {
        probe = prefix + "pathcheck-" + random_name() + ".sf";
        opened = calls.open(probe.c_str(), os::FileAccess::create_new, {.private_file = true});
        if (opened.error.category != os::ErrorCategory::exists) break;
    }
    if (opened.error) return opened.error;
    const os::OsError closed = calls.close(opened.handle);
    persistent_remove(probe, calls, ask_again);
    return closed;
}

PreparedFolder::PreparedFolder(const std::string& path, const FileCalls& calls, const AskAgain& ask_again)
    : calls_(calls), prefix_(folder_prefix(path)) {
    const os::OsError created = create_folders(prefix_, calls_, made_);
    if (os::OsError error = check_writable(prefix_, calls_, ask_again)) {
        // The probe only finds that there is no folder; why there is none was said when it was to be made.
        if (error.category == os::ErrorCategory::not_found && created) error = created;
        remove_made(made_, calls_);
        throw FileException("PreparedFolder()", "Path is not writable.", path, error.code);
    }
}

PreparedFolder::~PreparedFolder() {
    try {
        remove_made(made_, calls_);
    } catch (...) {  // an empty folder is left
    }
}

void try_output_folder(const std::string& path, const FileCalls& calls, const AskAgain& ask_again) {
    const PreparedFolder trial(path, calls, ask_again);
}

}  // namespace trel::FileIO
