// The two text forms of a tree.
#include <algorithm>

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
    out += '[';
    if (is_inline()) {
        for (size_t i = 0; i < elements.size(); i++) {
            if (i != 0) out += ' ';
            elements[i]->append_acfg(out, level);
        }
        out += ']';
        return;
    }
    out += kLineEnd;
    for (const auto& element : elements) {
        append_blanks(out, level + 1);
        element->append_acfg(out, level + 1);
        end_line(out);
    }
    append_blanks(out, level);
    out += ']';
    out += kLineEnd;
}

void Array::append_json(std::string& out, bool trailing_comma, u64 level) const {
    out += '[';
    if (is_inline()) {
        for (size_t i = 0; i < elements.size(); i++) {
            if (i != 0) out += ", ";
            elements[i]->append_json(out, false, level);
        }
        out += trailing_comma ? "]," : "]";
        return;
    }
    out += kLineEnd;
    for (size_t i = 0; i < elements.size(); i++) {
        append_blanks(out, level + 1);
        elements[i]->append_json(out, i + 1 != elements.size(), level + 1);
        end_line(out);
    }
    append_blanks(out, level);
    out += trailing_comma ? "]," : "]";
    out += kLineEnd;
}

void Object::append_acfg(std::string& out, u64 level) const {
    out += '{';
    if (entries_.empty()) {
        out += '}';
        return;
    }
    if (!comment.empty()) {
        out += "   //  ";
        out += comment;
    }
    out += kLineEnd;
    for (const auto& entry : entries_) {
        if (!entry->comment.empty()) append_comment(out, entry->comment, level + 1);
        append_blanks(out, level + 1);
        out += entry->key;
        out += " : ";
        entry->value->append_acfg(out, level + 1);
        end_line(out);
    }
    append_blanks(out, level);
    out += '}';
    out += kLineEnd;
}

void Object::append_json(std::string& out, bool trailing_comma, u64 level) const {
    out += '{';
    if (entries_.empty()) {
        out += trailing_comma ? "}," : "}";
        return;
    }
    out += kLineEnd;
    for (size_t i = 0; i < entries_.size(); i++) {
        append_blanks(out, level + 1);
        append_json_quoted(out, entries_[i]->key);
        out += ": ";
        entries_[i]->value->append_json(out, i + 1 != entries_.size(), level + 1);
        end_line(out);
    }
    append_blanks(out, level);
    out += trailing_comma ? "}," : "}";
    out += kLineEnd;
}

}  // namespace trel::Config
