// What a parser says about a text.
#pragma once

#include <string>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"

namespace kalvor_test {

using Parser = std::unique_ptr<trel::Config::Node> (*)(std::string_view);

// "ClassName: message" of the error, or the acfg text of the tree.
inline std::string outcome(Parser parse, std::string_view text) {
    try {
        return parse(text)->to_acfg();
    } catch (const trel::StringException& e) {
        return std::string(e.get_typename()) + ": " + e.message;
    }
}
inline std::string acfg(std::string_view text) {
    return outcome(trel::Config::parse_acfg, text);
}
inline std::string json(std::string_view text) {
    return outcome(trel::Config::parse_json, text);
}
inline std::string error(int line, const std::string& message) {
    return "ParseException: Line " + std::to_string(line) + ": " + message;
}
inline const std::string kEnd = "EndOfStreamException: Unexpected end of stream.";

}  // namespace kalvor_test
