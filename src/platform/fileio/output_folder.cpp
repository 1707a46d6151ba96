#include "platform/fileio/output_folder.h"

#include "base/errors/exceptions.h"
#include "os/file.h"

namespace trel::FileIO {

std::string prepare_output_folder(const std::string& path) {
    std::string folder = path;
    if (!folder.empty() && folder.back() != '/') folder += '/';
    // Parents first; one that exists already is no error, and a real failure shows below.
    for (std::size_t slash = folder.find('/', 1); slash != std::string::npos;
         slash = folder.find('/', slash + 1)) {
        (void)os::create_folder(folder.substr(0, slash).c_str());
    }
    const std::string probe = folder + "kalvor-write-test.tmp";
    const os::OpenedFile opened = os::open_file(probe.c_str(), os::FileAccess::create, {});
    if (opened.handle == os::kNoFile) {
        throw FileException("prepare_output_folder()", "Path is not writable.", path, opened.error.code);
    }
    (void)os::close_file(opened.handle);
    (void)os::remove_file(probe.c_str());
    return folder;
}

}  // namespace trel::FileIO
