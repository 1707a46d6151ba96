#include <string>

#include "base/config/parser.h"
#include "base/config/text_cursor.h"

namespace trel::Config {
namespace {

class JsonParser {
  public:
    explicit JsonParser(std::string_view text) : in_("parse_json()", text) {}

    std::unique_ptr<Node> value() {
        in_.skip_whitespace();
        switch (in_.peek()) {
            case '"':
                return std::make_unique<String>(in_.read_json_string());
            case '[':
                return array();
            case '{':
                return object();
            case ']':
                in_.fail("Unexpected ']'.");
            case '}':
                in_.fail("Unexpected '}'.");
            case ',':
                in_.fail("Unexpected ','.");
            default:
                return integer();
        }
    }

  private:
    // What may come next in a list: its end or an element at first, then a comma or the end, then an element.
    enum class Expect { first, comma, element };

    std::unique_ptr<Node> integer() {
        auto out = std::make_unique<Integer>(in_.read_integer());
        const char next = in_.peek();
        if (next != ',' && next != ']' && next != '}' && !in_.at_whitespace()) {
            in_.fail("Invalid integer literal.");
        }
        return out;
    }

    // Takes a comma or the end of a list, if that comes next. 1: took the end; 0: took a comma; -1: neither.
    int take_separator(char end, Expect& expect) {
        in_.skip_whitespace();
        const char c = in_.peek();
        if (c == ',') {
            if (expect != Expect::comma) in_.fail("Unexpected ','.");
            in_.skip();
            expect = Expect::element;
            return 0;
        }
        if (c != end) return -1;
        if (expect == Expect::element) in_.fail(std::string("Unexpected '") + end + "'.");
        in_.skip();
        return 1;
    }

    std::unique_ptr<Node> array() {
        auto out = std::make_unique<Array>();
        in_.open_level();
        in_.skip();
        Expect expect = Expect::first;
        for (;;) {
            const int taken = take_separator(']', expect);
            if (taken == 1) break;
            if (taken == 0) continue;
            if (expect == Expect::comma) in_.fail("Expected ',' before identifier.");
            out->add_node(value());
            expect = Expect::comma;
        }
        in_.close_level();
        return out;
    }

    std::unique_ptr<Node> object() {
        auto out = std::make_unique<Object>();
        in_.open_level();
        in_.skip();
        Expect expect = Expect::first;
        for (;;) {
            const int taken = take_separator('}', expect);
            if (taken == 1) break;
            if (taken == 0) continue;
            if (in_.peek() != '"') in_.fail("Expected object key string.");
            if (expect == Expect::comma) in_.fail("Expected ',' before object key string.");
            std::string key = in_.read_json_string();
            in_.skip_whitespace();
            if (in_.peek() != ':') in_.fail("Expected colon after object key string.");
            in_.skip();
            auto member = value();
            if (out->contains(key)) in_.fail("Duplicate key in object.");
            out->add_node(std::move(key), std::move(member));
            expect = Expect::comma;
        }
        in_.close_level();
        return out;
    }

    TextCursor in_;
};

}  // namespace

std::unique_ptr<Node> parse_json(std::string_view text) {
    return JsonParser(text).value();
}

}  // namespace trel::Config
