#include <string>
#include <vector>

#include "base/config/parser.h"
#include "base/config/text_cursor.h"

namespace trel::Config {
namespace {

class JsonParser {
  public:
    explicit JsonParser(std::string_view text) : in_("parse_json()", text) {}

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
    // What may come next in a list: its end or an element at first, then a comma or the end, then an element.
    enum class Expect { first, comma, element };

    struct OpenContainer {
        std::unique_ptr<Node> node;
        std::string key;  // of an object's member that is being read
        Expect expect = Expect::first;
    };

    // A value that is no container; or nullptr, and a container has been opened.
    std::unique_ptr<Node> begin_value(std::vector<OpenContainer>& open) {
        in_.skip_whitespace();
        switch (in_.peek()) {
            case '"':
                return std::make_unique<String>(in_.read_json_string());
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
                in_.fail("Unexpected ','.");
            default:
                return integer();
        }
        in_.open_level();
        in_.skip();
        return nullptr;
    }

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

    // Goes to the next value of a container, or behind its end.
    bool value_follows(OpenContainer& open) {
        const bool is_array = open.node->type() == NodeType::array;
        int taken = 0;
        while ((taken = take_separator(is_array ? ']' : '}', open.expect)) == 0) continue;
        if (taken == 1) {
            in_.close_level();
            return false;
        }
        if (is_array) {
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

    void add(OpenContainer& open, std::unique_ptr<Node> value) {
        open.expect = Expect::comma;
        if (open.node->type() == NodeType::array) return open.node->as<Array>().add_node(std::move(value));
        Object& object = open.node->as<Object>();
        if (object.contains(open.key)) in_.fail("Duplicate key in object.");
        object.add_node(std::move(open.key), std::move(value));
    }

    TextCursor in_;
};

}  // namespace

std::unique_ptr<Node> parse_json(std::string_view text) {
    return JsonParser(text).value();
}

}  // namespace trel::Config
