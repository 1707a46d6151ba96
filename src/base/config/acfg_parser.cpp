#include <string>

#include "base/config/parser.h"
#include "base/config/text_cursor.h"

namespace trel::Config {
namespace {

constexpr const char* kNoCommas = "Don't use commas to separate elements.";

class AcfgParser {
  public:
    explicit AcfgParser(std::string_view text) : in_("parse_acfg()", text) {}

    std::unique_ptr<Node> value() {
        in_.skip_whitespace();
        switch (in_.peek()) {
            case '"':
                return std::make_unique<String>(in_.read_string());
            case '[':
                return array();
            case '{':
                return object();
            case ']':
                in_.fail("Unexpected ']'.");
            case '}':
                in_.fail("Unexpected '}'.");
            case ',':
                in_.fail(kNoCommas);
            default:
                return integer();
        }
    }

  private:
    std::unique_ptr<Node> integer() {
        auto out = std::make_unique<Integer>(in_.read_integer());
        const char next = in_.peek();
        if (next == ',') in_.fail(kNoCommas);
        if (next != ']' && next != '}' && !in_.at_whitespace()) in_.fail("Invalid integer literal.");
        return out;
    }

    std::unique_ptr<Node> array() {
        auto out = std::make_unique<Array>();
        in_.open_level();
        in_.skip();
        for (;;) {
            in_.skip_whitespace();
            if (in_.peek() == ']') break;
            out->add_node(value());
        }
        in_.skip();
        in_.close_level();
        return out;
    }

    std::unique_ptr<Node> object() {
        auto out = std::make_unique<Object>();
        in_.open_level();
        in_.skip();
        for (;;) {
            in_.skip_whitespace();
            if (in_.peek() == '}') break;
            std::string key = identifier();
            if (key.empty()) in_.fail("Expected identifier.");
            in_.skip_whitespace();
            if (in_.peek() != ':') in_.fail("Expected colon after identifier.");
            in_.skip();
            auto member = value();
            if (out->contains(key)) in_.fail("Duplicate key in object.");
            out->add_node(std::move(key), std::move(member));
        }
        in_.skip();
        in_.close_level();
        return out;
    }

    static bool is_identifier_character(char c) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
        return std::string_view("!#$%&'()*+-./=?@^_|~").find(c) != std::string_view::npos;
    }

    std::string identifier() {
        std::string out;
        for (;;) {
            const char c = in_.peek();
            switch (c) {
                case '"':
                case ':':
                    return out;
                case ' ':
                case '\t':
                case '\n':
                    in_.skip();
                    return out;
                case '\r':
                    // A lone carriage return ends it too, and goes: what comes next skips blanks anyway.
                    in_.skip();
                    if (in_.next_is('\n')) in_.skip();
                    return out;
                case '\\':
                    out += in_.read_escape();
                    break;
                default:
                    if (in_.at_comment()) {
                        in_.skip_comment();
                    } else if (is_identifier_character(c)) {
                        out += c;
                        in_.skip();
                    } else {
                        in_.fail("Invalid character in identifier.");
                    }
            }
        }
    }

    TextCursor in_;
};

}  // namespace

std::unique_ptr<Node> parse_acfg(std::string_view text) {
    return AcfgParser(text).value();
}

}  // namespace trel::Config
