#include "base/config/node.h"

#include <algorithm>

#include "base/errors/exceptions.h"

namespace trel::Config {

const char* type_name(NodeType type) {
    switch (type) {
        case NodeType::integer:
            return "Integer";
        case NodeType::string:
            return "String";
        case NodeType::array:
            return "Array";
        case NodeType::object:
            return "Object";
    }
    return "invalid type";
}

std::string Node::to_acfg(u64 level) const {
    std::string out;
    append_acfg(out, level);
    return out;
}

std::string Node::to_json(bool trailing_comma, u64 level) const {
    std::string out;
    append_json(out, trailing_comma, level);
    return out;
}

void Node::check_type(NodeType expected, std::string_view context) const {
    if (type_ == expected) return;
    std::string message(context);
    if (!message.empty()) message += ": ";
    message += std::string("Expected ") + type_name(expected) + ", got " + type_name(type_) + ".";
    throw ParseException("", message);
}

namespace {

// Copies and ends use a list of what is open instead of a recursion: trees may be deeper than a stack.

// A copy without what is inside.
std::unique_ptr<Node> copy_outside(const Node& node) {
    switch (node.type()) {
        case NodeType::array:
            return std::make_unique<Array>();
        case NodeType::object: {
            auto out = std::make_unique<Object>();
            out->comment = node.as<Object>().comment;
            return out;
        }
        default:
            return node.clone();
    }
}

std::unique_ptr<Node> deep_copy(const Node& root) {
    struct Pair {
        const Node* from;
        Node* to;
    };
    std::unique_ptr<Node> out = copy_outside(root);
    std::vector<Pair> open = {{&root, out.get()}};
    const auto copy = [&](const Node& node) {
        std::unique_ptr<Node> copied = copy_outside(node);
        if (node.is_container()) open.push_back({&node, copied.get()});
        return copied;
    };
    while (!open.empty()) {
        const Pair pair = open.back();
        open.pop_back();
        if (pair.from->type() == NodeType::array) {
            Array& to = pair.to->as<Array>();
            to.elements.reserve(pair.from->as<Array>().size());
            for (const auto& element : pair.from->as<Array>().elements) to.add_node(copy(*element));
        } else if (pair.from->type() == NodeType::object) {
            Object& to = pair.to->as<Object>();
            for (const auto& entry : pair.from->as<Object>().entries()) {
                to.add_node(entry->key, copy(*entry->value), entry->comment);
            }
        }
    }
    return out;
}

// Moves the containers inside a node, which dies, into the list.
void take_containers(Node& node, std::vector<std::unique_ptr<Node>>& list) {
    const auto take = [&](std::unique_ptr<Node>& child) {
        if (child && child->is_container()) list.push_back(std::move(child));
    };
    if (node.type() == NodeType::array) {
        for (auto& element : node.as<Array>().elements) take(element);
    } else {
        for (auto& entry : node.as<Object>().entries()) take(entry->value);
    }
}

void destroy_below(Node& root) {
    std::vector<std::unique_ptr<Node>> list;
    take_containers(root, list);
    while (!list.empty()) {
        const std::unique_ptr<Node> node = std::move(list.back());
        list.pop_back();
        take_containers(*node, list);
    }
}

}  // namespace

// ---- copies

std::unique_ptr<Node> Integer::move_clone() {
    return clone();
}
std::unique_ptr<Node> Integer::clone() const {
    return std::make_unique<Integer>(value);
}

std::unique_ptr<Node> String::move_clone() {
    auto out = std::make_unique<String>(std::move(value));
    value.clear();
    return out;
}
std::unique_ptr<Node> String::clone() const {
    return std::make_unique<String>(value);
}

std::unique_ptr<Node> Array::move_clone() {
    return std::make_unique<Array>(std::move(*this));
}
std::unique_ptr<Node> Array::clone() const {
    return deep_copy(*this);
}

Object::Object(Object&& other) noexcept
    : Node(kType),
      comment(std::move(other.comment)),
      entries_(std::move(other.entries_)),
      index_(std::move(other.index_)) {
    other.comment.clear();
    other.entries_.clear();
    other.index_.clear();
}
std::unique_ptr<Node> Object::move_clone() {
    return std::make_unique<Object>(std::move(*this));
}
std::unique_ptr<Node> Object::clone() const {
    return deep_copy(*this);
}

// ---- the end

Array::~Array() {
    destroy_below(*this);
}

Object::~Object() {
    destroy_below(*this);
}

// ---- building

void Array::add_integer(i64 value) {
    elements.push_back(std::make_unique<Integer>(value));
}
void Array::add_string(std::string value) {
    elements.push_back(std::make_unique<String>(std::move(value)));
}
Object& Array::add_object() {
    elements.push_back(std::make_unique<Object>());
    return static_cast<Object&>(*elements.back());
}
Array& Array::add_array() {
    elements.push_back(std::make_unique<Array>());
    return static_cast<Array&>(*elements.back());
}

void Object::add(const char* function, std::string key, std::unique_ptr<Node> value, std::string comment) {
    if (contains(key)) throw InvalidParametersException(function, "Attempted to add an existing key.");
    entries_.push_back(std::make_unique<Entry>());
    Entry& entry = *entries_.back();
    entry.key = std::move(key);
    entry.comment = std::move(comment);
    entry.value = std::move(value);
    index_.emplace(entry.key, &entry);
}

void Object::add_node(std::string key, std::unique_ptr<Node> value, std::string comment) {
    add("Object::add_node()", std::move(key), std::move(value), std::move(comment));
}
void Object::add_integer(std::string key, i64 value, std::string comment) {
    add("Object::add_integer()", std::move(key), std::make_unique<Integer>(value), std::move(comment));
}
void Object::add_string(std::string key, std::string value, std::string comment) {
    add("Object::add_string()", std::move(key), std::make_unique<String>(std::move(value)),
        std::move(comment));
}
Object& Object::add_object(std::string key, std::string comment) {
    add("Object::add_object()", std::move(key), std::make_unique<Object>(), std::move(comment));
    return static_cast<Object&>(*entries_.back()->value);
}
Array& Object::add_array(std::string key, std::string comment) {
    add("Object::add_array()", std::move(key), std::make_unique<Array>(), std::move(comment));
    return static_cast<Array&>(*entries_.back()->value);
}

// ---- reading

const Node& Object::get(std::string_view key) const {
    last_key_ = key;
    const auto found = index_.find(key);
    if (found == index_.end()) throw KeyNotFoundException("", std::string(key));
    return *found->second->value;
}
i64 Object::get_integer(std::string_view key, std::string_view context) const {
    return get(key).as<Integer>(context).value;
}
const std::string& Object::get_string(std::string_view key, std::string_view context) const {
    return get(key).as<String>(context).value;
}
const Array& Object::get_array(std::string_view key, std::string_view context) const {
    return get(key).as<Array>(context);
}
const Object& Object::get_object(std::string_view key, std::string_view context) const {
    return get(key).as<Object>(context);
}
bool Object::get_bool(std::string_view key, std::string_view context) const {
    const std::string& text = get_string(key, context);
    if (text == "true") return true;
    if (text == "false") return false;
    throw ParseException("", "Expected true or false.");
}

void Object::add_members(const Object& other) {
    for (const auto& entry : other.entries_) add_node(entry->key, entry->value->clone(), entry->comment);
}

void Object::check_keys(const std::vector<std::string_view>& allowed) const {
    for (const auto& entry : entries_) {
        if (std::find(allowed.begin(), allowed.end(), entry->key) == allowed.end()) {
            last_key_ = entry->key;
            throw InvalidParametersException("", "Invalid Key: " + entry->key);
        }
    }
}

}  // namespace trel::Config
