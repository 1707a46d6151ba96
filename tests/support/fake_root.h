// A folder that plays the root of the file system, for what the system tells in text files.
#pragma once

#include <filesystem>
#include <string>

#include "support/temporary_folder.h"

namespace kalvor_test {

class FakeRoot {
  public:
    // `name` begins with "/".
    void file(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(path() + name).parent_path());
        folder_.write(name.substr(1), content);
    }
    void folder(const std::string& name) const { std::filesystem::create_directories(path() + name); }
    void remove(const std::string& name) const { std::filesystem::remove_all(path() + name); }
    const std::string& path() const { return folder_.path(); }

  private:
    TemporaryFolder folder_;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::FakeRoot;
