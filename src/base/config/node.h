// The tree of every structured text: settings, formula files, the settings inside a checkpoint, slave-mode
// messages. Four kinds of node; true and false are the strings "true" and "false".
//
// Every node has exactly one owner: its parent, or the holder of the root. Text is bytes, UTF-8 by convention
// and never checked. A tree is used by one thread at a time. Reading, copying, writing and destroying a tree
// takes the same small stack whatever its depth.
#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel::Config {

enum class NodeType : u32 { integer = 0, string = 1, array = 2, object = 3 };
// "Integer", "String", "Array", "Object"; "invalid type" for any other value.
const char* type_name(NodeType type);

class Node {
  public:
    virtual ~Node() = default;
    Node& operator=(const Node&) = delete;

    NodeType type() const { return type_; }
    bool is_container() const { return type_ == NodeType::array || type_ == NodeType::object; }

    // The text in the program's own form (acfg) and as JSON; lines end in CR LF, four blanks a level.
    std::string to_acfg(u64 level = 0) const;
    std::string to_json(bool trailing_comma = false, u64 level = 0) const;
    // The same, appended, so that a tree is written in one pass.
    virtual void append_acfg(std::string& out, u64 level) const = 0;
    virtual void append_json(std::string& out, bool trailing_comma, u64 level) const = 0;

    // A node of the same type that takes over this one's contents; this one is left empty.
    virtual std::unique_ptr<Node> move_clone() = 0;
    // A deep copy.
    virtual std::unique_ptr<Node> clone() const = 0;

    // This node as T. Throws ParseException "Expected Object, got String.", after the context and ": " when
    // there is one.
    template <class T>
    const T& as(std::string_view context = {}) const {
        check_type(T::kType, context);
        return static_cast<const T&>(*this);
    }
    template <class T>
    T& as(std::string_view context = {}) {
        check_type(T::kType, context);
        return static_cast<T&>(*this);
    }

  protected:
    explicit Node(NodeType type) : type_(type) {}
    Node(const Node&) = default;

  private:
    void check_type(NodeType expected, std::string_view context) const;

    NodeType type_;
};

class Integer final : public Node {
  public:
    static constexpr NodeType kType = NodeType::integer;

    explicit Integer(i64 value = 0) : Node(kType), value(value) {}
    void append_acfg(std::string& out, u64 level) const override;
    void append_json(std::string& out, bool trailing_comma, u64 level) const override;
    std::unique_ptr<Node> move_clone() override;
    std::unique_ptr<Node> clone() const override;

    i64 value;
};

class String final : public Node {
  public:
    static constexpr NodeType kType = NodeType::string;

    explicit String(std::string value = {}) : Node(kType), value(std::move(value)) {}
    void append_acfg(std::string& out, u64 level) const override;
    void append_json(std::string& out, bool trailing_comma, u64 level) const override;
    std::unique_ptr<Node> move_clone() override;
    std::unique_ptr<Node> clone() const override;

    std::string value;
};

class Object;

class Array final : public Node {
  public:
    static constexpr NodeType kType = NodeType::array;

    Array() : Node(kType) {}
    ~Array() override;
    Array(Array&& other) noexcept : Node(kType), elements(std::move(other.elements)) {}
    void append_acfg(std::string& out, u64 level) const override;
    void append_json(std::string& out, bool trailing_comma, u64 level) const override;
    std::unique_ptr<Node> move_clone() override;
    std::unique_ptr<Node> clone() const override;

    u64 size() const { return elements.size(); }
    const Node& operator[](u64 index) const { return *elements[index]; }
    void add_node(std::unique_ptr<Node> node) { elements.push_back(std::move(node)); }
    void add_integer(i64 value);
    void add_string(std::string value);
    Object& add_object();
    Array& add_array();

    // Whether the elements stand on one line when they are written: integers only, or one string.
    bool is_inline() const;

    std::vector<std::unique_ptr<Node>> elements;
};

// Members keep the order in which they were added, which is the order of output.
class Object final : public Node {
  public:
    static constexpr NodeType kType = NodeType::object;

    struct Entry {
        std::string key;
        std::string comment;
        std::unique_ptr<Node> value;
    };

    Object() : Node(kType) {}
    ~Object() override;
    Object(Object&& other) noexcept;
    void append_acfg(std::string& out, u64 level) const override;
    void append_json(std::string& out, bool trailing_comma, u64 level) const override;
    std::unique_ptr<Node> move_clone() override;
    std::unique_ptr<Node> clone() const override;

    u64 size() const { return entries_.size(); }
    const std::vector<std::unique_ptr<Entry>>& entries() const { return entries_; }
    bool contains(std::string_view key) const { return index_.find(key) != index_.end(); }

    // Each throws InvalidParametersException "Attempted to add an existing key.", with its own name as the
    // function. A comment is written above its member in acfg. A key is written without quotes in acfg, so
    // one that holds a blank cannot be read back.
    void add_node(std::string key, std::unique_ptr<Node> value, std::string comment = {});
    void add_integer(std::string key, i64 value, std::string comment = {});
    void add_string(std::string key, std::string value, std::string comment = {});
    Object& add_object(std::string key, std::string comment = {});
    Array& add_array(std::string key, std::string comment = {});
    // Copies of the other's members.
    void add_members(const Object& other);

    // Throw KeyNotFoundException, whose message is the key, and the type errors of as().
    const Node& get(std::string_view key) const;
    i64 get_integer(std::string_view key, std::string_view context = {}) const;
    const std::string& get_string(std::string_view key, std::string_view context = {}) const;
    const Array& get_array(std::string_view key, std::string_view context = {}) const;
    const Object& get_object(std::string_view key, std::string_view context = {}) const;
    // "true" or "false"; anything else is a ParseException "Expected true or false.".
    bool get_bool(std::string_view key, std::string_view context = {}) const;

    // The key that get() and its kin were asked for last, found or not; empty before the first. For messages.
    const std::string& last_key() const { return last_key_; }

    // Throws InvalidParametersException "Invalid Key: " and the first key that is not allowed.
    void check_keys(const std::vector<std::string_view>& allowed) const;

    // Stands behind the opening brace in acfg.
    std::string comment;

  private:
    void add(const char* function, std::string key, std::unique_ptr<Node> value, std::string comment);

    std::vector<std::unique_ptr<Entry>> entries_;
    std::map<std::string_view, Entry*> index_;  // views of the entries' keys
    mutable std::string last_key_;
};

}  // namespace trel::Config
