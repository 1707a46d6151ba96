#include "platform/fileio/small_file.h"

namespace trel::FileIO {

std::optional<std::string> read_small_file(const std::string& path, u64 most_bytes, const FileCalls& calls) {
    const os::OpenedFile opened = calls.open(path.c_str(), os::FileAccess::read, {});
    if (opened.error) return std::nullopt;
    std::optional<std::string> text;
    const os::FileSize size = calls.size(opened.handle);
    if (!size.error && size.bytes <= most_bytes) {
        text.emplace(size.bytes, '\0');
        const os::Transfer done = calls.read(opened.handle, text->data(), 0, size.bytes);
        if (done.error || done.bytes != size.bytes) text.reset();
    }
    // What has been read does not depend on it.
    [[maybe_unused]] const os::OsError closed = calls.close(opened.handle);
    return text;
}

}  // namespace trel::FileIO
