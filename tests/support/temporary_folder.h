// A folder of a test's own, deleted with everything in it. Below KALVOR_TEST_FOLDER or the working folder, so
// that it lies on a real disk (memory file systems refuse unbuffered access).
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace kalvor_test {

// The whole file; empty when it cannot be read.
inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class TemporaryFolder {
  public:
    TemporaryFolder() {
        const char* const base = std::getenv("KALVOR_TEST_FOLDER");
        const std::filesystem::path parent =
            base ? std::filesystem::absolute(base) : std::filesystem::current_path();
        std::random_device random;
        do {
            path_ = (parent / ("kalvor-test-" + std::to_string(random()))).generic_string();
        } while (!std::filesystem::create_directory(path_));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // With "/" between folders, none at the end.
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    std::string operator/(const std::string& name) const { return file(name); }
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(file(name), std::ios::binary) << content;
    }
    std::string read(const std::string& name) const { return read_file(file(name)); }
    bool has(const std::string& name) const { return std::filesystem::exists(file(name)); }
    // The names of all files in it and below it, sorted.
    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
            if (entry.is_regular_file())
                names.push_back(std::filesystem::relative(entry.path(), path_).generic_string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    std::string path_;
};

}  // namespace kalvor_test
