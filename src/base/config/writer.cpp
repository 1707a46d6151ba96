// The two text forms of a tree.
#include <algorithm>
#include <vector>

#include "base/config/node.h"

namespace trel::Config {
namespace {

constexpr const char* kLineEnd = "\r\n";

void append_blanks(std::string& out, u64 level) {
    out.append(4 * level, ' ');
}

// Texts of more than one line end in a line feed of their own.
void end_line(std::string& out) {
    if (out.back() != '\n') out += kLineEnd;
}

void append_quoted(std::string& out, const std::string& text) {
    out += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    out += '"';
}

// JSON readers refuse raw control characters.
void append_json_quoted(std::string& out, const std::string& text) {
    constexpr char kDigits[] = "0123456789abcdef";
    out += '"';
    for (const char c : text) {
        const u8 byte = static_cast<u8>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (byte < 0x20 || byte == 0x7F) {
            out += "\\u00";
            out += kDigits[byte >> 4];
            out += kDigits[byte & 15];
        } else {
            out += c;
        }
    }
    out += '"';
}

// One "//" line for each line of the comment.
void append_comment(std::string& out, const std::string& comment, u64 level) {
    out += kLineEnd;
    for (size_t from = 0; from < comment.size();) {
        const size_t feed = comment.find('\n', from);
        const size_t to = feed == std::string::npos ? comment.size() : feed + 1;
        append_blanks(out, level);
        out += "//  ";
        out.append(comment, from, to - from);
        end_line(out);
        from = to;
    }
}

// What the two forms have of their own. member(): what stands before a value inside a container.

struct Acfg {
    static constexpr bool kCommas = false;
    static constexpr const char* kInlineSeparator = " ";

    static void leaf(std::string& out, const Node& node, bool, u64 level) { node.append_acfg(out, level); }
    static void open_object(std::string& out, const Object& object) {
        if (object.comment.empty()) return;
        out += "   //  ";
        out += object.comment;
    }
    static void member(std::string& out, const Object::Entry& entry, u64 level) {
        if (!entry.comment.empty()) append_comment(out, entry.comment, level);
        append_blanks(out, level);
        out += entry.key;
        out += " : ";
    }
};

struct Json {
    static constexpr bool kCommas = true;
    static constexpr const char* kInlineSeparator = ", ";

    static void leaf(std::string& out, const Node& node, bool comma, u64 level) {
        node.append_json(out, comma, level);
    }
    static void open_object(std::string&, const Object&) {}
    static void member(std::string& out, const Object::Entry& entry, u64 level) {
        append_blanks(out, level);
        append_json_quoted(out, entry.key);
        out += ": ";
    }
};

template <class Form>
void append_inline(std::string& out, const Array& array, u64 level) {
    for (u64 i = 0; i < array.size(); i++) {
        if (i != 0) out += Form::kInlineSeparator;
        Form::leaf(out, array[i], false, level);
    }
}

// Writes all of a node, or the first line of one that takes more. Returns whether more is to follow.
template <class Form>
bool begin(std::string& out, const Node& node, bool comma, u64 level) {
    if (!node.is_container()) {
        Form::leaf(out, node, comma, level);
        return false;
    }
    const bool is_array = node.type() == NodeType::array;
    out += is_array ? '[' : '{';
    const bool is_short = is_array ? node.as<Array>().is_inline() : node.as<Object>().size() == 0;
    if (!is_short) {
        if (!is_array) Form::open_object(out, node.as<Object>());
        out += kLineEnd;
        return true;
    }
    if (is_array) append_inline<Form>(out, node.as<Array>(), level);
    out += is_array ? ']' : '}';
    if (comma) out += ',';
    return false;
}

// A container whose first lines are written.
struct Open {
    const Node* node;
    bool comma;    // behind its end
    u64 next = 0;  // of what is inside
};

// A list of what is open instead of a recursion: trees may be deeper than a stack.
template <class Form>
void write(std::string& out, const Node& root, bool trailing_comma, u64 root_level) {
    std::vector<Open> open;
    if (begin<Form>(out, root, trailing_comma, root_level)) open.push_back({&root, trailing_comma});
    while (!open.empty()) {
        Open& top = open.back();
        const bool is_array = top.node->type() == NodeType::array;
        const u64 size = is_array ? top.node->as<Array>().size() : top.node->as<Object>().size();
        const u64 level = root_level + open.size();
        if (top.next == size) {
            append_blanks(out, level - 1);
            out += is_array ? ']' : '}';
            if (top.comma) out += ',';
            out += kLineEnd;
            open.pop_back();
            continue;
        }
        const u64 i = top.next++;
        const bool comma = Form::kCommas && top.next != size;
        const Node* child = nullptr;
        if (is_array) {
            append_blanks(out, level);
            child = &top.node->as<Array>()[i];
        } else {
            const Object::Entry& entry = *top.node->as<Object>().entries()[i];
            Form::member(out, entry, level);
            child = entry.value.get();
        }
        if (begin<Form>(out, *child, comma, level)) {
            open.push_back({child, comma});
        } else {
            end_line(out);
        }
    }
}

}  // namespace

void Integer::append_acfg(std::string& out, u64) const {
    out += std::to_string(value);
}
void Integer::append_json(std::string& out, bool trailing_comma, u64) const {
    out += std::to_string(value);
    if (trailing_comma) out += ',';
}

void String::append_acfg(std::string& out, u64) const {
    append_quoted(out, value);
}
void String::append_json(std::string& out, bool trailing_comma, u64) const {
    append_json_quoted(out, value);
    if (trailing_comma) out += ',';
}

bool Array::is_inline() const {
    if (elements.size() == 1 && elements[0]->type() == NodeType::string) return true;
    return std::all_of(elements.begin(), elements.end(),
                       [](const auto& element) { return element->type() == NodeType::integer; });
}

void Array::append_acfg(std::string& out, u64 level) const {
    write<Acfg>(out, *this, false, level);
}
void Array::append_json(std::string& out, bool trailing_comma, u64 level) const {
    write<Json>(out, *this, trailing_comma, level);
}

void Object::append_acfg(std::string& out, u64 level) const {
    write<Acfg>(out, *this, false, level);
}
void Object::append_json(std::string& out, bool trailing_comma, u64 level) const {
    write<Json>(out, *this, trailing_comma, level);
}

}  // namespace trel::Config
