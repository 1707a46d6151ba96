// A folder that plays the root of the file system, for what the system tells in text files.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

class FakeRoot {
  public:
    FakeRoot()
        : path_(
              (std::filesystem::temp_directory_path() / ("kalvor-" + std::to_string(std::random_device{}())))
                  .string()) {
        std::filesystem::create_directory(path_);
    }
    ~FakeRoot() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    FakeRoot(const FakeRoot&) = delete;
    FakeRoot& operator=(const FakeRoot&) = delete;

    // `name` begins with "/".
    void file(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(path_ + name).parent_path());
        std::ofstream(path_ + name, std::ios::binary) << content;
    }
    void folder(const std::string& name) const { std::filesystem::create_directories(path_ + name); }
    void remove(const std::string& name) const { std::filesystem::remove_all(path_ + name); }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};
