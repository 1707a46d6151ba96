#include "base/errors/plain_words.h"

#include <algorithm>
#include <new>

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "os/error.h"
#include "os/path_kind.h"

namespace trel {

using CommandLine::shown;
using os::PathKind;

namespace {

// The whole path between quotes.
std::string named(const std::string& path) {
    return '"' + CommandLine::shown_path(os::absolute_path(path)) + '"';
}

// Behind a failure that other options or another path avoid.
constexpr const char* kSeeHelp = "\nSee \"kalvor help\".";
constexpr const char* kSeeHelpConfig = "\nSee \"kalvor help config\".";

// What the system says of the failure, if it was the system's.
std::string reason(u32 error_code) {
    return error_code == 0 ? "" : ": " + os::system_error_text(error_code);
}

bool is_separator(char c) {
    return c == '/' || c == '\\';
}

// Why nothing can be written into a folder: looks at its parents from the front for what is in the way.
std::string folder_in_the_way(const std::string& path, u32 error_code) {
    std::string whole = os::absolute_path(path);
    while (whole.size() > 1 && is_separator(whole.back())) whole.pop_back();
    for (size_t i = 1; i <= whole.size(); i++) {
        if (i != whole.size() && !is_separator(whole[i])) continue;
        const std::string part = whole.substr(0, i);
        const PathKind kind = os::path_kind(part);
        if (kind == PathKind::file || kind == PathKind::other) {
            return named(part) + " is a file where a folder should be.";
        }
        if (kind == PathKind::missing)
            return "The folder " + named(part) + " cannot be made" + reason(error_code) + ".";
    }
    return "Nothing can be written into the folder " + named(whole) + reason(error_code) + ".";
}

// It says what was tried. Where a list follows, its first line is added.
std::string first_line(const std::string& message) {
    const size_t end = message.find('\n');
    std::string line = message.substr(0, end);
    if (!line.ends_with(':') || end == std::string::npos) return line;
    const size_t next = message.find('\n', end + 1);
    line += ' ' + message.substr(end + 1, next - end - 1);
    // The last line is not one of the list.
    const auto lines = std::count(message.begin(), message.end(), '\n');
    return lines > 2 ? line + " and " + std::to_string(lines - 2) + " more" : line;
}

std::string words_of(const FileIO::FileException& e) {
    if (e.message == "Path is not writable.") {
        return folder_in_the_way(e.path, e.error_code) +
               " Choose a folder that you may write to (-o <folder>, or \"Path\" in a settings file).";
    }
    if (os::path_kind(e.path) == PathKind::folder) return named(e.path) + " is a folder, not a file.";
    std::string what = first_line(e.message);
    while (!what.empty() && what.back() == '.') what.pop_back();
    return named(e.path) + ": " + shown(what) + reason(e.error_code) + ".";
}

constexpr const char* kFault =
    "A check found a wrong result, and the run was stopped. Nearly always it is the machine that made the "
    "error:\n"
    "its memory, heat, power or overclocking. Run a memory test, check the cooling, undo overclocking, and "
    "try\n"
    "again. If another machine fails in the same way, please report it as a defect.";

constexpr const char* kNoMemory =
    " Compute fewer digits, close other programs, or raise the memory limit of this process.";

}  // namespace

std::string plain_words(const Exception& e) {
    if (const auto* const explained = dynamic_cast<const ExplainedException*>(&e)) return explained->words;
    if (const auto* const file = dynamic_cast<const FileIO::FileException*>(&e)) {
        const bool settings = dynamic_cast<const SettingsFileException*>(file) != nullptr;
        return words_of(*file) + (settings ? kSeeHelpConfig : kSeeHelp);
    }
    if (const auto* const memory = dynamic_cast<const MemoryAllocationFailedException*>(&e)) {
        std::string size = Console::format_bytes(memory->allocation_size);
        size.erase(0, size.find_first_not_of(' '));
        return "The system did not give " + size + " of memory." + kNoMemory + kSeeHelp;
    }
    if (dynamic_cast<const AlgorithmFailedException*>(&e)) return kFault;
    if (dynamic_cast<const LimitExceededException*>(&e)) {
        return "This computation is larger than the program can do. Compute fewer digits." +
               std::string(kSeeHelp);
    }
    if (dynamic_cast<const ResourceAcquisitionFailedException*>(&e)) {
        return "The system did not give the threads or other means that the run needs. Try fewer threads "
               "(-threads:<n>) or another framework (-PF:<name>)." +
               std::string(kSeeHelp);
    }
    if (const auto* const end = dynamic_cast<const EndOfStreamException*>(&e);
        end && end->function.starts_with("Prompt::")) {
        return "The input ended at a question. Without a keyboard, name an action: see \"kalvor help\".";
    }
    if (const auto* const system = dynamic_cast<const SystemException*>(&e)) {
        return "The system refused an operation" + reason(system->error_code) + ".";
    }
    if (dynamic_cast<const BufferTooSmallException*>(&e) ||
        dynamic_cast<const FarMemoryOutOfBoundsException*>(&e)) {
        return "This is a defect of the program and not your mistake. Please report it with the lines below.";
    }
    return {};
}

std::string plain_words(const std::exception& e) {
    if (dynamic_cast<const std::bad_alloc*>(&e))
        return std::string("The system did not give more memory.") + kNoMemory + kSeeHelp;
    return {};
}

}  // namespace trel
