#include <string>

#include "base/config/parser.h"
#include "base/config/tree_parser.h"

namespace trel::Config {
namespace {

constexpr const char* kNoCommas = "Don't use commas to separate elements.";

class AcfgParser final : public TreeParser {
  public:
    explicit AcfgParser(std::string_view text) : TreeParser("parse_acfg()", text, kNoCommas) {}

  private:
    std::string string() override { return in_.read_string(); }

    bool value_follows(OpenContainer& open) override {
        in_.skip_whitespace();
        if (in_.peek() == (open.is_array() ? ']' : '}')) {
            in_.skip();
            in_.close_level();
            return false;
        }
        if (open.is_array()) return true;
        open.key = identifier();
        if (open.key.empty()) in_.fail("Expected identifier.");
        in_.skip_whitespace();
        if (in_.peek() != ':') in_.fail("Expected colon after identifier.");
        in_.skip();
        return true;
    }

    std::unique_ptr<Node> integer() override {
        auto out = std::make_unique<Integer>(in_.read_integer());
        const char next = in_.peek();
        if (next == ',') in_.fail(kNoCommas);
        if (next != ']' && next != '}' && !in_.at_whitespace()) in_.fail("Invalid integer literal.");
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
};

}  // namespace

std::unique_ptr<Node> parse_acfg(std::string_view text) {
    return AcfgParser(text).value();
}

}  // namespace trel::Config
