// Which files a run has made, for the thread that ends a run which does not stop by itself.
#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace kalvor {

// Any thread. Paths in the order in which the files were made.
class FileLedger {
  public:
    void made(const std::string& path) { put(path, path, false); }
    // Something of the content is there now.
    void begun(const std::string& path) { put(path, path, true); }
    void renamed(const std::string& from, const std::string& to) { put(from, to, true); }
    void removed(const std::string& path);

    // Files with content, of which those are left out that do not exist any more.
    std::vector<std::string> kept() const;
    // Files that hold nothing yet but may occupy space.
    std::vector<std::string> empty() const;

  private:
    struct Entry {
        std::string path;
        bool begun = false;
    };
    void put(const std::string& before, const std::string& path, bool begun);

    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
};

}  // namespace kalvor
