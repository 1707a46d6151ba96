#include "platform/fileio/settings_file.h"

#include <algorithm>
#include <optional>

#include "base/config/parser.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/version/version.h"
#include "platform/fileio/published_file.h"
#include "platform/fileio/raw_file.h"
#include "platform/fileio/text_decoding.h"
#include "platform/memory/guarded_heap.h"

namespace trel::FileIO {
namespace {

// Whether a new file can take the place of what is at the path: nothing, or a plain file that may be written.
// A link and a device are written through, and what cannot be written says so when it is opened.
bool is_replaced(const std::string& path, const FileCalls& calls) {
    const os::OpenedFile old = calls.open(path.c_str(), os::FileAccess::take_over, {});
    if (old.error) return old.error.category == os::ErrorCategory::not_found;
    (void)calls.close(old.handle).failed();
    return !calls.is_read_only(path.c_str());
}

// "a/b.cfg" -> "a/b (incomplete).cfg"
std::string draft_of(const std::string& path) {
    std::size_t name = path.size();
    while (name > 0 && !os::is_path_separator(path[name - 1])) name--;
    const std::size_t dot = path.rfind('.');
    const bool has_dot = dot != std::string::npos && dot >= name;
    return std::string(path).insert(has_dot ? dot : path.size(), " (incomplete)");
}

void write_beside(const std::string& path, const std::string& text, const FileCalls& calls) {
    std::optional<PublishedFile> draft;
    try {
        draft.emplace(draft_of(path), path, calls);
    } catch (const FileException& e) {
        // What forbids the draft forbids the file that was asked for.
        if (!e.message.starts_with("Unable to create file.")) throw;
        throw FileException(e.function, e.message, path, e.error_code);
    }
    PublishedFile& file = *draft;
    try {
        // Whole sectors, past the system's cache; what is behind the text is cut off.
        const u64 bytes = (text.size() + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
        const GuardedBuffer buffer(bytes, kSectorBytes);
        char* const sectors = static_cast<char*>(buffer.get());
        std::fill(std::copy(text.begin(), text.end(), sectors), sectors + bytes, '\0');
        file.file().store(sectors, 0, bytes);
        file.complete(text.size());
    } catch (...) {
        file.discard();
        throw;
    }
    file.publish();
}

}  // namespace

std::string load_text_file(const std::string& path, const FileCalls& calls) {
    RawFile file(path, OpenMode::read, false, false, calls);
    const u64 bytes = file.size();
    if (bytes > kMaxTextFileBytes) {
        throw FileException("load_text_file()",
                            "The file is too large: a text is at most " +
                                Console::format_commas(kMaxTextFileBytes) + " bytes long.",
                            path);
    }
    std::string content(bytes, '\0');
    file.load(content.data(), 0, bytes);
    return decode_text(content);
}

std::unique_ptr<Config::Node> load_config_file(const std::string& path, const FileCalls& calls) {
    return Config::parse_acfg(load_text_file(path, calls));
}

std::string config_file_text(const std::string& action, std::unique_ptr<Config::Object> settings) {
    Config::Object root;
    root.add_string("Action", action);
    root.add_node(action, std::move(settings));

    const std::string version = "//  Version: " + kVersion.text();
    std::string text = "\xef\xbb\xbf";
    for (const char* line :
         {"//  Kalvor Configuration File", version.c_str(), "//",
          "//  Load this from Kalvor or run directly:", "//      Kalvor config filename.cfg", "//",
          "//  If you're copying Windows file paths into here, be sure to replace",
          "//  all backslashes \"\\\" with forward slashes \"/\". Backslash is an", "//  escape character.",
          "//", ""}) {
        text += line;
        text += "\r\n";
    }
    root.append_acfg(text, 0);
    return text;
}

std::string with_config_extension(std::string path) {
    if (path.find('.') == std::string::npos) path += ".cfg";
    return path;
}

void write_config_file(const std::string& path, const std::string& action,
                       std::unique_ptr<Config::Object> settings, const FileCalls& calls) {
    const std::string text = config_file_text(action, std::move(settings));
    if (is_replaced(path, calls)) return write_beside(path, text, calls);
    RawFile file(path, OpenMode::create, false, false, calls);
    file.store(text.data(), 0, text.size());
}

}  // namespace trel::FileIO
