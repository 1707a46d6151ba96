#include "platform/memory/node_list.h"

#include <cctype>
#include <limits>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"

namespace trel {
namespace {

// Numbers that no node can have stay such.
u32 node_number(i64 value) {
    constexpr u32 kNoNode = std::numeric_limits<u32>::max();
    return value < 0 || value > kNoNode ? kNoNode : static_cast<u32>(value);
}

}  // namespace

std::vector<u32> NodeList::defaults() const {
    std::vector<u32> usable, all;
    for (const auto& [number, node] : map_->nodes()) {
        all.push_back(number);
        u64 available = 0;
        if (!calls_->node_available(number, available) && available > 0) usable.push_back(number);
    }
    if (!usable.empty()) return usable;
    Console::print_line("Unable to find any usable NUMA nodes. Will attempt to use all of them...", 'Y');
    Console::set_color('w');
    return all;
}

void NodeList::load(const Config::Object& object, std::string_view context) {
    numbers.clear();
    for (const auto& element : object.get_array(key(), context).elements) {
        numbers.push_back(node_number(element->as<Config::Integer>(context).value));
    }
    if (numbers.empty()) throw InvalidParametersException("", "Node list cannot be empty.");
}

void NodeList::edit() {
    std::vector<u32> chosen;
    Console::print_line("\n\nEnter NUMA node #'s one-by-one. Enter nothing to stop.", 'w');
    Console::print_line("    - Duplicating nodes allow for imbalanced interleaving.");
    Console::print_line("    - Non-existant nodes simply won't bind.");
    while (true) {
        const std::string answer = Prompt::read_text("Node #", 'T');
        if (answer.empty() || !std::isdigit(static_cast<unsigned char>(answer[0]))) break;
        i64 number = 0;
        for (const char c : answer) {
            if (!std::isdigit(static_cast<unsigned char>(c))) break;
            number = node_number(number * 10 + (c - '0'));
        }
        chosen.push_back(static_cast<u32>(number));
    }
    // Not before here: at the end of the input, the list stays.
    numbers = chosen.empty() ? defaults() : chosen;
}

std::string NodeList::display_text() const {
    return Console::format_list(numbers);
}

std::unique_ptr<Config::Node> NodeList::value_node() const {
    auto list = std::make_unique<Config::Array>();
    for (const u32 node : numbers) list->add_integer(node);
    return list;
}

}  // namespace trel
