#include "support/run_program.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "os/process.h"

namespace kalvor_test {

std::string ProgramRun::value(const std::string& label) const {
    std::size_t at = out.rfind(label, 0) == 0 ? 0 : out.find("\n" + label);
    if (at == std::string::npos) return "";
    if (out[at] == '\n') at++;
    std::string text = out.substr(at + label.size(), out.find('\n', at) - at - label.size());
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string kalvor_path() {
    return KALVOR_PROGRAM_PATH;
}

ProgramRun run_kalvor(const std::vector<std::string>& arguments, const RunOptions& options) {
    return run_program(kalvor_path(), arguments, options);
}

ProgramRun run_in(const TemporaryFolder& folder, std::vector<std::string> arguments, RunOptions options) {
    options.folder = folder.path();
    arguments.insert(arguments.begin(), "skip-warnings");
    return run_kalvor(arguments, options);
}

ProgramRun run_this_test(const std::vector<std::string>& arguments, const RunOptions& options) {
    return run_program(trel::os::executable_path().value_or(""), arguments, options);
}

TemporaryFolder::TemporaryFolder() {
    const std::filesystem::path parent = std::filesystem::temp_directory_path();
    std::random_device random;
    for (int i = 0; i < 100; i++) {
        const std::filesystem::path path = parent / ("kalvor-test-" + std::to_string(random()));
        if (!std::filesystem::create_directory(path)) continue;
        path_ = path.generic_string();
        return;
    }
    throw std::runtime_error("no temporary folder in " + parent.string());
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> TemporaryFolder::files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
        if (entry.is_regular_file())
            names.push_back(std::filesystem::relative(entry.path(), path_).generic_string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace kalvor_test
