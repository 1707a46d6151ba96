// Text that came from outside (words of the command line, values of settings files, paths) in the form in
// which it may be shown: it moves no cursor, retitles no window, fills no screen.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel::CommandLine {

inline constexpr u64 kLongestShown = 200;  // bytes of a value or path
inline constexpr u64 kLongestShownPath = 1000;
inline constexpr u64 kLongestShownReport = 4000;  // bytes of a message of several lines

// One line: control characters, marks that turn the direction of writing, and bytes that are not UTF-8
// become "\x1b" and the like. Beyond `longest` bytes the text is cut behind a whole character, and its full
// length is added.
std::string shown(std::string_view text, u64 longest = kLongestShown);
// The same with its line feeds and tabs.
std::string shown_lines(std::string_view text, u64 longest = kLongestShownReport);

// A path: long ones are common, and the user needs the whole of them.
inline std::string shown_path(std::string_view path) {
    return shown(path, kLongestShownPath);
}

// shown() between double quotes.
std::string quoted(std::string_view text);

// Bytes of the UTF-8 sequence that `text` begins with; 1 if it does not begin with one. `text` is not empty.
u64 utf8_length(std::string_view text);

}  // namespace trel::CommandLine
