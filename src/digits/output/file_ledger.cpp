#include "digits/output/file_ledger.h"

#include "base/names/names.h"
#include "os/path_kind.h"

namespace kalvor {

void FileLedger::put(const std::string& before, const std::string& path, bool begun) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Entry& entry : entries_) {
        if (entry.path != before) continue;
        entry = {path, begun};
        return;
    }
    entries_.push_back({path, begun});
}

void FileLedger::removed(const std::string& path) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::erase_if(entries_, [&](const Entry& entry) { return entry.path == path; });
}

std::vector<std::string> FileLedger::kept() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> paths;
    for (const Entry& entry : entries_) {
        if (entry.begun && os::path_kind(entry.path) != os::PathKind::missing) paths.push_back(entry.path);
    }
    return paths;
}

std::vector<std::string> FileLedger::empty() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> paths;
    for (const Entry& entry : entries_) {
        if (!entry.begun) paths.push_back(entry.path);
    }
    return paths;
}

}  // namespace kalvor
