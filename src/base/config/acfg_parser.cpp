#include <string>
#include <vector>

#include "base/config/parser.h"
#include "base/config/text_cursor.h"

namespace trel::Config {
namespace {

constexpr const char* kNoCommas = "Don't use commas to separate elements.";

class AcfgParser {
  public:
    explicit AcfgParser(std::string_view text) : in_("parse_acfg()", text) {}

    // A list of open containers instead of a recursion: texts may nest deeper than a stack.
    std::unique_ptr<Node> value() {
        std::vector<OpenContainer> open;
        for (;;) {
            std::unique_ptr<Node> done = begin_value(open);
            // Until another value is to follow.
            for (;;) {
                if (done) {
                    if (open.empty()) return done;
                    add(open.back(), std::move(done));
                }
                if (value_follows(open.back())) break;
                done = std::move(open.back().node);
                open.pop_back();
            }
        }
    }

  private:
    struct OpenContainer {
        std::unique_ptr<Node> node;
        std::string key;  // of an object's member that is being read
    };

    // A value that is no container; or nullptr, and a container has been opened.
    std::unique_ptr<Node> begin_value(std::vector<OpenContainer>& open) {
        in_.skip_whitespace();
        switch (in_.peek()) {
            case '"':
                return std::make_unique<String>(in_.read_string());
            case '[':
                open.push_back({std::make_unique<Array>(), {}});
                break;
            case '{':
                open.push_back({std::make_unique<Object>(), {}});
                break;
            case ']':
                in_.fail("Unexpected ']'.");
            case '}':
                in_.fail("Unexpected '}'.");
            case ',':
                in_.fail(kNoCommas);
            default:
                return integer();
        }
        in_.open_level();
        in_.skip();
        return nullptr;
    }

    // Goes to the next value of a container, or behind its end.
    bool value_follows(OpenContainer& open) {
        in_.skip_whitespace();
        const bool is_array = open.node->type() == NodeType::array;
        if (in_.peek() == (is_array ? ']' : '}')) {
            in_.skip();
            in_.close_level();
            return false;
        }
        if (is_array) return true;
        open.key = identifier();
        if (open.key.empty()) in_.fail("Expected identifier.");
        in_.skip_whitespace();
        if (in_.peek() != ':') in_.fail("Expected colon after identifier.");
        in_.skip();
        return true;
    }

    void add(OpenContainer& open, std::unique_ptr<Node> value) {
        if (open.node->type() == NodeType::array) return open.node->as<Array>().add_node(std::move(value));
        Object& object = open.node->as<Object>();
        if (object.contains(open.key)) in_.fail("Duplicate key in object.");
        object.add_node(std::move(open.key), std::move(value));
    }

    std::unique_ptr<Node> integer() {
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

    TextCursor in_;
};

}  // namespace

std::unique_ptr<Node> parse_acfg(std::string_view text) {
    return AcfgParser(text).value();
}

}  // namespace trel::Config
