#include "app/validation/user_name.h"

#include <algorithm>
#include <optional>

#include "platform/fileio/small_file.h"

namespace kalvor {

namespace {

constexpr const char* kFile = "Username.txt";
constexpr std::string_view kTag = "Username:";
// A larger file is something else.
constexpr u64 kMostBytes = u64(1) << 20;

}  // namespace

std::string user_name_of(std::string_view file) {
    while (!file.empty()) {
        const std::size_t end = std::min(file.find('\n'), file.size());
        std::string_view line = file.substr(0, end);
        file.remove_prefix(std::min(end + 1, file.size()));
        const std::size_t tag = line.find(kTag);
        if (line.starts_with('#') || tag == std::string_view::npos) continue;
        line.remove_prefix(tag + kTag.size());
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        const auto* const stop =
            std::find_if(line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < 32; });
        return std::string(line.begin(), stop);
    }
    return std::string("Tag not found in ") + kFile;
}

std::string user_line(const std::string& executable_directory, const FileIO::FileCalls& calls) {
    for (const char* above : {"", "../"}) {
        if (const auto text =
                FileIO::read_small_file(executable_directory + above + kFile, kMostBytes, calls))
            return user_name_of(*text);
    }
    return kNoUserFile;
}

}  // namespace kalvor
