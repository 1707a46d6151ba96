#include "base/config/section.h"

#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"

namespace trel::Config {

using CommandLine::shown;

namespace {

// What belongs where a type error was found; the errors' texts are fixed.
std::string wanted_by(const std::string& message) {
    constexpr const char* kWanted[][2] = {
        {"Expected true or false.", "\"true\" or \"false\" belongs there, with the quotes."},
        {"Expected Integer", "A number without quotes belongs there."},
        {"Expected String", "A text in quotes belongs there."},
        {"Expected Array", "A list in [ ] belongs there."},
        {"Expected Object", "An object in { } belongs there."},
    };
    for (const auto& [error, wanted] : kWanted) {
        if (message.find(error) != std::string::npos) return std::string(" ") + wanted;
    }
    return {};
}

std::string value_of(const Node& node) {
    return node.type() == NodeType::string ? node.as<String>().value : std::string();
}

}  // namespace

std::string describe(const Node& node) {
    switch (node.type()) {
        case NodeType::integer:
            return "the number " + std::to_string(node.as<Integer>().value);
        case NodeType::string:
            return "the text " + CommandLine::quoted(node.as<String>().value);
        case NodeType::array:
            return "a list";
        case NodeType::object:
            break;
    }
    return "an object";
}

Section Section::section(const std::string& key, std::string_view context) const {
    const Object* const inner = read([&](const Object& object) { return &object.get_object(key, context); });
    return {*inner, path_.empty() ? key : path_ + "." + key, known_};
}

void Section::print_problem_with(const Exception& e) const {
    const std::string& key = object_.last_key();
    const std::string name = shown(path_.empty() || key.empty() ? path_ + key : path_ + "." + key);
    const std::vector<std::string> known = known_ ? known_(key) : std::vector<std::string>();
    std::string text;
    if (key.empty()) {
        text = (name.empty() ? "The file" : name) + " cannot be used.";
    } else if (!object_.contains(key)) {
        text = name + " is missing.";
    } else {
        const auto* const refused = dynamic_cast<const InvalidParametersException*>(&e);
        if (refused && refused->message.starts_with("Invalid Key: ")) {
            Console::print_problem("There is no setting " + name + ".\nSee \"kalvor help config\".");
            return;
        }
        const Node& node = object_.get(key);
        text = name + ": " + describe(node) + " stands there.";
        if (const auto* const type_error = dynamic_cast<const ParseException*>(&e)) {
            text += wanted_by(type_error->message);
        }
        if (!known.empty())
            text += CommandLine::did_you_mean(CommandLine::nearest_name(value_of(node), known));
    }
    if (!known.empty()) text += " Known: " + CommandLine::list_of(known) + ".";
    Console::print_problem(text + "\nSee \"kalvor help config\".");
}

}  // namespace trel::Config
