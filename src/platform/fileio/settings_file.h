// Settings files (".cfg"): the text of a configuration tree behind a header of comments.
#pragma once

#include <memory>
#include <string>

#include "base/config/node.h"
#include "os/types.h"
#include "platform/fileio/file_calls.h"

namespace trel::FileIO {

// Larger files are refused unread: the name is probably a mistake. A tree takes up to 30 times the memory of
// its text.
inline constexpr u64 kMaxTextFileBytes = u64(16) << 20;

// The whole file as UTF-8 text without a byte-order mark. Throws FileException.
std::string load_text_file(const std::string& path, const FileCalls& calls = FileCalls::of_this_machine());

// The tree of a settings or formula file (acfg). Throws FileException and the errors of parse_acfg().
std::unique_ptr<Config::Node> load_config_file(const std::string& path,
                                               const FileCalls& calls = FileCalls::of_this_machine());

// What a settings file of an action holds, every byte: byte-order mark, header, and {"Action", settings under
// the action's name}; lines end in CR LF.
std::string config_file_text(const std::string& action, std::unique_ptr<Config::Object> settings);

// Writes that file. An existing one stays as it is until the new one is whole; meanwhile that is "
// (incomplete)" before its extension. Throws FileException.
void write_config_file(const std::string& path, const std::string& action,
                       std::unique_ptr<Config::Object> settings,
                       const FileCalls& calls = FileCalls::of_this_machine());

// The path with ".cfg" unless it holds a dot anywhere, be it in a folder's name.
std::string with_config_extension(std::string path);

}  // namespace trel::FileIO
