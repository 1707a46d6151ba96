#include "base/settings/setting_lines.h"

#include "base/console/console.h"
#include "base/console/wrapped_line.h"
#include "base/prompt/prompt.h"

namespace trel {
namespace {

constexpr u64 kNumberWidth = 4;

std::string padded_number(u64 number, u64 width = kNumberWidth) {
    const std::string text = std::to_string(number);
    return std::string(width - std::min<u64>(text.size(), width), ' ') + text;
}

}  // namespace

void print_setting_line(u64 number, std::string_view label, u64 width, std::string_view value,
                        Console::ColorLetter color, u64 number_width) {
    std::string text = padded_number(number, number_width);
    text += label;
    if (label.size() < width && !label.ends_with(' ')) text.append(width - label.size(), ' ');
    Console::print(text, 'w');
    Console::wrapped_line(value, text.size(), color);
}

u64 select_from_list(std::string_view title, const std::vector<std::string>& display_names) {
    Console::print_line(title, 'P');
    for (u64 i = 0; i < display_names.size(); i++) {
        Console::print(padded_number(i) + "    ", 'w');
        Console::print_line(display_names[i], 'T');
    }
    Console::new_line();
    return Prompt::read_unsigned_in_range("option: ", 0, display_names.size() - 1, 'T');
}

void add_selector(Config::Object& object, const std::string& key, std::unique_ptr<Config::Node> value,
                  const std::string& text) {
    Config::Object& setting = object.add_object(key);
    setting.add_node("Value", std::move(value));
    setting.add_string("DisplayText", text);
}

}  // namespace trel
