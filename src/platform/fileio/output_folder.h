// The folders that results are written to.
#pragma once

#include <string>
#include <vector>

#include "os/error.h"
#include "platform/fileio/file_calls.h"
#include "platform/fileio/persistent.h"

namespace trel::FileIO {

// A non-empty path without a final "/" or "\" gets a "/"; the empty one is the current folder.
std::string folder_prefix(const std::string& path);

// Whether a file can be made in the folder of a prefix: makes one of a name that nothing there has, for this
// user alone, and deletes it (persistently). The error says why not.
os::OsError check_writable(const std::string& prefix, const FileCalls& calls = FileCalls::of_this_machine(),
                           const AskAgain& ask_again = {});

// A folder of results that may not come about. Makes it, and tries whether a file can be made in it. What was
// made for it goes again with this object, unless it is kept; a folder that something has been put into
// meanwhile stays. Throws FileException "Path is not writable."; then the folders that it made are gone.
class PreparedFolder {
  public:
    explicit PreparedFolder(const std::string& path, const FileCalls& calls = FileCalls::of_this_machine(),
                            const AskAgain& ask_again = {});
    ~PreparedFolder();
    PreparedFolder(const PreparedFolder&) = delete;
    PreparedFolder& operator=(const PreparedFolder&) = delete;

    const std::string& prefix() const { return prefix_; }
    void keep() noexcept { made_.clear(); }

  private:
    const FileCalls& calls_;
    const std::string prefix_;
    std::vector<std::string> made_;
};

// Whether results can go to a folder, for settings that may never run: leaves nothing new behind. Throws what
// PreparedFolder() throws.
void try_output_folder(const std::string& path, const FileCalls& calls = FileCalls::of_this_machine(),
                       const AskAgain& ask_again = {});

}  // namespace trel::FileIO
