#include "platform/fileio/settings_file.h"

#include "base/config/parser.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/version/version.h"
#include "platform/fileio/raw_file.h"
#include "platform/fileio/text_decoding.h"

namespace trel::FileIO {

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
    RawFile file(path, OpenMode::create, false, false, calls);
    file.store(text.data(), 0, text.size());
}

}  // namespace trel::FileIO
