// Text to tree. Both forms share strings, integers and "//" comments; acfg has bare keys and no commas, JSON
// is strict about its commas, reads the escapes of JSON in its strings (which it must, to read what is
// written: every control character is escaped) and knows no true, false or null.
//
// Errors: ParseException "Line N: ..." with N line feeds before the place (the first line is 0), and
// EndOfStreamException "Unexpected end of stream." for a text that ends too early. A NUL ends the text; what
// follows the root value is not looked at. Time and memory are linear in the length of the text.
#pragma once

#include <memory>
#include <string_view>

#include "base/config/node.h"

namespace trel::Config {

// Arrays and objects within each other beyond this are refused ("Nesting is deeper than 8256 levels."). A
// formula of 2000 nodes within each other takes up to four levels a node; the rest is for what stands around
// it.
inline constexpr u64 kMaxDepth = 8192 + 64;

std::unique_ptr<Node> parse_acfg(std::string_view text);
std::unique_ptr<Node> parse_json(std::string_view text);

}  // namespace trel::Config
