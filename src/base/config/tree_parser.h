// What the parsers of both text forms share: the way through values within values. Private to this room.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/config/node.h"
#include "base/config/text_cursor.h"

namespace trel::Config {

class TreeParser {
  public:
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

  protected:
    struct OpenContainer {
        bool is_array() const { return node->type() == NodeType::array; }
        std::unique_ptr<Node> node;
        std::string key;  // of an object's member that is being read
        // In a form with commas, what may come next: the end or an element at first, then a comma or the end,
        // then an element.
        enum class Expect { first, comma, element } expect = Expect::first;
    };

    // comma: what a comma is refused with where a value is to come.
    TreeParser(const char* function, std::string_view text, const char* comma)
        : in_(function, text), comma_(comma) {}
    ~TreeParser() = default;

    virtual std::string string() = 0;
    virtual std::unique_ptr<Node> integer() = 0;
    // Goes to the next value of a container, or behind its end.
    virtual bool value_follows(OpenContainer& open) = 0;

    TextCursor in_;

  private:
    // A value that is not a container; or nullptr, and a container has been opened.
    std::unique_ptr<Node> begin_value(std::vector<OpenContainer>& open) {
        in_.skip_whitespace();
        switch (in_.peek()) {
            case '"':
                return std::make_unique<String>(string());
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
                in_.fail(comma_);
            default:
                return integer();
        }
        in_.open_level();
        in_.skip();
        return nullptr;
    }

    void add(OpenContainer& open, std::unique_ptr<Node> value) {
        open.expect = OpenContainer::Expect::comma;
        if (open.is_array()) return open.node->as<Array>().add_node(std::move(value));
        Object& object = open.node->as<Object>();
        if (object.contains(open.key)) in_.fail("Duplicate key in object.");
        object.add_node(std::move(open.key), std::move(value));
    }

    const char* comma_;
};

}  // namespace trel::Config
