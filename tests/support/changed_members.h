// Settings with one member changed: left out, of another type, twice. The members are those of an object and
// of the objects inside it, by their paths: "Output", "Output.Path".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/config/node.h"

namespace kalvor_test {

// In the order of the text.
inline std::vector<std::string> member_paths(const trel::Config::Object& object,
                                             const std::string& prefix = "") {
    using trel::Config::NodeType;
    std::vector<std::string> paths;
    for (const auto& entry : object.entries()) {
        paths.push_back(prefix + entry->key);
        if (entry->value->type() != NodeType::object) continue;
        for (std::string& path : member_paths(entry->value->as<trel::Config::Object>(), paths.back() + ".")) {
            paths.push_back(std::move(path));
        }
    }
    return paths;
}

inline const trel::Config::Node& member_at(const trel::Config::Object& object, const std::string& path) {
    const std::size_t dot = path.find('.');
    const trel::Config::Node& member = object.get(path.substr(0, dot));
    return dot == std::string::npos ? member
                                    : member_at(member.as<trel::Config::Object>(), path.substr(dot + 1));
}

// The object as acfg; `change` makes the text of the member at the path out of its key and its value's text.
using MemberChange = std::function<std::string(const std::string& key, const std::string& value)>;
inline std::string with_changed_member(const trel::Config::Object& object, const std::string& path,
                                       const MemberChange& change, const std::string& prefix = "") {
    using trel::Config::NodeType;
    std::string text = "{\n";
    for (const auto& entry : object.entries()) {
        const std::string here = prefix + entry->key;
        const std::string value =
            entry->value->type() == NodeType::object
                ? with_changed_member(entry->value->as<trel::Config::Object>(), path, change, here + ".")
                : entry->value->to_acfg();
        text += here == path ? change(entry->key, value) : entry->key + " : " + value + "\n";
    }
    return text + "}\n";
}

inline std::string without_member(const trel::Config::Object& object, const std::string& path) {
    return with_changed_member(object, path,
                               [](const std::string&, const std::string&) { return std::string(); });
}

inline std::string with_member(const trel::Config::Object& object, const std::string& path,
                               const std::string& value) {
    return with_changed_member(
        object, path, [&](const std::string& key, const std::string&) { return key + " : " + value + "\n"; });
}

inline std::string with_member_twice(const trel::Config::Object& object, const std::string& path) {
    return with_changed_member(object, path, [](const std::string& key, const std::string& value) {
        return key + " : " + value + "\n" + key + " : " + value + "\n";
    });
}

// A value that no member of that type takes, and what is said of it.
struct WrongType {
    std::string value, message;
};
inline WrongType wrong_type_for(const trel::Config::Node& node) {
    using trel::Config::NodeType;
    const bool holds_others = node.type() == NodeType::array || node.type() == NodeType::object;
    return {holds_others ? "5" : "[]", std::string("Expected ") + trel::Config::type_name(node.type()) +
                                           (holds_others ? ", got Integer." : ", got Array.")};
}

}  // namespace kalvor_test
