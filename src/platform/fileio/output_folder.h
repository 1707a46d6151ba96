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

// Makes the folder of a prefix and its missing parents, as far as that is possible. The error of the last
// call: why the folder itself is missing, if it is. `made` gets the folders that were made, parents first.
os::OsError create_folders(const std::string& prefix, const FileCalls& calls = FileCalls::of_this_machine(),
                           std::vector<std::string>* made = nullptr);

// Whether a file can be made in the folder of a prefix: makes one of a name that nothing there has, for this
// user alone, and deletes it (persistently). The error says why not.
os::OsError check_writable(const std::string& prefix, const FileCalls& calls = FileCalls::of_this_machine(),
                           const AskAgain& ask_again = {});

// All three: returns the prefix. Throws FileException "Path is not writable."; then the folders that it made
// are gone again. `made` as above.
std::string prepare_output_folder(const std::string& path,
                                  const FileCalls& calls = FileCalls::of_this_machine(),
                                  const AskAgain& ask_again = {}, std::vector<std::string>* made = nullptr);

// A folder of results that may not come about: what was made for it goes again with this object, unless it is
// kept. A folder that something has been put into meanwhile stays. Throws what prepare_output_folder()
// throws.
class PreparedFolder {
  public:
    PreparedFolder(const std::string& path, const FileCalls& calls, const AskAgain& ask_again = {});
    ~PreparedFolder();
    PreparedFolder(const PreparedFolder&) = delete;
    PreparedFolder& operator=(const PreparedFolder&) = delete;

    const std::string& prefix() const { return prefix_; }
    void keep() noexcept { made_.clear(); }

  private:
    const FileCalls& calls_;
    std::vector<std::string> made_;
    const std::string prefix_;
};

}  // namespace trel::FileIO
