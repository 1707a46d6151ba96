#include "support/run_program.h"

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

std::vector<std::string> files_but_validation(const TemporaryFolder& folder) {
    std::vector<std::string> names = folder.files();
    std::erase_if(names, [](const std::string& name) {
        constexpr std::string_view kEnd = " - 00000000-000000.txt";
        if (name.size() < kEnd.size()) return false;
        std::string end = name.substr(name.size() - kEnd.size());
        for (char& c : end) {
            if (c >= '0' && c <= '9') c = '0';
        }
        return end == kEnd;
    });
    return names;
}

ProgramRun run_in(const TemporaryFolder& folder, std::vector<std::string> arguments, RunOptions options) {
    options.folder = folder.path();
    arguments.insert(arguments.begin(), "skip-warnings");
    return run_kalvor(arguments, options);
}

ProgramRun run_this_test(const std::vector<std::string>& arguments, const RunOptions& options) {
    return run_program(trel::os::executable_path().value_or(""), arguments, options);
}

}  // namespace kalvor_test
