#include <string>

#include "base/config/parser.h"
#include "base/config/tree_parser.h"

namespace trel::Config {
namespace {

constexpr const char* kUnexpectedComma = "Unexpected ','.";

class JsonParser final : public TreeParser {
  public:
    explicit JsonParser(std::string_view text) : TreeParser("parse_json()", text, kUnexpectedComma) {}

  private:
    using Expect = OpenContainer::Expect;

    std::string string() override { return in_.read_json_string(); }

    std::unique_ptr<Node> integer() override {
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
            if (expect != Expect::comma) in_.fail(kUnexpectedComma);
            in_.skip();
            expect = Expect::element;
            return 0;
        }
        if (c != end) return -1;
        if (expect == Expect::element) in_.fail(std::string("Unexpected '") + end + "'.");
        in_.skip();
        return 1;
    }

    bool value_follows(OpenContainer& open) override {
        int taken = 0;
        while ((taken = take_separator(open.is_array() ? ']' : '}', open.expect)) == 0) continue;
        if (taken == 1) {
            in_.close_level();
            return false;
        }
        if (open.is_array()) {
            if (open.expect == Expect::comma) in_.fail("Expected ',' before identifier.");
            return true;
        }
        if (in_.peek() != '"') in_.fail("Expected object key string.");
        if (open.expect == Expect::comma) in_.fail("Expected ',' before object key string.");
        open.key = in_.read_json_string();
        in_.skip_whitespace();
        if (in_.peek() != ':') in_.fail("Expected colon after object key string.");
        in_.skip();
        return true;
    }
};

}  // namespace

std::unique_ptr<Node> parse_json(std::string_view text) {
    return JsonParser(text).value();
}

}  // namespace trel::Config
