// A folder of its own for a test's files, deleted with everything in it. Below KALVOR_TEST_FOLDER or the working folder, so
// that it lies on a real disk (memory file systems refuse unbuffered access).
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

class ScratchFolder {
  public:
    ScratchFolder() {
        const char* base = std::getenv("KALVOR_TEST_FOLDER");
        path_ = std::filesystem::path(base ? base : ".") / ("scratch-" + std::to_string(std::random_device{}()));
        std::filesystem::create_directory(path_);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(file(name), std::ios::binary) << content;
    }
    std::string read(const std::string& name) const {
        std::ifstream in(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    bool has(const std::string& name) const { return std::filesystem::exists(path_ / name); }

  private:
    std::filesystem::path path_;
};
